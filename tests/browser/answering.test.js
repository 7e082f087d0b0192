// What a learner types and taps is what the teacher gets, of every kind of question, however the lines of
// the two go.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';

const BOAT = 'A boat, "small"; it says <b>\\o/</b> & sinks \ud83d\udea3';

// What is asked, how it is answered, and what the teacher gets.
const QUESTIONS = [
  ['TRUE_FALSE', 'Is 7 prime?', [], (ada) => ada.choose(/True$/), 'A'],
  ['YES_NO_OTHER', 'Is it raining?', ['Yes', 'No', 'A little'], (ada) => ada.choose(/A little$/), 'C'],
  ['MULTIPLE', 'Which is a river?', ['Alps', 'Rhine', 'Baltic'], (ada) => ada.choose(/Rhine$/), 'B'],
  ['SCALE', 'How sure are you?', ['1', '2', '3', '4', '5'], (ada) => ada.choose(/4$/), 'D'],
  ['SORT', 'Put them in order.', ['mean', 'sum', 'count'], raiseTheLast, 'C,A,B'],
  ['TEXT', 'What do you see?', [], written('What do you see?', BOAT), BOAT],
  ['NUMBER', 'How deep is it?', [], written('How deep is it?', '-2,50'), '-2.50'],
  ['MATH_FORMULA', 'What is x?', [], written('What is x?', 'x=\\frac{1}{2}'), 'x=\\frac{1}{2}'],
];

// The same for polls that are asked aloud.
const POLLS = [
  ['MULTIPLE', 'ALPHA_UPPER', 4, (ada) => ada.choose(/C$/), 'C'],
  ['TRUE_FALSE', 'TRUE_FALSE', 2, (ada) => ada.choose(/False$/), 'B'],
  ['WORD_SEED', 'NUMBER', 1, written('Write a word', 'meadow'), 'meadow'],
  ['CREATIVE', 'NUMBER', 1, ideas('stone', 'water, deep'), 'stone,water, deep'],
];

const LINES = [
  ['websocket', 'websocket'],
  ['websocket', 'xhr-polling'],
  ['xhr-polling', 'websocket'],
  ['xhr-polling', 'xhr-polling'],
];

for (const [hosts, learners] of LINES) {
  test(`every question is answered, with the host on ${hosts} and the learner on ${learners}`, async (t) => {
    const { host, learner } = await openClass(t, { transports: hosts });
    const ada = await learner('Ada', { transports: learners });
    assert.equal(await host.call('transport'), hosts);
    for (const [kind, text, options, answer, expected] of QUESTIONS) {
      await host.ask(kind, text, options);
      await ada.sees(text);
      await compare(host, ada, answer, expected);
    }
  });
}

test('every poll without words is answered', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  for (const [kind, ordinals, count, answer, expected] of POLLS) {
    await host.call('startPoll', { kind, ordinals, count });
    await compare(host, ada, answer, expected);
  }
});

test('several options are chosen where several are right', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.call('startAssessment', { questions: [{
    kind: 'MULTIPLE', text: 'Which are prime?', options: ['7', '8', '11'], properties: { numberOfCorrectOptions: 2 },
  }] });
  await ada.press('checkbox', /7$/);
  await ada.press('checkbox', /11$/);
  await ada.send();
  assert.equal(await host.answered(), 'A,C');
});

async function compare(host, ada, answer, expected) {
  const before = host.answers.length;
  await answer(ada);
  assert.equal(await host.answered(before + 1), expected);
  await ada.isHeard();
  await host.call('stopActivity');
}

async function raiseTheLast(ada) {
  await ada.press('button', 'Move count up');
  await ada.press('button', 'Move count up');
  await ada.send();
}

function written(field, text) {
  return async (ada) => {
    await ada.write(field, text);
    await ada.send();
  };
}

function ideas(...texts) {
  return async (ada) => {
    for (const [i, text] of texts.entries()) {
      await ada.write(`Idea ${i + 1}`, text);
    }
    await ada.send();
  };
}
