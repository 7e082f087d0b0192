// A page's line to the bus, against the real service: payloads both ways, coming back, and staying away.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { comeOnline, showAgain, sockets } from './support/browser.js';

import { Line } from '../pages/line.js';
import { pack, unpack } from '../pages/payload.js';
import { patientCodec } from './support/codec.js';
import { startClass } from './support/learnerclass.js';
import { RestClient, until } from './support/service.js';

const codec = patientCodec();

const PAYLOADS = ['', 'word', 0, null, { text: 'Größe 😀 \u0000' }, Array.from({ length: 20_000 }, (_, i) => i)];

/** A learner's line in a class, with the events that it has emitted. */
async function enter(t, { service, session }, options = {}) {
  const { json } = await new RestClient(service.url).postJson('/vantora/classroom/session/join', {
    userName: 'Ada', sessionCode: session.sessionCode, mode: 'learner', deviceName: 'phone', deviceType: 'phone',
  });
  return lineOf(t, service.url, json.data, options);
}

function lineOf(t, origin, { sessionToken, userToken }, options = {}) {
  const line = new Line({ sessionToken, userToken, places: ['', '.learner', `.user.${userToken}`], origin, ...options });
  t.after(() => line.close());
  const heard = { open: [], message: [], refused: [], lost: [], ended: [] };
  Object.keys(heard).forEach((name) => line.addEventListener(name, ({ detail }) => heard[name].push(detail)));
  line.open();
  return { line, heard, userToken };
}

test('what a page packs the service reads, and the other way round', async () => {
  for (const payload of PAYLOADS) {
    const text = JSON.stringify(payload);
    assert.equal((await codec.unpack(await pack(payload))).text, text);
    assert.deepEqual(await unpack(codec.pack(text, 'base64')), payload);
    assert.deepEqual(await unpack(codec.pack(text, 'string')), payload);
  }
});

test('what cannot be unpacked is null, and what comes next is read', async () => {
  for (const data of [[], ['XQ=='], ['no base64!'], ['XQBAAAAUAAAAFAAAAAA9'], [null], codec.pack('no JSON', 'base64')]) {
    assert.equal(await unpack(data), null);
  }
  assert.equal(await unpack(codec.pack('"word"', 'base64')), 'word');
});

for (const transport of ['websocket', 'xhr-streaming', 'eventsource', 'xhr-polling']) {
  test(`a line over ${transport} says and hears, and comes back when it is cut`, async (t) => {
    const place = await startClass(t);
    const { rest, presenter } = place;
    const { line, heard, userToken } = await enter(t, place, { transports: [transport] });
    await until(() => heard.open.length === 1);
    assert.equal(await line.publish('join', { userName: 'Ada', deviceType: 'phone' }), true);
    const [join] = await presenter.received('join');
    assert.deepEqual([join.from, join.payload], [userToken, { userName: 'Ada', deviceType: 'phone' }]);
    presenter.publish('', 'questionStart', '{"id":"Q1"}');
    await until(() => heard.message.length === 1);
    assert.deepEqual([heard.message[0].body.type, heard.message[0].data], ['questionStart', { id: 'Q1' }]);

    await rest.control('DELETE', `connections?transport=${transport}`);
    await until(() => heard.open.length === 2 && heard.message.some(({ body }) => body.action === 'state'));
    assert.equal(heard.lost[0].attempt, 1);
    assert.ok(heard.lost[0].waitMs >= 375 && heard.lost[0].waitMs <= 625);
    const { data } = heard.message.find(({ body }) => body.action === 'state');
    assert.deepEqual([data.paused, data.messages.map(({ data: { id } }) => id), data.answers], [false, ['Q1'], []]);
  });
}

