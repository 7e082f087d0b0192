// Questions as the learner's page knows them, and the answers that it sends.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { answerOf, normalise, valueOf } from '../pages/questions/normal.js';

const TIMING = { responseTime: 1500, assessmentToken: 'T7' };

function options(...texts) {
  return texts.map((optionText, i) => ({ id: 'ABCDEF'[i], optionText, displaySeqNumber: i, math: false }));
}

function question(type, more = {}) {
  return { id: 'q7Rk2mXa', type, questionSetMode: 'Poll', ...more };
}

function poll(type, count, ordinalType = 'number') {
  return { id: 'p1', type, metadata: { ordinalType, options: [...Array(count).keys()] } };
}

// Kind, what the question has besides, the value, and the answer.
for (const [type, more, value, answer, ids] of [
  ['true-false', { activityOptions: options('TRUE', 'FALSE') }, ['B'], '', ['B']],
  ['yes-no-other', { activityOptions: options('YES', 'NO') }, ['A'], '', ['A']],
  ['multiple', { activityOptions: options('17', '27', '37') }, ['C'], '', ['C']],
  ['multiple', { activityOptions: options('17', '27', '37'), numberOfCorrectOptions: 2 }, ['A', 'C'], '', ['A', 'C']],
  ['scale', { activityOptions: [{ id: '0', optionText: '0' }, { id: '10', optionText: '10' }] }, ['10'], '', ['10']],
  ['sort', { activityOptions: options('Oslo', 'Rome', 'Bern') }, ['B', 'C', 'A'], '', ['B', 'C', 'A']],
  ['creative', { activityOptions: options('tall', 'wide') }, ['B'], '', ['B']],
  ['creative', {}, ['river', 'cloud'], 'river,cloud', []],
  ['text', { maxChars: 20 }, 'The river.', 'The river.', []],
  ['word-seed', {}, 'river', 'river', []],
  ['number', { noOfDecimals: 1 }, '2.5', '2.5', []],
  ['math formula', {}, 'x=\\frac{1}{2}', 'x=\\frac{1}{2}', []],
]) {
  test(`a ${type} question is answered with ${JSON.stringify(value)}`, () => {
    assert.deepEqual(answerOf(normalise('questionStart', question(type, more)), value, TIMING), {
      type: 'questionResponse',
      payload: {
        questionId: 'q7Rk2mXa',
        studentAssessmentToken: '',
        questionSetMode: 'Poll',
        responseTime: 1500,
        answer,
        optionAnswers: ids.map((activityOptionId) => ({ activityOptionId })),
      },
    });
  });
}

test('an answer in an assessment names the assessment', () => {
  const asked = normalise('questionStart', question('text', { questionSetMode: 'Assessment', questionNumber: 4 }));
  assert.deepEqual(answerOf(asked, 'a heptagon', TIMING).payload, {
    questionId: 'q7Rk2mXa',
    studentAssessmentToken: 'T7',
    questionSetMode: 'Assessment',
    responseTime: 1500,
    answer: 'a heptagon',
    optionAnswers: [],
  });
});

for (const [type, value, pick] of [
  ['true-false', ['1'], { input: '1' }],
  ['yes-no-other', ['0'], { input: '0' }],
  ['multiple', ['1'], { blob: ['1'] }],
  ['scale', ['1'], { input: '1' }],
  ['sort', ['1', '2', '0'], { blob: ['1', '2', '0'] }],
  ['word-seed', 'river', { input: 'river' }],
  ['creative', ['river', 'cloud'], { blob: ['river', 'cloud'] }],
  ['text', 'The river.', { input: 'The river.' }],
  ['number', '2.5', { input: '2.5' }],
  ['math formula', 'x^2', { input: 'x^2' }],
]) {
  test(`a ${type} poll is answered with ${JSON.stringify(pick)}`, () => {
    const asked = normalise('poll', poll(type, 3));
    assert.deepEqual(answerOf(asked, value, TIMING), {
      type: 'pollResponse', payload: { pollId: 'p1', responseTime: 1500, pick },
    });
    assert.deepEqual(valueOf(asked, { pick }), value);
  });
}

test('a question has one shape, whatever the host has left out', () => {
  assert.deepEqual(normalise('questionStart', { id: 7, type: 'multiple', activityOptions: [{ id: 'A' }, null, 3] }), {
    id: '7',
    form: 'question',
    kind: 'multiple',
    text: '', passage: '', hint: '', picture: '',
    hasFormulas: false,
    options: [{ id: 'A', text: 'A', label: '', isFormula: false }],
    ends: ['', ''],
    picks: 1,
    isAssessment: false,
    number: 0,
    maxChars: 0,
    decimals: null,
    hasNext: false, navigable: false,
    prior: null,
  });
});

for (const data of [null, 'Q1', [], { type: 'text' }, { id: null }, { id: {} }]) {
  test(`${JSON.stringify(data)} is no question`, () => {
    assert.equal(normalise('questionStart', data), null);
    assert.equal(normalise('poll', data), null);
  });
}

