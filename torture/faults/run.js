// Puts faults into the library's code and looks whether the tests find them; HELP in options.js tells how.

import { createHash } from 'node:crypto';
import { mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { Build } from './build.js';
import { hunt } from './hunt.js';
import { HELP, parseOptions } from './options.js';
import { drawnPlaces } from './places.js';
import { finder, report, scoreOf, sentence } from './report.js';
import { baseline, testsFor } from './tests.js';

const ROOT = fileURLToPath(new URL('../..', import.meta.url));
const WORK = join(ROOT, 'build', 'faults');

// So many at a time; each is told its number and which of those at a time it is.
async function inTurns(items, atOnce, act) {
  let next = 0;
  const worker = async (_, number) => {
    while (next < items.length) {
      const at = next++;
      await act(items[at], at, number);
    }
  };
  await Promise.all(Array.from({ length: atOnce }, worker));
}

function textWith({ file, number, after }) {
  const lines = readFileSync(join(ROOT, file), 'utf8').split('\n');
  lines[number - 1] = after;
  return lines.join('\n');
}

// The faults, each {file, number, before, after, operator}, that compile and change the code; and how many did not.
async function draw(build, { seed, count, folders, 'at-once': atOnce }) {
  const places = drawnPlaces(ROOT, folders, seed);
  const faults = [];
  const left = { broken: 0, same: 0 };
  while (faults.length < count && places.length > 0) {
    const tried = places.splice(0, Math.min(count - faults.length, 4 * atOnce));
    const kinds = new Map();
    await inTurns(tried, atOnce, async (place, _, worker) => {
      kinds.set(place, await build.difference({ ...place, text: textWith(place) }, join(WORK, `draw-${worker}`)));
    });
    for (const place of tried) {
      if (kinds.get(place) === 'differs') faults.push(place);
      else left[kinds.get(place)] += 1;
    }
    console.log(`faults: ${faults.length} of ${count} drawn`);
  }
  return { seed, ...left, faults };
}

// What was drawn the last time, with its results, as long as the code is the same.
async function drawn(build, options) {
  const { seed, count, folders } = options;
  const file = join(WORK, `seed-${seed}.json`);
  const key = createHash('sha256').update(JSON.stringify([count, drawnPlaces(ROOT, folders, seed)])).digest('hex');
  try {
    const known = JSON.parse(readFileSync(file, 'utf8'));
    if (known.key === key) return { file, ...known };
  } catch { /* there is none */ }
  return { file, key, ...await draw(build, options) };
}

function keep({ file, ...all }) {
  writeFileSync(file, JSON.stringify(all, null, 1));
  writeFileSync(join(WORK, `seed-${all.seed}.md`), report(all.faults, all));
}

async function run(options) {
  mkdirSync(WORK, { recursive: true });
  const build = new Build(ROOT, options.build);
  const all = await drawn(build, options);
  keep(all);
  const { faults } = all;
  if (options.list) return;

  const names = testsFor(build, options.folders).map(({ name }) => name.split('/')[1]);
  await build.update(names);
  const tests = testsFor(build, options.folders);
  const atOnce = options['at-once'];
  console.log(`faults: ${tests.length} tests, first without a fault`);
  const known = await baseline(tests, build, WORK, join(WORK, 'baseline.json'), atOnce * options.tests);

  const chosen = faults.filter((fault, i) => (
    options.only?.includes(i + 1) ?? (!options.missed || !fault.result?.by)));
  for (const fault of chosen) delete fault.result;
  await inTurns(chosen, atOnce, async (fault, _, worker) => {
    const place = join(WORK, `fault-${worker}`);
    const started = Date.now();
    fault.result = await hunt({ ...fault, text: textWith(fault) }, build, tests, { ...known, place, atOnce: options.tests });
    console.log(`${faults.indexOf(fault) + 1} ${fault.file}:${fault.number} ${fault.after.trim()}\n    ${finder(fault)}`
      + ` (${Math.round((Date.now() - started) / 1000)} s)`);
    keep(all);
  });
  console.log(sentence(faults, all));
  const { found, visible } = scoreOf(faults);
  process.exitCode = found < visible ? 1 : 0;
}

try {
  const options = parseOptions(process.argv.slice(2));
  if (options.help) console.log(HELP);
  else await run(options);
} catch (error) {
  console.error(`faults: ${error.message}`);
  process.exitCode = 2;
}
