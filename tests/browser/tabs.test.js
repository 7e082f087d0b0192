// Several pages of one device, and many devices.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';

const QUESTION = 'Which is a river?';
const OPTIONS = ['Alps', 'Rhine', 'Baltic'];
const DEVICES = 30;

test('a second page of a device takes over from the first', async (t) => {
  const { host, learner } = await openClass(t);
  const first = await learner('Ada');
  const second = await learner('Ada', { on: first.device });
  await first.sees(SAYS.isReplaced);
  await host.ask('MULTIPLE', QUESTION, OPTIONS);
  await second.sees(QUESTION);
  await second.choose(/Rhine$/);
  assert.equal(await host.answered(), 'B');
  assert.equal((await host.call('learners')).length, 1);
  assert.match(await first.text(), SAYS.isReplaced); // it does not come back by itself

  await first.press('button', 'Use this one');
  await second.sees(SAYS.isReplaced);
  await first.isHeard();
});

test(`${DEVICES} devices join and answer, and every answer counts once`, async (t) => {
  const { host, learner } = await openClass(t);
  const names = Array.from({ length: DEVICES }, (_, i) => `Learner ${i + 1}`);
  const learners = [];
  for (const name of names) {
    learners.push(await learner(name));
  }
  await host.ask('MULTIPLE', QUESTION, OPTIONS);
  await Promise.all(learners.map(async (each, i) => {
    await each.choose(new RegExp(`${OPTIONS[i % 3]}$`));
    await each.isHeard();
  }));
  await host.answered(DEVICES);
  assert.equal(new Set(host.told('answered').map(({ device }) => device)).size, DEVICES);
  assert.deepEqual((await host.call('results')).map(({ choice, count }) => [choice, count]), [['A', 10], ['B', 10], ['C', 10]]);
});