test('a line that is taken over, or whose user is sent away, does not come back', async (t) => {
  const place = await startClass(t);
  const first = await enter(t, place);
  await until(() => first.heard.open.length === 1);
  const second = lineOf(t, place.service.url, { sessionToken: place.session.sessionToken, userToken: first.userToken });
  await until(() => first.heard.ended.length === 1);
  assert.deepEqual(first.heard.ended, [{ code: 3004, reason: 'Replaced by a new line' }]);
  place.say('disconnect', '', `.user.${first.userToken}`);
  await until(() => second.heard.ended.length === 1);
  assert.equal(second.heard.ended[0].code, 3008);
  const third = lineOf(t, place.service.url, { sessionToken: place.session.sessionToken, userToken: first.userToken });
  await until(() => third.heard.ended.length === 1);
  assert.equal(third.heard.ended[0].code, 3009);
  assert.deepEqual([first, second, third].map(({ heard }) => heard.lost), [[], [], []]);
  assert.equal(await third.line.publish('join', {}), false);
});

test('a line to a session that is over ends at once', async (t) => {
  const place = await startClass(t);
  const { sessionToken } = place.session;
  await place.rest.postJson('/vantora/session/stop', { sessionToken });
  const { heard } = lineOf(t, place.service.url, { sessionToken, userToken: 'nobody' });
  await until(() => heard.ended.length === 1);
  assert.deepEqual([heard.ended, heard.refused], [[{ code: 3009, reason: 'unknown session' }], []]);
});

test('a line waits longer from one attempt to the next', async (t) => {
  const { heard } = lineOf(t, 'http://127.0.0.1:1', { sessionToken: 'no session', userToken: 'nobody' });
  await until(() => heard.lost.length === 3);
  assert.deepEqual(heard.lost.map(({ attempt }) => attempt), [1, 2, 3]);
  heard.lost.forEach(({ waitMs }, i) => assert.ok(waitMs >= 375 * 2 ** i && waitMs <= 625 * 2 ** i, `${waitMs} ms`));
});

test('a line that waits comes back at once when the device is online', async (t) => {
  const { heard } = lineOf(t, 'http://127.0.0.1:1', { sessionToken: 'no session', userToken: 'nobody' });
  for (let count = 1; count <= 6; ++count) {
    await until(() => heard.lost.length === count);
    const lostAt = performance.now();
    comeOnline();
    await until(() => heard.lost.length === count + 1);
    const waitMs = Math.round(performance.now() - lostAt);
    assert.ok(count < 5 || waitMs < heard.lost[count - 1].waitMs, `${waitMs} ms`);
  }
});

test('a line on which nothing is heard is given up and opened anew', async (t) => {
  const { heard } = await enter(t, await startClass(t), { silenceMs: 400 });
  await until(() => heard.open.length === 2);
  assert.equal(heard.lost[0].attempt, 1);
});

test('the line of a page that was put away is opened anew at once when the page is shown again', async (t) => {
  const { heard } = await enter(t, await startClass(t));
  await until(() => heard.open.length === 1);
  const { opened } = sockets;
  showAgain();
  assert.deepEqual([heard.lost.length, sockets.opened], [1, opened + 1]);
  await until(() => heard.open.length === 2);
});

// By what is wrong with them.
const BODIES = {
  'a state of nothing': { action: 'state' },
  'a state of other things': { action: 'state', paused: 'no', messages: [null, 5, { type: 7 }], answers: 'none' },
  'a type that is no text': { type: { toString: 1 } },
  'data that is no block': { type: 'questionStart', data: { length: 2 } },
  'a name that every object has': { type: '__proto__', action: 'constructor' },
};

for (const [fault, body] of Object.entries(BODIES)) {
  test(`what comes behind ${fault} is heard`, async (t) => {
    const place = await startClass(t);
    const { heard } = await enter(t, place);
    await until(() => heard.open.length === 1);
    await place.rest.control('POST', 'publish', { address: place.session.sessionToken, body });
    place.say('pause', 'p');
    await until(() => heard.message.at(-1)?.body.type === 'pause');
  });
}

test('what the service refuses is told', async (t) => {
  const { heard, line } = await enter(t, await startClass(t));
  await until(() => heard.open.length === 1);
  await line.publish('questionResponse', { questionId: 'Q1', answer: 'x'.repeat(10_001) });
  await until(() => heard.refused.length === 1);
  assert.deepEqual(heard.refused, [{ message: 'too long' }]);
});
