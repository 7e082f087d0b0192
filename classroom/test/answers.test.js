// What simulated learners answer to each kind of poll and question.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { answerPoll, answerQuestion } from '../src/devices/answers.js';

const OPTIONS = ['A', 'B', 'C', 'D'].map((id) => ({ id, optionText: id }));

for (const [question, pick, answer, ids] of [
  [{ type: 'true-false', activityOptions: OPTIONS.slice(0, 2) }, 0, '', ['A']],
  [{ type: 'true-false', activityOptions: OPTIONS.slice(0, 2) }, 3, '', ['B']],
  [{ type: 'yes-no-other', activityOptions: [...OPTIONS.slice(0, 2), { id: '?' }] }, 2, '', ['?']],
  [{ type: 'multiple', numberOfCorrectOptions: 1, activityOptions: OPTIONS }, 6, '', ['C']],
  [{ type: 'multiple', numberOfCorrectOptions: 2, activityOptions: OPTIONS }, 1, '', ['B', 'C']],
  [{ type: 'multiple', numberOfCorrectOptions: 2, activityOptions: OPTIONS }, 3, '', ['A', 'D']],
  [{ type: 'multiple', numberOfCorrectOptions: 9, activityOptions: OPTIONS }, 0, '', ['A', 'B', 'C', 'D']],
  [{ type: 'scale', activityOptions: [{ id: '0' }, { id: '1' }, { id: '2' }] }, 5, '', ['2']],
  [{ type: 'sort', activityOptions: OPTIONS }, 1, '', ['B', 'C', 'D', 'A']],
  [{ type: 'multiple', activityOptions: [] }, 1, '', []],
  [{ type: 'text', maxChars: 0 }, 0, 'The answer is river.', []],
  [{ type: 'text', maxChars: 10 }, 0, 'The answer', []],
  [{ type: 'number', noOfDecimals: 0 }, 2, '3', []],
  [{ type: 'number', noOfDecimals: 2 }, 3, '3.75', []],
  [{ type: 'math formula' }, 0, 'x=\\frac{1}{2}', []],
  [{ type: 'word-seed' }, 8, 'cloud', []],
  [{ type: 'creative' }, 0, 'river and cloud', []],
  [{ type: 'something new' }, 0, '', []],
]) {
  test(`pick ${pick} of ${question.type} with ${question.activityOptions?.length ?? 'no'} options answers "${answer}" and [${ids}]`, () => {
    assert.deepEqual(answerQuestion(question, pick), {
      answer,
      optionAnswers: ids.map((activityOptionId) => ({ activityOptionId })),
    });
  });
}

for (const [type, options, pick, expected] of [
  ['word-seed', [0, 1], 1, { input: 'cloud' }],
  ['creative', [0, 1], 1, { blob: ['cloud', 'stone'] }],
  ['scale', [0, 1, 2], 4, { input: '1' }],
  ['multiple', [0, 1, 2], 4, { blob: ['1'] }],
  ['sort', [0, 1, 2], 4, { blob: ['1', '2', '0'] }],
  ['text', [], 0, { input: 'The answer is river.' }],
  ['true-false', [], 0, { input: '' }],
]) {
  test(`pick ${pick} of a ${type} poll over [${options}] is ${JSON.stringify(expected)}`, () => {
    assert.deepEqual(answerPoll({ type, metadata: { options } }, pick), expected);
  });
}
