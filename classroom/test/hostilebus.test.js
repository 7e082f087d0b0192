// A pupil with a keyboard on the bus: what was tried, and that the class goes on.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { forEach, startClass, WAYS } from './support/hostile.js';
import { Device } from './support/device.js';
import { rawConnection, until } from './support/service.js';

import lzma from 'lzma';

const TRANSPORTS = ['websocket', 'xhr-polling'];
const EVERY_WAY = Object.keys(WAYS);
const TWO_WAYS = EVERY_WAY.slice(0, 2);

const nested = '['.repeat(20_000) + ']'.repeat(20_000);
const block = (bytes) => Buffer.from(lzma.compress('\0'.repeat(bytes), 1)).toString('base64');

// A block of 9 KB whose header says that it holds so much.
function boast(bytes) {
  const packed = Buffer.from(lzma.compress(Array.from({ length: 9_000 }, (_, i) => i * 7919 % 251), 1));
  packed.writeUInt32LE(bytes, 5);
  return packed.toString('base64');
}

forEach(EVERY_WAY, TRANSPORTS, (way, transport, name) => {
  test(`no message ends the process: ${name}`, async (t) => {
    const { service, session, holds } = await startClass(t, way, transport);
    for (const text of [
      '{"type":"register","address":{"toString":0}}',
      '{"type":"publish","address":{"toString":0},"body":{}}',
      `{"type":"register","address":${nested}}`,
      `{"type":"publish","address":"${session.sessionToken}","body":${nested}}`,
      `{"type":"publish","address":"${session.sessionToken}","body":{"type":${nested}}}`,
    ]) {
      const device = await new Device(service.url).open(transport);
      device.send(text);
      await until(() => device.closing);
    }
    await holds();
  });

  test(`a learner is itself and nobody else: ${name}`, async (t) => {
    const { session, presenter, arrive } = await startClass(t, way, transport);
    const [mallory, ada] = [await arrive('Mallory'), await arrive('Ada')];
    const token = session.sessionToken;
    const foreign = [`${token}.presenter`, `${token}.presenter.${session.userToken}`, `${token}.controller`, `${token}.user.${ada.userToken}`];
    foreign.forEach((address) => mallory.send({ type: 'register', address }));
    for (const type of ['questionStart', 'disconnect', 'stopSession', 'pause']) {
      ['', '.learner', '.presenter', `.user.${ada.userToken}`].forEach((place) => mallory.publish(place, type, {}));
    }
    mallory.publish('.presenter', 'join', {}, { action: 'unregister', client: { token: ada.userToken, type: 'user' } });
    await until(() => mallory.errors.length === 21);
    assert.deepEqual(new Set(mallory.errors), new Set(['not allowed']));
    mallory.publish('.presenter', 'join', { userName: 'Ada', deviceType: 'tablet' }, { from: ada.userToken });
    const [{ from, payload }] = await presenter.received('join');
    assert.deepEqual([from, payload], [mallory.userToken, { userName: 'Mallory', deviceType: 'tablet' }]);
    assert.deepEqual(presenter.bodies.filter(({ type, action }) => type !== 'join' && action !== 'register'), []);
    assert.deepEqual(ada.bodies, []);
  });
});

