// A set of questions that learners work through at their own pace.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';

const RIVERS = {
  title: 'Rivers of Europe',
  questions: [
    { kind: 'MULTIPLE', text: 'Which is the longest?', options: ['Danube', 'Volga', 'Rhine'] },
    { kind: 'NUMBER', text: 'How many countries does the Danube pass?' },
    { kind: 'TEXT', text: 'Which river is yours?' },
  ],
};

// What each of the questions got, by its number.
function answersByNumber(host) {
  return host.told('answered').map(({ question, answer }) => [question.slice(question.lastIndexOf('-') + 1), answer]);
}

async function answerTheFirst(host, ada) {
  await ada.sees('Which is the longest?');
  await ada.choose(/Volga$/);
  await host.answered();
  await ada.sees('How many countries');
}

async function answerTheOthers(ada) {
  await ada.write('How many countries does the Danube pass?', '10');
  await ada.send();
  await ada.write('Which river is yours?', 'The Spree');
  await ada.send();
}

const ANSWERS = [['1', 'B'], ['2', '10'], ['3', 'The Spree']];

test('a learner goes from question to question', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.call('startAssessment', RIVERS);
  await answerTheFirst(host, ada);
  await answerTheOthers(ada);
  await host.answered(3);
  assert.deepEqual(answersByNumber(host), ANSWERS);
});

test('who loads the page again goes on where they were', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.call('startAssessment', RIVERS);
  await answerTheFirst(host, ada);
  await ada.reload();
  await ada.sees('How many countries');
  await answerTheOthers(ada);
  await host.answered(3);
  assert.deepEqual(answersByNumber(host), ANSWERS);
});

test('who comes late gets it from the beginning', async (t) => {
  const { host, learner, newLearner } = await openClass(t);
  await learner('Ben');
  await host.call('startAssessment', RIVERS);
  const ada = await newLearner('Ada');
  await ada.openPath();
  await ada.introduce();
  await answerTheFirst(host, ada);
  assert.deepEqual(answersByNumber(host), [['1', 'B']]);
});

test('the teacher ends it for all', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.call('startAssessment', RIVERS);
  await answerTheFirst(host, ada);
  await host.call('stopActivity');
  await ada.seesNoMore('How many countries');
});
