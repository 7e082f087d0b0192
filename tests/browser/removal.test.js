// A learner whom the teacher sends away.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';

test('who is removed is told so, and the others stay', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  const ben = await learner('Ben');
  const { device } = await host.tells('learnerJoined', { name: 'Ada' });
  await host.call('removeLearner', { device });
  await ada.sees(SAYS.isRemoved);
  await host.ask('MULTIPLE', 'Who is there?', ['I', 'Nobody']);
  await ben.choose(/I$/);
  await ben.isHeard();
  assert.match(await ada.text(), SAYS.isRemoved);
  assert.deepEqual((await host.call('learners')).map(({ name }) => name), ['Ben']);
});

test('who is removed can join again, as somebody new', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  const { device } = await host.tells('learnerJoined', { name: 'Ada' });
  await host.call('removeLearner', { device });
  await ada.sees(SAYS.isRemoved);
  await ada.press('button', 'Join again');
  await ada.introduce();
  await ada.sees(SAYS.isIn);
  const { device: other } = await host.tells('learnerJoined', { name: 'Ada' }, 2);
  assert.notEqual(other, device);
});
