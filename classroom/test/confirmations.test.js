// When devices are told that their answers have arrived.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Confirmations } from '../src/bus/confirmations.js';
import { until } from './support/service.js';

const PAUSE_MS = 50;

// What has been said, and when.
function setUp() {
  const said = [];
  const confirmations = new Confirmations((device, questionId) => said.push({ device, questionId, at: performance.now() }), PAUSE_MS);
  return { confirmations, said };
}

test('answers are confirmed in the order in which they came, each once', async () => {
  const { confirmations, said } = setUp();
  confirmations.add('ada', 'Q1');
  confirmations.add('ben', 'Q1');
  assert.deepEqual(said, []);
  await until(() => said.length === 2);
  confirmations.add('ada', 'Q2');
  await until(() => said.length === 3);
  assert.deepEqual(said.map(({ device, questionId }) => `${device} ${questionId}`), ['ada Q1', 'ben Q1', 'ada Q2']);
});

test('who must not wait is told at once, and the others are told in time', async () => {
  const { confirmations, said } = setUp();
  confirmations.add('ada', 'Q1');
  confirmations.add('ben', 'Q1');
  confirmations.hurry((device) => device === 'ben');
  const devices = () => said.map(({ device }) => device);
  assert.deepEqual(devices(), ['ben']);
  await until(() => said.length === 2);
  confirmations.add('cleo', 'Q1');
  confirmations.hurry(() => true);
  assert.deepEqual(devices(), ['ben', 'ada', 'cleo']);
});

test('nothing is said before the answers pause', async () => {
  const { confirmations, said } = setUp();
  const came = [];
  for (let i = 0; i < 5; ++i) {
    came.push(performance.now());
    confirmations.add('ada', `Q${i}`);
    await new Promise((resolve) => { setTimeout(resolve, PAUSE_MS / 5); });
  }
  await until(() => said.length === 5);
  const latest = came.filter((at) => at < said[0].at).at(-1);
  assert.ok(said[0].at - latest > PAUSE_MS - 5, `${said[0].at - latest} ms`);
});

test('answers that do not pause are confirmed all the same', async (t) => {
  const { confirmations, said } = setUp();
  const coming = setInterval(() => confirmations.add('ada', 'Q1'), PAUSE_MS / 10);
  t.after(() => clearInterval(coming));
  await until(() => said.length > 0);
});

test('so many are confirmed at a time that nobody is held up', async () => {
  const batches = [];
  let isSaying = false;
  const confirmations = new Confirmations(() => {
    if (!isSaying) {
      isSaying = true;
      batches.push(0);
      queueMicrotask(() => { isSaying = false; });
    }
    batches[batches.length - 1] += 1;
  }, 1);
  for (let i = 0; i < 450; ++i) {
    confirmations.add('ada', `Q${i}`);
  }
  await until(() => batches.length === 3);
  assert.deepEqual(batches, [200, 200, 50]);
});
