// What people hear who do not see the page.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Announcer } from '../pages/announcer.js';
import { until } from './support/service.js';

const GAP_MS = 400;

function setUp() {
  const told = [];
  const announcer = new Announcer((text) => told.push({ text, at: performance.now() }), { gapMs: GAP_MS });
  return { announcer, told, texts: () => told.map(({ text }) => text) };
}

test('what happens in one moment is told in one go, in the order in which it happened', async () => {
  const { announcer, told, texts } = setUp();
  announcer.say('A new question.', 'question');
  announcer.say('Your teacher has paused.', 'pause');
  assert.deepEqual(told, []);
  await until(() => told.length === 1);
  assert.deepEqual(texts(), ['A new question. Your teacher has paused.']);
});

test('of each topic the newest is told, and nothing sooner than the gap', async () => {
  const { announcer, told, texts } = setUp();
  announcer.say('The connection is lost.', 'line');
  await until(() => told.length === 1);
  announcer.say('A new question.', 'question');
  announcer.say('The connection is back.', 'line');
  announcer.say('The connection is lost.', 'line');
  announcer.say('The connection is back.', 'line');
  announcer.say('Another question.', 'question');
  await until(() => told.length === 2);
  assert.deepEqual(texts(), ['The connection is lost.', 'The connection is back. Another question.']);
  assert.ok(told[1].at - told[0].at >= GAP_MS - 5);
});

test('the same is told again when it happens again', async () => {
  const { announcer, told, texts } = setUp();
  announcer.say('A new question.', 'question');
  await until(() => told.length === 1);
  announcer.say('A new question.', 'question');
  await until(() => told.length === 2);
  assert.deepEqual(texts(), ['A new question.', 'A new question.']);
});