forEach(TWO_WAYS, TRANSPORTS, (way, transport, name) => {
  test(`invented names do not vote: ${name}`, async (t) => {
    const { presenter, arrive } = await startClass(t, way, transport, '--limit', 'messagesPerSecond=1000');
    const mallory = await arrive('Mallory');
    presenter.publish('', 'questionStart', '{"id":"Q1"}');
    await mallory.heard('questionStart'); // an answer to the question before would count as well
    for (let i = 0; i < 500; ++i) {
      mallory.publish('.presenter', 'questionResponse', { questionId: 'Q1', answer: 'A' }, { from: `invented-${i}` });
    }
    await mallory.heard('confirmed', 500);
    assert.deepEqual((await presenter.received('questionResponse')).map(({ from }) => from), [mallory.userToken]);
  });

  test(`small messages that would unpack to much cost nothing: ${name}`, async (t) => {
    const { peakMb, arrive, holds } = await startClass(t, way, transport);
    const zeros = block(64 * 1024);
    const boasts = boast(60 * 1024 * 1024);
    for (const data of [Array(3_000).fill(zeros).slice(0, Math.floor(200_000 / zeros.length)), Array(4).fill(boasts)]) {
      const mallory = await arrive('Mallory');
      mallory.send({ type: 'publish', address: `${mallory.sessionToken}.presenter`, body: { type: 'questionResponse', data } });
      await until(() => mallory.errors.length > 0);
      assert.deepEqual(mallory.errors, ['too long']);
    }
    assert.ok(await holds() < 3_000);
    assert.ok(peakMb() < 250, `${peakMb()} MB`);
  });

  test(`large messages, senders and lists of addresses are bounded: ${name}`, async (t) => {
    const { service, presenter, peakMb, arrive, holds } = await startClass(t, way, transport);
    for (const mebibytes of [1, 60]) {
      const mallory = await arrive('Mallory');
      mallory.send({ type: 'publish', address: `${mallory.sessionToken}.presenter`, body: { from: 'x'.repeat(mebibytes * 1024 * 1024), type: 'questionGet' } });
      await until(() => mallory.closing, 30_000);
    }
    const crowd = await arrive('Crowd');
    for (let i = 0; i < 15; ++i) {
      crowd.send({ type: 'register', address: `${crowd.sessionToken}.user.invented${i}` });
    }
    await until(() => crowd.errors.length === 15);
    assert.deepEqual(presenter.bodies.filter(({ type }) => type), []);
    await holds();
    assert.ok(peakMb() < 300, `${peakMb()} MB`);
    assert.equal(service.child.exitCode, null);
  });

  test(`who talks without end is read later and then cut: ${name}`, async (t) => {
    const { presenter, arrive, holds } = await startClass(t, way, transport, '--limit', 'behindMs=1500');
    const mallory = await arrive('Mallory');
    const talk = setInterval(() => mallory.closing || mallory.publish('.presenter', 'questionGet', { questionNumber: 1 }), 5);
    t.after(() => clearInterval(talk));
    await until(() => mallory.closing);
    clearInterval(talk);
    const heard = presenter.bodies.filter(({ type }) => type === 'questionGet').length;
    assert.ok(heard >= 20 && heard < 120, `${heard} messages`);
    await holds();
  });
});

test('a device that never reads is cut, and the class goes on', async (t) => {
  const { service, presenter, session, newDevice, peakMb, holds } = await startClass(t, 'a local service', 'websocket');
  const deaf = [];
  for (let i = 0; i < 5; ++i) {
    const device = await newDevice(`Deaf ${i}`);
    const raw = await rawConnection(t, service.url);
    raw.write(`GET /eventbus/119/deafdea${i}/websocket HTTP/1.1\r\nHost: ${new URL(service.url).host}\r\nConnection: Upgrade\r\nUpgrade: websocket\r\n`
      + 'Sec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n\r\n');
    await raw.read(/\r\n\r\n/);
    raw.write(maskedText(JSON.stringify([JSON.stringify({ type: 'register', address: session.sessionToken }),
      JSON.stringify({ type: 'register', address: `${session.sessionToken}.user.${device.userToken}` })])));
    await presenter.meets(device);
    raw.socket.pause();
    deaf.push(raw);
  }
  for (let i = 0; i < 40; ++i) {
    presenter.send({ type: 'publish', address: session.sessionToken, body: { type: 'questionStart', number: i, data: 'x'.repeat(1_000_000) } });
  }
  await presenter.received('unregister', 5);
  await holds();
  assert.ok(peakMb() < 400, `${peakMb()} MB`);
});

// A frame of a web socket with a text, its mask all zeros.
function maskedText(text) {
  const bytes = Buffer.from(text);
  const header = bytes.length < 126 ? Buffer.from([0x81, 0x80 | bytes.length]) : Buffer.from([0x81, 0xfe, bytes.length >> 8, bytes.length & 255]);
  return Buffer.concat([header, Buffer.alloc(4), bytes]);
}
