// What a learner's page is shown, message by message, without a line.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Identity } from '../pages/identity.js';
import { Lesson } from '../pages/lesson.js';
import { TabStorage } from './support/browser.js';
import { question } from './support/learnerclass.js';

const QUESTION = { body: { type: 'questionStart', data: ['q'] }, data: question('Q1') };
const CARD = { body: { type: 'showCard', data: ['c'] }, data: { components: [{ type: 'image', blob: { url: '/picture' } }] } };
const DIALOG = { body: { type: 'dialogShow', data: ['d'] }, data: { text: 'Five minutes left.', isDismissible: false } };

/** A lesson with what it has shown at each change: {isCardShown, dialog, question}. */
function setUp(t) {
  const shown = [];
  const lesson = new Lesson({
    identity: new Identity(new TabStorage()),
    say: () => {},
    changed: () => shown.push({ isCardShown: lesson.isCardShown, dialog: lesson.dialog?.text, question: lesson.question?.question.id }),
  });
  t.after(() => lesson.end());
  return { lesson, shown, take: ({ body, data }) => lesson.take(body, data) };
}

test('who comes back sees what was there, and nothing else in between', (t) => {
  const { lesson, shown, take } = setUp(t);
  [CARD, QUESTION, DIALOG].forEach(take);
  const before = shown.at(-1);
  assert.deepEqual(before, { isCardShown: false, dialog: 'Five minutes left.', question: 'Q1' });
  shown.length = 0;
  lesson.takeState({ paused: false, messages: [CARD, QUESTION], answers: [] });
  assert.deepEqual(shown, [before]);
});

// By the type: what a damaged message may hold instead of what it should.
const DAMAGED = ['poll', 'questionStart', 'showCard', 'assessmentStart', 'dialogShow', 'questionSetReview', 'pause']
  .flatMap((type) => [null, 5, 'text', [[]], {}, { id: {}, text: 5, type: '__proto__', metadata: 7, card: 'c' }, {
    id: 'Q', type: 'constructor', questionSetMode: 'Assessment', questionNumber: '1', assessmentToken: {}, questionCount: -1,
    activityOptions: [null, 5, [], { id: {}, optionText: [] }], metadata: { ordinalType: '__proto__', options: {} },
    card: { styles: [], components: [null, { type: 'image', blob: 3 }] }, feedBack: 'f',
  }].map((data) => [type, data]));

test('no damaged message keeps the next question from the learner', (t) => {
  for (const [type, data] of DAMAGED) {
    const { lesson, take } = setUp(t);
    take({ body: { type, data: ['x'] }, data });
    void [lesson.ways, lesson.isCardShown, lesson.assessment?.place];
    take(QUESTION);
    assert.equal(lesson.question.question.id, 'Q1', `${type} ${JSON.stringify(data)}`);
    lesson.end();
  }
});

test('a list of options that nobody could read is cut', (t) => {
  const { lesson, take } = setUp(t);
  const activityOptions = Array.from({ length: 10_000 }, (_, i) => ({ id: String(i), optionText: `Option ${i}` }));
  take({ ...QUESTION, data: question('Q1', { activityOptions }) });
  assert.equal(lesson.question.question.options.length, 500);
});

test('a set of an impossible length has one question', (t) => {
  const { lesson, take } = setUp(t);
  take({ body: { type: 'assessmentStart' }, data: { questionCount: -1 } });
  assert.deepEqual(lesson.assessment.place, { place: 1, count: 1 });
});
