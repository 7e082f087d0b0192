// A learner's line that fails in the middle of a question: the page comes back by itself, and the answer
// counts once.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';

const QUESTION = 'Which is a river?';
const OPTIONS = ['Alps', 'Rhine', 'Baltic'];
const NEXT = 'And which is a sea?';

const TRANSPORTS = ['websocket', 'xhr-polling'];
const FAILURES = ['cut', 'reset'];

async function asked(t, transports) {
  const { host, learner, proxy } = await openClass(t, { behindProxy: true });
  const ada = await learner('Ada', { transports });
  await host.ask('MULTIPLE', QUESTION, OPTIONS);
  await ada.sees(QUESTION);
  return { host, ada, proxy };
}

// The next question is answered behind everything else that was said, so nothing more comes before it.
async function countsOnce({ host, ada }) {
  await ada.isHeard();
  await host.answered();
  await host.call('stopActivity');
  await host.ask('MULTIPLE', NEXT, OPTIONS);
  await ada.sees(NEXT);
  await ada.choose(/Baltic$/);
  await host.answered(2);
  assert.deepEqual(host.answers, ['B', 'C']);
  assert.deepEqual(host.told('answeredLate'), []);
}

for (const transports of TRANSPORTS) {
  for (const fails of FAILURES) {
    test(`${transports}, ${fails} before the answer`, async (t) => {
      const { host, ada, proxy } = await asked(t, transports);
      proxy[fails]();
      await ada.sees(SAYS.isLost);
      await ada.choose(/Rhine$/);
      proxy.letThrough();
      await countsOnce({ host, ada });
    });
  }

  test(`${transports}, stalled while the learner answers`, async (t) => {
    const { host, ada, proxy } = await asked(t, transports);
    proxy.stall();
    await ada.choose(/Rhine$/);
    proxy.letThrough();
    await countsOnce({ host, ada });
  });

  test(`${transports}, reset when the answer is on its way`, async (t) => {
    const { host, ada, proxy } = await asked(t, transports);
    proxy.stall();
    await ada.choose(/Rhine$/);
    proxy.reset();
    await ada.sees(SAYS.isLost);
    proxy.letThrough();
    await countsOnce({ host, ada });
  });
}

test('a question that is asked while the line is down is there when it is back', async (t) => {
  const { host, learner, proxy } = await openClass(t, { behindProxy: true });
  const ada = await learner('Ada');
  proxy.cut();
  await ada.sees(SAYS.isLost);
  await host.ask('MULTIPLE', QUESTION, OPTIONS);
  proxy.letThrough();
  await ada.sees(QUESTION);
  await ada.choose(/Rhine$/);
  await countsOnce({ host, ada });
});
