// A page that is loaded again in the middle of a question.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';

const QUESTION = 'Which is a river?';
const OPTIONS = ['Alps', 'Rhine', 'Baltic'];

async function asked(t) {
  const { host, learner, ...rest } = await openClass(t);
  const ada = await learner('Ada');
  await host.ask('MULTIPLE', QUESTION, OPTIONS);
  await ada.sees(QUESTION);
  return { host, ada, ...rest };
}

// The next question is answered behind everything else that was said. What the first was answered with is
// shown with it, so the host has to have it before.
async function asksNext(host, ada) {
  await host.answered();
  await host.call('stopActivity');
  await host.ask('MULTIPLE', 'And now?', OPTIONS);
  await ada.sees('And now?');
  await ada.choose(/Baltic$/);
  await host.answered(2);
}

test('before the answer: the question is there again, and its answer counts', async (t) => {
  const { host, ada } = await asked(t);
  await ada.reload();
  await ada.sees(QUESTION);
  await ada.choose(/Rhine$/);
  assert.equal(await host.answered(), 'B');
});

test('after the answer: it is shown as it was given, and counts once', async (t) => {
  const { host, ada } = await asked(t);
  await ada.choose(/Rhine$/);
  await ada.isHeard();
  await ada.reload();
  await ada.sees(QUESTION);
  await ada.isHeard();
  await ada.finds('radio', /Rhine$/, { checked: true });
  await asksNext(host, ada);
  assert.deepEqual(host.answers, ['B', 'C']);
});

test('as soon as the answer is heard: it counts once', async (t) => {
  const { host, ada } = await asked(t);
  await ada.choose(/Rhine$/);
  await ada.isHeard();
  await ada.reload(); // the service forgets the device while the host asks who is there
  await ada.sees(QUESTION);
  await asksNext(host, ada);
  assert.deepEqual(host.answers, ['B', 'C']);
  assert.deepEqual(host.told('failed'), []);
});

test('several times in a row: the answer counts once', async (t) => {
  const { host, ada } = await asked(t);
  await ada.choose(/Alps$/);
  await ada.isHeard();
  for (let i = 0; i < 3; ++i) {
    await ada.reload();
    await ada.sees(QUESTION);
  }
  await ada.isHeard();
  await asksNext(host, ada);
  assert.deepEqual(host.answers, ['A', 'C']);
  assert.equal((await host.call('learners')).length, 1);
});
