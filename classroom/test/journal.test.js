// The journal: the order of entries is the order of events, and readers find what they ask for.

import assert from 'node:assert/strict';
import { existsSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';
import { setTimeout as pause } from 'node:timers/promises';

import { JOURNAL_DETAILS, Journal } from '../src/journal.js';

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

test('what is said about a payload counts twice, and so do the other fields of strangers', async () => {
  const text = `"${'x'.repeat(64 * 1024 * 1024)}"`;
  for (const fields of [{ text, data: { x: 1 } }, { type: text + text }, { from: { a: [text, text] } }]) {
    const journal = new Journal();
    for (let i = 0; i < 3; ++i) {
      journal.note('received', fields);
    }
    await journal.settled();
    assert.deepEqual(journal.find(0, {}).map(({ n }) => n), [3]);
  }
});

test('a message in the log is one line, whatever is in it', async () => {
  const lines = [];
  const journal = new Journal({ log: { write: (line) => lines.push(line) } });
  journal.note('unknown', { text: 'a\n12:00:00.000 publish    type=forged\r\u2028\x1b[2J\u202e', from: { name: '\u009b' } });
  await journal.settled();
  assert.equal(lines.length, 1);
  assert.equal(lines[0].slice(13), 'unknown    text=a\\x0a12:00:00.000 publish    type=forged\\x0d\\u2028\\x1b[2J\\u202e from={"name":"\\x9b"}\n');
});

test('fields may be a function, of fields or of a promise of them', async () => {
  const journal = new Journal();
  journal.note('ping', () => ({ connection: 1 }));
  journal.note('ping', async () => ({ connection: 2 }));
  await journal.settled();
  assert.deepEqual(journal.find(0, {}).map(({ connection }) => connection), [1, 2]);
});

test('fields that fail cost their own entry only', async (t) => {
  const told = t.mock.method(console, 'error', () => {});
  const journal = new Journal();
  journal.note('ping', () => { throw new Error('no\nfields'); });
  journal.note('ping', Promise.reject(new Error('none')));
  journal.note('ping', { connection: 3 });
  await journal.settled();
  assert.deepEqual(journal.find(0, {}).map(({ connection }) => connection), [3]);
  assert.deepEqual(told.mock.calls.map(({ arguments: [line] }) => line), [
    'classroom: entry 1 is missing: no\\x0afields',
    'classroom: entry 2 is missing: none',
  ]);
});

test('a journal that is off asks for nothing, keeps nothing and lets nobody wait', async (t) => {
  const folder = mkdtempSync(join(tmpdir(), 'classroom-'));
  t.after(() => rmSync(folder, { recursive: true }));
  const file = join(folder, 'record');
  const lines = [];
  const journal = new Journal({ detail: 'off', file, log: { write: (line) => lines.push(line) } });
  await journal.ready();
  journal.note('publish', () => assert.fail('asked for the fields'));
  journal.note('publish', Promise.reject(new Error('nobody waits for it')));
  journal.note('open', { connection: 1 });
  await pause(5);
  assert.deepEqual(await journal.waitFor(0, {}, 1, 60_000), []);
  assert.equal(journal.lastNumber, 0);
  await journal.close();
  assert.deepEqual(lines, []);
  assert.equal(existsSync(file), false);
});

test('only a whole journal wants payloads', () => {
  assert.deepEqual(JOURNAL_DETAILS.map((detail) => new Journal({ detail }).wantsPayloads), [true, false, false]);
});

for (const [fields, outline] of [
  [
    { connection: 3, transport: 'xhr-polling', address: 'TOKEN.user.abc', from: 'abc', type: 'join', client: { token: 'abc', type: 'user' }, version: '3.0.0', form: 'base64', text: '{}', data: {}, error: 'x', receivers: 1 },
    { connection: 3, transport: 'xhr-polling', address: '<session>.user.<user>', type: 'join', receivers: 1 },
  ],
  [
    { method: 'POST', path: '/vantora/session/stop?sessionToken=TOKEN', cookie: 'c', body: '{}', reply: '{}', remark: 'r', status: 200 },
    { method: 'POST', path: '/vantora/session/stop', status: 200 },
  ],
  [{ path: '/eventbus/000/abcdefgh/xhr_send?t=1' }, { path: '/eventbus/<server>/<session>/xhr_send' }],
  [{ path: '/vantora/resource/0f3a/image.png' }, { path: '/vantora/resource/<other>/<other>' }],
  [{ address: 'TOKEN' }, { address: '<session>' }],
  [{ address: 'TOKEN.presenter', accepted: true }, { address: '<session>.presenter', accepted: true }],
  [{ address: 'TOKEN.presenter.abc' }, { address: '<session>.presenter.<user>' }],
  [{ address: 'TOKEN.TOKEN.abc' }, { address: '<other>' }],
  [{ type: '5d00-token', action: { token: 'abc' }, connection: 'abc', receivers: ['abc'] }, {}],
  [{ event: 'joined', role: 'learner', deviceId: 'abc', userName: 'Zoë' }, { event: 'joined', role: 'learner' }],
  [{ connection: 1, code: 3001, reason: 'The class has ended', client: null }, { connection: 1, code: 3001, reason: 'The class has ended' }],
]) {
  test(`the outline of ${JSON.stringify(fields)} is ${JSON.stringify(outline)}`, async () => {
    const lines = [];
    const journal = new Journal({ detail: 'outline', log: { write: (line) => lines.push(line) } });
    journal.note('something', async () => fields);
    await journal.settled();
    const [{ n, time, kind, ...rest }] = journal.find(0, {});
    assert.deepEqual([n, kind, rest], [1, 'something', outline]);
    assert.doesNotMatch(lines.join(), /TOKEN|abc/);
  });
}

test('a reader who waits does not copy what is kept', async () => {
  const journal = new Journal();
  for (let i = 0; i < 40_000; ++i) {
    journal.note('ping', {});
  }
  await journal.settled();
  const waiting = journal.waitFor(0, { kind: 'nothing' }, 1, 60_000);
  await pause(5);
  const before = performance.now();
  for (let i = 0; i < 2_000; ++i) {
    journal.note('received', {});
  }
  await journal.settled();
  journal.note('nothing', {});
  assert.deepEqual((await waiting).map(({ kind }) => kind), ['nothing']);
  assert.ok(performance.now() - before < 1_000);
});
