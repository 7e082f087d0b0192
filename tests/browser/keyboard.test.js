// Everything on the pages without a mouse: what has the focus, how many keys a thing takes, and what moves.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';

const FEW_KEYS = 10;
const KEYS_FOR_A_STEP = 3;

const HUNDRED = Array.from({ length: 100 }, (_, i) => `Page ${i + 1}`);

const has = (kind, text, options) => (host) => host.ask(kind, text, options);

// What is asked, and all that the Tab key comes to: of options of which one is chosen it is one.
const STOPS = [
  [has('MULTIPLE', 'Which is a river?', ['Alps', 'Rhine', 'Baltic']), ['A Alps']],
  [has('SORT', 'Put them in order.', ['mean', 'sum']),
    ['Move mean up', 'Move mean down', 'Move sum up', 'Move sum down', 'Send answer']],
  [has('TEXT', 'What do you see?'), ['What do you see?', 'Send answer']],
  [has('NUMBER', 'How deep is it?'), ['How deep is it?', '\u00b1, change the sign', 'Send answer']],
];

const REMOTE_STOPS = ['Previous', 'Next', 'Push card', 'Lock', 'Unlock', 'Pause', 'Resume', 'What is on?',
  'Is the presenter there?', 'Another lesson', 'A card with an image', 'Stop the class'];

// What is asked, typed and got.
const WRITTEN = [
  ['TEXT', 'A boat', 'A boat'],
  ['NUMBER', '2,5', '2.5'],
  ['MATH_FORMULA', '\\pi', '\\pi'],
];

async function focused(screen) {
  return (await screen.parts()).find((part) => part.focused)?.name;
}

async function press({ page }, ...keys) {
  for (const key of keys) {
    await page.keyboard.press(key);
  }
}

async function asked(t, ...question) {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  if (question.length > 0) {
    await host.ask(...question);
    await ada.sees(question[1]);
  }
  return { host, ada };
}

test(`each of ${HUNDRED.length} options is chosen and sent with at most ${FEW_KEYS} keys`, async (t) => {
  const { host, ada } = await asked(t);
  for (const [i, place] of [1, 9, 27, 50, 99, 100].entries()) {
    await host.ask('MULTIPLE', `Question ${i}`, HUNDRED);
    await ada.sees(`Question ${i}`);
    const { name } = await ada.finds('radio', new RegExp(` Page ${place}$`));
    const keys = [...name.split(' ')[0], 'Enter'];
    assert.ok(keys.length <= FEW_KEYS);
    await press(ada, ...keys);
    await ada.isHeard();
    await ada.finds('radio', name, { checked: true });
    await host.call('stopActivity');
  }
});

test('an option is moved in its order with few keys, and keeps the focus', async (t) => {
  const { host, ada } = await asked(t, 'SORT', 'Put them in order.', ['mean', 'sum', 'count']);
  const keys = ['c', 'ArrowUp'];
  assert.ok(keys.length <= KEYS_FOR_A_STEP);
  await press(ada, ...keys);
  assert.equal(await focused(ada), 'Move count up');
  await press(ada, 'ArrowUp');
  assert.equal(await focused(ada), 'Move count up');
  await ada.press('button', 'Send answer');
  assert.equal(await host.answered(), 'C,A,B');
});

test('the Tab key comes to everything there is, in its order', async (t) => {
  const { host, ada } = await asked(t);
  for (const [ask, stops] of STOPS) {
    await ask(host);
    await ada.seesNoMore(SAYS.isIn);
    for (const stop of stops) {
      await press(ada, 'Tab');
      assert.equal(await focused(ada), stop);
    }
    await host.call('stopActivity');
    await ada.sees(SAYS.isIn);
  }
});

