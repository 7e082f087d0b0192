// The end of a class, on the learners' pages.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';

for (const transports of ['websocket', 'xhr-polling']) {
  test(`learners on ${transports} are told that the class is over`, async (t) => {
    const { host, learner } = await openClass(t);
    const ada = await learner('Ada', { transports });
    await host.ask('MULTIPLE', 'Is 7 prime?', ['Yes', 'No']);
    await ada.sees('Is 7 prime?');
    await host.call('stop');
    await ada.sees(SAYS.isOver);
    await ada.seesNoMore('Is 7 prime?');
  });
}

test('a class that is over takes nobody in', async (t) => {
  const { host, newLearner } = await openClass(t);
  await host.call('stop');
  const ada = await newLearner('Ada');
  await ada.openPath();
  await ada.introduce();
  await ada.sees('No class has this code.');
});

test('an answer that was not sent is lost with the class, and the page has no fault', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.ask('TEXT', 'What do you see?');
  await ada.write('What do you see?', 'A boat');
  await host.call('stop');
  await ada.sees(SAYS.isOver);
  assert.deepEqual(host.answers, []);
});
