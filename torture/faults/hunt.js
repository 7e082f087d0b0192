// One fault, and the tests that look for it.

import { mkdirSync, rmSync } from 'node:fs';
import { basename, join } from 'node:path';

import { asked, runTest } from './tests.js';

const SPARE = { factor: 4, seconds: 30 }; // on a busy machine, a test takes longer than it did

/**
 * {by, what} of the test that finds the fault, twice, and passes without it, or null; doubted are those that failed,
 * but not so.
 */
export async function hunt(fault, build, tests, { times, unreliable, place, atOnce }) {
  rmSync(place, { recursive: true, force: true });
  mkdirSync(join(place, 'lib'), { recursive: true });
  const waiting = asked(tests, fault.file, times).filter(({ name }) => !unreliable.has(name));
  const made = await build.make(fault, place, (name) => waiting.some(({ args }) => args.some((word) => basename(word) === name)));
  const run = (test, signal) => runTest(test, build, made, place,
    { signal, limit: Math.min(test.limit, SPARE.factor * times.get(test.name) + SPARE.seconds) });

  const doubted = [];
  while (waiting.length > 0) {
    const failed = await firstFailure(waiting, run, atOnce);
    if (!failed) break;
    const again = await run(failed.test);
    const without = again.passed || await runTest(failed.test, build, null, place);
    if (!again.passed && without.passed) return { by: failed.test.name, what: again.what, doubted };
    doubted.push(`${failed.test.name}: ${failed.what}`);
  }
  return { by: null, what: null, doubted };
}

// Takes tests from those that wait until one fails: it and how, or null. Those that were stopped for it wait again.
async function firstFailure(waiting, run, atOnce) {
  const stop = new AbortController();
  const stopped = [];
  let failed = null;
  const next = async () => {
    while (waiting.length > 0 && !failed) {
      const test = waiting.shift();
      const { passed, what } = await run(test, stop.signal);
      if (passed) continue;
      if (failed) {
        stopped.push(test);
      } else {
        failed = { test, what };
        stop.abort();
      }
    }
  };
  await Promise.all(Array.from({ length: atOnce }, next));
  waiting.unshift(...stopped);
  return failed;
}
