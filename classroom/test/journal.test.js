// The journal: the order of entries is the order of events, and readers find what they ask for.

import assert from 'node:assert/strict';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { setTimeout as pause } from 'node:timers/promises';

import { Journal } from '../src/journal.js';

test('an entry that is not ready yet holds back those behind it', async () => {
  const journal = new Journal();
  let ready;
  journal.note('publish', new Promise((resolve) => { ready = resolve; }));
  journal.note('close', { connection: 2 });
  await pause(20);
  assert.deepEqual(journal.find(0, {}), []);
  ready({ text: 'late' });
  await journal.settled();
  assert.deepEqual(journal.find(0, {}).map(({ n, kind, text }) => [n, kind, text]), [[1, 'publish', 'late'], [2, 'close', undefined]]);
});

test('entries are found by number and fields', async () => {
  const journal = new Journal();
  for (const type of ['poll', 'pause', 'poll']) {
    journal.note('received', { type, connection: 7 });
  }
  journal.note('ping', { connection: 7 });
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'received', type: 'poll' }).map(({ n }) => n), [1, 3]);
  assert.deepEqual(journal.find(1, { connection: '7' }).map(({ n }) => n), [2, 3, 4]);
  assert.deepEqual(journal.find(4, {}), []);
  assert.deepEqual(journal.find(0, { type: 'resume' }), []);
});

test('a reader waits for entries to come', async () => {
  const journal = new Journal();
  journal.note('received', { type: 'poll' });
  const waiting = journal.waitFor(0, { type: 'poll' }, 2, 60_000);
  journal.note('received', { type: 'pause' });
  await pause(5);
  journal.note('received', { type: 'poll' });
  assert.deepEqual((await waiting).map(({ n }) => n), [1, 3]);
});

test('a reader gets what there is when its time is over', async () => {
  const journal = new Journal();
  journal.note('received', { type: 'poll' });
  assert.deepEqual((await journal.waitFor(0, { type: 'poll' }, 2, 20)).map(({ n }) => n), [1]);
});

test('old entries are forgotten, numbers stay', async () => {
  const journal = new Journal();
  for (let i = 0; i < 40_001; ++i) {
    journal.note('ping', {});
  }
  await journal.settled();
  const entries = journal.find(0, {});
  assert.equal(entries.length, 20_000);
  assert.equal(entries[0].n, 20_002);
  assert.deepEqual(journal.find(40_000, {}).map(({ n }) => n), [40_001]);
});

test('many large payloads do not stay in memory', async () => {
  const journal = new Journal();
  const text = 'x'.repeat(64 * 1024 * 1024);
  for (let i = 0; i < 5; ++i) {
    journal.note('received', { text });
  }
  await journal.settled();
  assert.deepEqual(journal.find(0, {}).map(({ n }) => n), [4, 5]);
});

test('the record file has one JSON object a line, the log one readable line', async (t) => {
  const folder = mkdtempSync(join(tmpdir(), 'classroom-'));
  t.after(() => rmSync(folder, { recursive: true }));
  const file = join(folder, 'record');
  const lines = [];
  const journal = new Journal({ file, log: { write: (line) => lines.push(line) } });
  await journal.ready();
  journal.note('received', { type: 'poll', text: 'y'.repeat(3000), data: { id: 1 } });
  await journal.close();
  const [entry, ...rest] = readFileSync(file, 'utf8').trimEnd().split('\n').map((line) => JSON.parse(line));
  assert.deepEqual(rest, []);
  assert.deepEqual({ ...entry, time: '' }, { n: 1, time: '', kind: 'received', type: 'poll', text: 'y'.repeat(3000), data: { id: 1 } });
  assert.equal(lines.length, 1);
  assert.match(lines[0], /^\d\d:\d\d:\d\d\.\d{3} received   type=poll text=y{2000}\.\.\. \(3000 characters\)\n$/);
});
