// What a run makes of its lessons: stand-ins end as the library should and as it should not.

import assert from 'node:assert/strict';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import test from 'node:test';

import { faultName, faultNamed, faultsOf, scattered, wayNamed } from './faults.js';
import { holdLesson } from './lessons.js';
import { Report } from './report.js';

const FAULT = faultNamed('ws:cut:2:up:117');
const NOBODY = { url: 'http://127.0.0.1:1' };
const CLEAN = 'echo "left: 0 descriptors, 0 threads"';

/** The result of a lesson that is this shell script. */
async function resultOf(t, script, limitMs = 60_000) {
  const folder = mkdtempSync(join(tmpdir(), 'tarvo-lesson-'));
  t.after(() => rmSync(folder, { recursive: true }));
  const program = join(folder, 'lesson');
  writeFileSync(program, `#!/bin/sh\n${script}\n`, { mode: 0o755 });
  return holdLesson({ program, way: wayNamed('ws'), fault: FAULT, service: NOBODY, patienceMs: 1000, limitMs });
}

async function rowsOf(t, ...given) {
  const report = new Report(() => {});
  report.add(await resultOf(t, ...given));
  const rows = report.text().split('\n').map((line) => /^\| (\S.*) \| 1 \|$/.exec(line)?.[1]).filter(Boolean);
  return { hasFailed: report.hasFailed, rows };
}

for (const [title, script, outcome] of [
  ['that finishes', `${CLEAN}; exit 0`, 'finished'],
  ['that ends early with a word', `echo "heard: 1006"; ${CLEAN}; exit 15`, 'channel lost'],
]) {
  test(`a lesson ${title} is no failure`, async (t) => {
    assert.deepEqual(await rowsOf(t, script), { hasFailed: false, rows: [outcome, 'byte not reached', 'runs'] });
  });
}

for (const [title, script, rows] of [
  ['dies', `${CLEAN}; kill -SEGV $$`, ['crashed']],
  ['has a code that nobody knows', `${CLEAN}; exit 3`, ['crashed']],
  ['ends before it has cleaned up', 'exit 0', ['crashed']],
  ['leaves descriptors', 'echo "left: 2 descriptors, 0 threads"; exit 0', ['finished', 'descriptors left']],
  ['leaves a thread', 'echo "left: 0 descriptors, 1 threads"; exit 0', ['finished', 'threads left']],
  ['is told off by a sanitizer', `${CLEAN}; echo "a.cpp:7: runtime error: shift" >&2; exit 0`,
    ['finished', 'sanitizer reports and leaks']],
  ['leaks', `${CLEAN}; echo "ERROR: LeakSanitizer: detected memory leaks" >&2; exit 99`,
    ['crashed', 'sanitizer reports and leaks']],
]) {
  test(`a lesson that ${title} is one`, async (t) => {
    const { hasFailed, rows: actual } = await rowsOf(t, script);
    assert.equal(hasFailed, true);
    assert.deepEqual(actual.filter((row) => row !== 'runs' && row !== 'byte not reached'), rows);
  });
}

test('a lesson that does not end is killed and is one', async (t) => {
  const { hasFailed, rows } = await rowsOf(t, 'exec sleep 600', 200);
  assert.equal(hasFailed, true);
  assert.deepEqual(rows, ['byte not reached', 'hung', 'runs']);
});

test('the first and the last 200 bytes are all meant, and some between', () => {
  const bytes = faultsOf('ws', 'cut', [{ up: 1000, down: 0 }]).filter(({ direction }) => direction === 'up').map(({ byte }) => byte);
  assert.deepEqual(bytes.slice(0, 200), Array.from({ length: 200 }, (_, i) => i));
  assert.deepEqual(bytes.slice(-200), Array.from({ length: 200 }, (_, i) => 801 + i));
  assert.equal(bytes.length, 200 + 200 + 38); // 208, 224, ... 800
});

test('a fault has one name', () => {
  assert.equal(faultName(FAULT), 'ws:cut:2:up:117');
  assert.deepEqual(FAULT, { way: 'ws', kind: 'cut', connection: 2, direction: 'up', byte: 117 });
  assert.equal(faultNamed('carrier-pigeon:cut:2:up:117'), null);
});

test('whatever has been done of a run is spread evenly over all faults', () => {
  const all = Array.from({ length: 1000 }, (_, i) => i);
  const order = scattered(all);
  assert.deepEqual([...order].sort((a, b) => a - b), all);
  const tenths = new Array(10).fill(0);
  order.slice(0, 100).forEach((i) => { tenths[Math.floor(i / 100)] += 1; });
  tenths.forEach((count) => assert.ok(Math.abs(count - 10) <= 3, `${tenths}`));
});
