// What is told of what changes: in sentences, the newest of each thing, and not so often that nobody can
// listen to anything else.

import assert from 'node:assert/strict';
import test from 'node:test';

import { until } from '../../classroom/test/support/service.js';
import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';
import { DEADLINE_MS } from './support/screen.js';

const GAP_MS = 5_000;
const ROUNDING_MS = 5; // of the browser's timers

const SENTENCES = /^(?:[A-Z][^.?]*[.?:] ?)+$/;

// Begins to write down what is told; resolves with how to read it: [{at, text}]. The clock is read before a
// text is told: read afterwards, by an observer, a busy machine makes the gap that follows look shorter.
async function listen({ page }) {
  await page.evaluate(() => {
    window.told = [];
    const region = document.querySelector('[aria-live]');
    region.replaceChildren = (...paragraphs) => {
      const at = performance.now();
      window.Element.prototype.replaceChildren.apply(region, paragraphs);
      window.told.push({ at, text: region.textContent });
    };
  });
  return () => page.evaluate(() => window.told);
}

test('what happens fast is told slowly', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  const told = await listen(ada);
  await host.ask('MULTIPLE', 'Which is a river?', ['Alps', 'Rhine']);
  for (let i = 0; i < 3; ++i) {
    await host.call('pause');
    await ada.sees(SAYS.isPaused);
    await host.call('resume');
    await ada.seesNoMore(SAYS.isPaused);
  }
  await ada.choose(/Rhine$/);
  await ada.isHeard();
  await until(async () => (await told()).at(-1)?.text.includes('Your teacher has your answer.'), DEADLINE_MS);
  await host.call('stop');
  await until(async () => (await told()).at(-1).text.includes('The class has ended.'), DEADLINE_MS);
  check(await told());
});

function check(told) {
  assert.ok(told.length > 1);
  told.forEach(({ text }) => assert.match(text, SENTENCES));
  const gaps = told.slice(1).map(({ at }, i) => at - told[i].at);
  gaps.forEach((gap) => assert.ok(gap >= GAP_MS - ROUNDING_MS, `${gap} ms between two of ${JSON.stringify(told)}`));
}
