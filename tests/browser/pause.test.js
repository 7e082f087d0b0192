// A class that is paused.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';

const QUESTION = 'What do you see?';

async function paused(t) {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  await host.ask('TEXT', QUESTION);
  await ada.write(QUESTION, 'A boat');
  await host.call('pause');
  await ada.sees(SAYS.isPaused);
  return { host, ada };
}

test('what is written stays, and is sent when the class goes on', async (t) => {
  const { host, ada } = await paused(t);
  await host.call('resume');
  await ada.seesNoMore(SAYS.isPaused);
  await ada.send();
  assert.equal(await host.answered(), 'A boat');
});

test('who loads the page again is told of the pause', async (t) => {
  const { host, ada } = await paused(t);
  await ada.reload();
  await ada.sees(SAYS.isPaused);
  await host.call('resume');
  await ada.seesNoMore(SAYS.isPaused);
  await ada.write(QUESTION, 'A ship');
  await ada.send();
  assert.equal(await host.answered(), 'A ship');
});