test('what is no question at all asks nothing', () => {
  assert.equal(normalise('showCard', question('text')), null);
  assert.equal(normalise('constructor', question('text')), null);
});

// What a learner reads: the label, and the text.
for (const [id, optionText, label, text] of [
  ['A', 'Berlin', 'A', 'Berlin'],
  ['A', 'A', '', 'A'],
  ['3', '3', '', '3'],
  ['A', 'TRUE', '', 'True'],
  ['B', 'NO', '', 'No'],
  ['?', 'DONTKNOW', '', 'Don\'t know'],
  ['6f1c9a4e', 'Berlin', '1', 'Berlin'],
  ['A', '', '', 'A'],
  ['A', 'toString', 'A', 'toString'],
]) {
  test(`the option ${id} "${optionText}" reads "${label}" "${text}"`, () => {
    const [option] = normalise('questionStart', question('multiple', { activityOptions: [{ id, optionText }] })).options;
    assert.deepEqual(option, { id, text, label, isFormula: false });
  });
}

test('an answer that is there more than once is shown once, but everything is sorted', () => {
  const activityOptions = [...options('YES', 'NO'), { id: '?', optionText: 'DONTKNOW' }, { id: '?', optionText: 'DONTKNOW' }];
  const idsOf = (type) => normalise('questionStart', question(type, { activityOptions })).options.map(({ id }) => id);
  assert.deepEqual(idsOf('yes-no-other'), ['A', 'B', '?']);
  assert.deepEqual(idsOf('sort'), ['A', 'B', '?', '?']);
});

for (const [ordinalType, texts] of [
  ['true-false', ['True', 'False', 'Don\'t know']],
  ['yes-no', ['Yes', 'No', 'Don\'t know']],
  ['yes-no-maybe', ['Yes', 'No', 'Maybe']],
  ['yes-no-unsure', ['Yes', 'No', 'Unsure']],
  ['yes-no-other', ['Yes', 'No', 'Other']],
  ['alpha-upper', ['A', 'B', 'C']],
  ['alpha-lower', ['a', 'b', 'c']],
  ['number', ['0', '1', '2']],
  ['generic', ['0', '1', '2']],
]) {
  test(`the options of a ${ordinalType} poll read ${texts.join(', ')}`, () => {
    const asked = normalise('poll', poll('multiple', 3, ordinalType));
    assert.deepEqual(asked.options.map(({ text }) => text), texts);
    assert.deepEqual(asked.options.map(({ id }) => id), ['0', '1', '2']);
  });
}

test('a scale of agreement says what its ends mean', () => {
  assert.deepEqual(normalise('poll', poll('scale', 5, 'agreement')).ends, ['Strongly disagree', 'Strongly agree']);
});

for (const [type, more, feedBack, prior] of [
  ['multiple', { activityOptions: options('1', '2', '3') }, { optionAnswers: [{ activityOptionId: 'A' }, { activityOptionId: 'C' }] }, ['A', 'C']],
  ['multiple', { activityOptions: options('1', '2') }, { answer: 'B', optionAnswers: [] }, ['B']],
  ['multiple', { activityOptions: options('1', '2') }, { answer: 'elsewhere', optionAnswers: [] }, null],
  ['text', {}, { answer: 'a heptagon', optionAnswers: [] }, 'a heptagon'],
  ['text', {}, { answer: null, optionAnswers: [] }, null],
  ['number', {}, { answer: 7 }, '7'],
  ['creative', {}, { answer: 'river,cloud' }, ['river', 'cloud']],
]) {
  test(`the prior answer ${JSON.stringify(feedBack)} to a ${type} question is ${JSON.stringify(prior)}`, () => {
    assert.deepEqual(normalise('questionStart', question(type, { ...more, feedBack })).prior, prior);
  });
}

for (const [mode, noOfDecimals, decimals] of [
  ['Poll', 0, null], ['Poll', 2, 2], ['Assessment', 0, 0], ['Assessment', 2, 2], ['Poll', 2_147_483_647, 20],
]) {
  test(`${noOfDecimals} decimals of a number in mode ${mode} mean ${decimals}`, () => {
    assert.equal(normalise('questionStart', question('number', { questionSetMode: mode, noOfDecimals })).decimals, decimals);
  });
}

for (const [card, picture] of [
  [{ styles: { backgroundImage: 'url(\'https://classroom.example/cards/7.png\')' } }, 'https://classroom.example/cards/7.png'],
  [{ styles: { backgroundImage: 'url("/a(1).png")' } }, '/a(1).png'],
  [{ styles: { backgroundImage: '' }, components: [{ type: 'image', blob: { url: '/b.png' } }] }, '/b.png'],
  [{ styles: { backgroundImage: 'none' } }, ''],
  [{}, ''],
  [null, ''],
]) {
  test(`the picture of ${JSON.stringify(card)} is "${picture}"`, () => {
    assert.equal(normalise('questionStart', question('text', { card })).picture, picture);
  });
}
