// A learner's way through an assessment, against the real service.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { question, startClass } from './support/learnerclass.js';
import { until } from './support/service.js';

const OPTIONS = { assessmentToken: 'T1', title: 'Primes', questionCount: 3, startingQuestionNumber: 1 };

const placeOf = (tab) => tab.lesson.question?.question.id ?? null;

/** A learner in an assessment whose presenter gives the questions that it is asked for, like a host. */
async function startAssessment(t, options = {}) {
  const place = await startClass(t);
  const ada = await place.arrive();
  const own = `.user.${ada.userToken}`;
  const start = () => place.say('assessmentStart', { ...OPTIONS, ...options }, own);
  const give = (number) => place.say('questionStart', question(`T1-${number}`, {
    questionSetMode: 'Assessment', questionNumber: number, hasNext: number < 3,
  }), own);
  const asks = async (count) => (await place.presenter.received('questionGet', count)).map(({ payload }) => payload.questionNumber);
  start();
  assert.deepEqual(await asks(1), [1]);
  give(1);
  await until(() => placeOf(ada) === 'T1-1');
  return { ...place, ada, own, start, give, asks };
}

/** On to the second question and back to the first. */
async function goOnAndBack({ ada, give }) {
  ada.lesson.go(1);
  give(2);
  await until(() => placeOf(ada) === 'T1-2');
  ada.lesson.go(-1);
  give(1);
  await until(() => placeOf(ada) === 'T1-1');
}

async function answer(tab, value) {
  const { question: answering } = tab.lesson;
  tab.lesson.answer(value);
  await until(() => answering.state === 'confirmed');
}

test('who may not go back gets one question after another, as each is answered', async (t) => {
  const { ada, presenter, give, asks, say } = await startAssessment(t);
  assert.deepEqual(ada.lesson.ways, { back: false, on: false, byItself: false, isFinished: false });
  for (const number of [1, 2]) {
    await answer(ada, ['A']);
    assert.deepEqual((await asks(number + 1)).at(-1), number + 1);
    assert.equal(ada.lesson.question, null);
    give(number + 1);
    await until(() => placeOf(ada) === `T1-${number + 1}`);
  }
  await answer(ada, ['B']);
  assert.equal(ada.lesson.ways.isFinished, true);
  const [first] = await presenter.received('questionResponse', 3);
  assert.deepEqual([first.payload.questionSetMode, first.payload.studentAssessmentToken], ['Assessment', 'T1']);
  say('assessmentStop', { assessmentToken: 'T1' });
  await until(() => ada.lesson.assessment === null);
  assert.equal(ada.lesson.question, null);
});

test('who may go back finds the own answer there, and may change it', async (t) => {
  const place = await startAssessment(t, { allowNavigateQuestionSet: true });
  const { ada, presenter } = place;
  await answer(ada, ['B']);
  assert.deepEqual(ada.lesson.ways, { back: false, on: true, byItself: false, isFinished: false });
  await goOnAndBack(place);
  assert.deepEqual([ada.lesson.question.state, ada.lesson.question.prior], ['open', ['B']]);
  await answer(ada, ['A']);
  const answers = await presenter.received('questionResponse', 2);
  assert.deepEqual(answers.map(({ payload: { optionAnswers: [{ activityOptionId }] } }) => activityOptionId), ['B', 'A']);
});

test('where answers stand, the one that was given cannot be changed', async (t) => {
  const place = await startAssessment(t, { allowNavigateQuestionSet: true, allowResubmitResponse: false });
  const { ada } = place;
  await answer(ada, ['B']);
  await goOnAndBack(place);
  assert.deepEqual([ada.lesson.question.state, ada.lesson.question.prior], ['confirmed', ['B']]);
});

test('questions that share their id have an answer and a draft each', async (t) => {
  const { ada, own, say } = await startAssessment(t, { allowNavigateQuestionSet: true, allowResubmitResponse: false });
  const ask = (number) => say('questionStart', question('T1-1', {
    instructions: `Question ${number}`, questionSetMode: 'Assessment', questionNumber: number, hasNext: number < 3,
  }), own);
  ask(1);
  await until(() => ada.lesson.question?.question.text === 'Question 1');
  await answer(ada, ['B']);
  ada.lesson.go(1);
  ask(2);
  await until(() => ada.lesson.question?.question.text === 'Question 2');
  assert.deepEqual([ada.lesson.question.state, ada.lesson.question.prior], ['open', null]);
  const { assessment, question: { question: second } } = ada.lesson;
  assessment.keepDraft(second, ['A']);
  assert.deepEqual([assessment.draftOf(second), assessment.draftOf({ ...second, number: 3 })], [['A'], null]);
});

test('a question may be skipped where that is allowed, but not the last one', async (t) => {
  const { ada, give, asks } = await startAssessment(t, { allowSkipQuestion: true });
  for (const number of [2, 3]) {
    assert.deepEqual(ada.lesson.ways, { back: false, on: true, byItself: false, isFinished: false });
    ada.lesson.go(1);
    assert.equal((await asks(number)).at(-1), number);
    give(number);
    await until(() => placeOf(ada) === `T1-${number}`);
  }
  assert.deepEqual(ada.lesson.ways, { back: false, on: false, byItself: false, isFinished: false });
});

test('a question that does not come is asked for again, and one that comes twice takes nobody back', async (t) => {
  const { ada, give, asks } = await startAssessment(t, { allowSkipQuestion: true });
  ada.lesson.go(1);
  give(1);
  assert.deepEqual(await asks(3), [1, 2, 2]);
  assert.equal(ada.lesson.question, null);
  give(2);
  await until(() => placeOf(ada) === 'T1-2');
});

test('who loads the page again is where it was, and an assessment that is started once more goes on', async (t) => {
  const { ada, give, start, say, openTab } = await startAssessment(t, { allowNavigateQuestionSet: true });
  ada.lesson.go(1);
  give(2);
  await until(() => placeOf(ada) === 'T1-2');
  const { question: before } = ada.lesson;
  start();
  say('pause', 'p');
  await until(() => ada.lesson.isPaused);
  assert.equal(ada.lesson.question, before);
  say('resume', 'p');

  const again = openTab(ada.storage);
  again.comeBack();
  await until(() => again.lesson.assessment?.number === 2);
  give(2);
  await until(() => placeOf(again) === 'T1-2');
});

test('prior answers that the host sends along are there', async (t) => {
  const { ada, own, say } = await startAssessment(t);
  say('questionStart', question('T1-2', {
    questionSetMode: 'Assessment', questionNumber: 2, feedBack: { optionAnswers: [{ activityOptionId: 'B' }] },
  }), own);
  await until(() => placeOf(ada) === 'T1-2');
  assert.deepEqual([ada.lesson.question.state, ada.lesson.question.prior], ['open', ['B']]);
});