test('on the remote, too', async (t) => {
  const { newRemote } = await openClass(t);
  const teacher = await newRemote();
  await teacher.openPath();
  await teacher.finds('button', 'Open the remote');
  for (const stop of ['Name', 'Password', 'Code of the class', 'Open the remote']) {
    await press(teacher, 'Tab');
    assert.equal(await focused(teacher), stop);
  }
  await teacher.signIn();
  await teacher.sees('The presenter is there.');
  for (const stop of REMOTE_STOPS) {
    await press(teacher, 'Tab');
    assert.equal(await focused(teacher), stop);
  }
  await press(teacher, 'Enter');
  await teacher.sees('Stop the class?');
  assert.equal(await focused(teacher), 'Go on');
  await press(teacher, 'Escape');
  await teacher.seesNoMore('Stop the class?');
  assert.equal(await focused(teacher), 'Stop the class');
});

test('Enter joins, and sends what is written', async (t) => {
  const { host, newLearner } = await openClass(t);
  const ada = await newLearner('Ada');
  await ada.openPath();
  await ada.write('Your name', 'Ada');
  await press(ada, 'Enter');
  await ada.sees(SAYS.isIn);
  for (const [i, [kind, typed, expected]] of WRITTEN.entries()) {
    await host.ask(kind, `Question ${i}`);
    await ada.write(`Question ${i}`, typed);
    await press(ada, 'Enter');
    assert.equal(await host.answered(i + 1), expected);
    await host.call('stopActivity');
  }
});

test('a new question has the focus', async (t) => {
  const { host, ada } = await asked(t, 'MULTIPLE', 'Which is a river?', ['Alps', 'Rhine']);
  assert.equal(await focused(ada), 'Which is a river?');
  await press(ada, 'b', 'Enter');
  await ada.isHeard();
  await host.call('stopActivity');
  await host.ask('MULTIPLE', 'Which is a sea?', ['Baltic', 'Rhine']);
  await ada.sees('Which is a sea?');
  assert.equal(await focused(ada), 'Which is a sea?');
});

// Types until it is told to stop.
function typeOn(ada) {
  let isTyping = true;
  const typing = (async () => {
    while (isTyping) {
      await press(ada, 'a', 't');
    }
  })();
  return () => {
    isTyping = false;
    return typing;
  };
}

test('keys that a learner is typing do not answer the question that comes', async (t) => {
  const { host, ada } = await asked(t, 'TEXT', 'What do you see?');
  await ada.write('What do you see?', 'A bo');
  const stopTyping = typeOn(ada);
  await host.call('stopActivity');
  await host.ask('TRUE_FALSE', 'Is 7 prime?');
  await ada.sees('Is 7 prime?');
  await stopTyping();
  await press(ada, 'Enter', ' ');
  await ada.choose(/False$/);
  assert.equal(await host.answered(), 'B');
});

test('a text of the teacher\'s is closed with a key, and the focus is where it was', async (t) => {
  const { host, ada } = await asked(t, 'TEXT', 'What do you see?');
  await ada.write('What do you see?', 'A boat');
  await host.call('sendText', { text: 'Look at the board.', option: 'PlainText' });
  await ada.sees('Look at the board.');
  await press(ada, 'Escape');
  await ada.seesNoMore('Look at the board.');
  await press(ada, 's', 'Enter');
  assert.equal(await host.answered(), 'A boats');
});

// What has begun to move by the time that an option was chosen.
async function motionsOf(ada, preference) {
  await ada.page.emulateMediaFeatures([{ name: 'prefers-reduced-motion', value: preference }]);
  await ada.page.evaluate(() => {
    window.motions = 0;
    const count = () => { window.motions += 1; };
    ['transitionrun', 'animationstart'].forEach((name) => document.addEventListener(name, count));
  });
  await press(ada, 'b', 'a', 'b');
  await ada.page.evaluate(() => new Promise((resolve) => { window.requestAnimationFrame(() => window.requestAnimationFrame(resolve)); }));
  return ada.page.evaluate(() => window.motions + document.getAnimations().length);
}

test('nothing moves for people who want no motion', async (t) => {
  const { host, ada } = await asked(t, 'MULTIPLE', 'Which is a river?', ['Alps', 'Rhine']);
  assert.equal(await motionsOf(ada, 'reduce'), 0);
  await host.call('stopActivity');
  await host.ask('MULTIPLE', 'And now?', ['Alps', 'Rhine']);
  await ada.sees('And now?');
  assert.ok(await motionsOf(ada, 'no-preference') > 0);
});
