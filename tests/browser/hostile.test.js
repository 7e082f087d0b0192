// What people write who mean harm, or just write as they do: it comes out as it was typed, and runs nowhere.
// That no page asked for anything elsewhere and no rule of the policy was broken is looked at in every test.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';

const LONGEST = 10_000;

const MARKUP = '<img src=x onerror="window.canary=1"><script>window.canary=1</script>';
const OPTIONS = [`<b>${MARKUP}`, '&lt;i&gt;'];
const RIGHT_TO_LEFT = '\u0645\u0631\u062d\u0628\u0627 world';
const FAMILY = '\ud83d\udc68\u200d\ud83d\udc69\u200d\ud83d\udc67';

const LINK = '\\href{javascript:window.canary=1}{x}';
const FORMULAS = [
  LINK,
  '\\htmlData{a=b}{x}\\includegraphics{https://classroom.example/x.png}',
  '\\def\\a{\\a\\a}\\a',
  '\\frac{1}{2}</math><script>window.canary=1</script>',
];

// What it is, what is typed, what the teacher gets, and what stands in the exported table if it is not that.
const ANSWERS = [
  ['markup', MARKUP, MARKUP],
  ['a text from right to left, with an override', `\u202e${RIGHT_TO_LEFT}`, `\u202e${RIGHT_TO_LEFT}`],
  ['a picture of joined ones', FAMILY, FAMILY],
  ['control characters', 'a\u0000b\u0007c\u001b[31md\u009be', 'abc[31mde'],
  ['the name of every object\'s root', '__proto__', '__proto__'],
  ['a formula of a spreadsheet', '=1+1', '=1+1', '\'=1+1'],
  ['a row of a table', '1,"2"\r\n3', '1,"2" 3'],
  ['as much as fits', 'x'.repeat(LONGEST), 'x'.repeat(LONGEST)],
  ['more than fits', '\ud83d\ude80'.repeat(LONGEST + 1), '\ud83d\ude80'.repeat(LONGEST)],
];

// The same of names. No direction is overridden in them, and they are short.
const NAMES = [
  ['markup', '<img src=x onerror="window.canary=1">', '<img src=x onerror="window.canary=1">'],
  ['a text from right to left, with an override', `\u202e${RIGHT_TO_LEFT}`, RIGHT_TO_LEFT],
  ['a picture of joined ones', FAMILY, FAMILY],
  ['control characters', 'A\u0000d\u0007a', 'Ada'],
  ['the name of every object\'s root', '__proto__', '__proto__'],
  ['a formula of a spreadsheet', '=1+1', '=1+1', '\'=1+1'],
  ['more pictures than fit', '\ud83d\ude80'.repeat(LONGEST), '\ud83d\ude80'.repeat(64)],
];

test('answers come out as they were typed', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  for (const [i, [what, typed, expected, exported = expected]] of ANSWERS.entries()) {
    await t.test(what, async () => {
      const question = `Question ${i}`;
      await host.ask('TEXT', question);
      await paste(ada, question, typed);
      await ada.send();
      assert.equal(await host.answered(i + 1), expected);
      assert.equal(await ada.valueOf(question), expected);
      await ada.isHeard();
      await host.call('stopActivity');
      assert.equal(rowsOf(await host.call('csv')).at(-1)[3], exported);
    });
  }
  await isUnharmed(ada);
});

test('names come out as they were typed', async (t) => {
  const { host, newLearner } = await openClass(t);
  const learners = [];
  for (const [what, typed, expected] of NAMES) {
    const screen = await newLearner();
    await screen.openPath();
    await paste(screen, 'Your name', typed);
    await screen.press('button', 'Join');
    learners.push({ what, screen, expected });
  }
  for (const { what, screen, expected } of learners) {
    await host.tells('learnerJoined', { name: expected });
    assert.ok((await screen.text()).includes(expected), what);
  }
  await host.ask('TRUE_FALSE', 'Is 7 prime?');
  for (const { screen } of learners) {
    await screen.choose(/True$/);
    await isUnharmed(screen);
  }
  await host.answered(NAMES.length);
  const names = rowsOf(await host.call('csv')).slice(1).map(([name]) => name);
  assert.deepEqual(names.sort(), NAMES.map(([, , expected, exported = expected]) => exported).sort());
});

test('what the teacher writes is text, and no markup', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.tells('learnerJoined');
  for (const [kind, options] of [['MULTIPLE', OPTIONS], ['SORT', OPTIONS], ['TEXT', []], ['MATH_FORMULA', []]]) {
    await host.ask(kind, `${kind} ${MARKUP}`, options);
    await ada.sees(`${kind} ${MARKUP}`);
    await Promise.all(options.map((option) => ada.sees(option)));
    await isUnharmed(ada);
    await host.call('stopActivity');
  }
  await host.call('startAssessment', { title: MARKUP, questions: [{ kind: 'TEXT', text: `$${LINK}$ ${MARKUP}`, properties: {
    math: true, hint: MARKUP, passage: MARKUP,
  } }] });
  await ada.sees(`${MARKUP}: question 1 of 1.`);
  await host.call('sendText', { text: MARKUP, option: 'PlainText' });
  await ada.sees('From your teacher');
  await ada.sees(MARKUP);
  await ada.press('button', 'Close');
  await host.call('stopActivity');
  await host.call('showImageAt', { url: 'https://classroom.example/x.png?onerror=window.canary=1' });
  await ada.sees('There is a picture that cannot be shown');
  await isUnharmed(ada);
});

test('a formula does nothing but to be seen', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.ask('MATH_FORMULA', 'What is x?');
  for (const formula of FORMULAS) {
    await paste(ada, 'What is x?', formula);
    await isUnharmed(ada);
  }
  await ada.send();
  assert.equal(await host.answered(), FORMULAS.at(-1));
});

test('what stands on the remote is text, too', async (t) => {
  const { host, remote } = await openClass(t);
  await host.call('showLesson', { lesson: 'l7', name: '<img src=x onerror=window.canary=1>' });
  const teacher = await remote();
  await teacher.sees('<img src=x onerror=window.canary=1>');
  await isUnharmed(teacher);
});

// As from the clipboard, in place of what is there.
async function paste(screen, field, text) {
  await screen.write(field, '');
  await screen.page.keyboard.sendCharacter(text);
}

// Nothing is on the page that it has not made itself, and nothing ran.
async function isUnharmed({ page }) {
  const found = await page.evaluate(() => ({
    hasRun: 'canary' in window,
    foreign: [...document.querySelectorAll('main :is(img, script, iframe, a, object, b, i)')].map(({ outerHTML }) => outerHTML),
  }));
  assert.deepEqual(found, { hasRun: false, foreign: [] });
}

// The cells of a table, row by row.
function rowsOf(csv) {
  return csv.trimEnd().split('\r\n').map((row) => {
    const cells = [...row.matchAll(/("(?:[^"]|"")*"|[^,]*)(?:,|$)/g)].map(([, cell]) => cell);
    return cells.map((cell) => (cell.startsWith('"') ? cell.slice(1, -1).replaceAll('""', '"') : cell));
  });
}
