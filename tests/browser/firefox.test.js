// The learner's page in Firefox, from the way in to the end.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { LACKING, newFirefox, press, write } from './support/firefox.js';
import { SAYS } from './support/learner.js';

test('a learner with Firefox takes part', { skip: LACKING }, async (t) => {
  const { host, newLearner } = await openClass(t);
  const ada = await newLearner('Ada', { on: await newFirefox(t) });
  await ada.openPath();
  await write(ada, 'Your name', 'Ada');
  await press(ada, 'button', 'Join');
  await ada.sees(SAYS.isIn);

  await host.ask('MULTIPLE', 'Which is a river?', ['Alps', 'Rhine', 'Baltic']);
  await press(ada, 'radio', 'B Rhine');
  await ada.isHeard();
  await host.call('stopActivity');

  await host.ask('TEXT', 'What do you see?');
  await write(ada, 'What do you see?', 'A boat');
  await press(ada, 'button', 'Send answer');
  await ada.isHeard();

  await host.call('stop');
  await ada.sees(SAYS.isOver);
  assert.deepEqual(host.answers, ['B', 'A boat']);
});
