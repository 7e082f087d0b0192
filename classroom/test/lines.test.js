// The lines behind the gate: how fast devices may speak, in which order they are heard, and what happens
// to those that read slowly or not at all.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import SockJS from 'sockjs-client';

import { ask, frame, poller, rawSocket, startGate, webSocket } from './support/gate.js';
import { newCertificateTexts } from './support/certificate.js';
import { until } from './support/service.js';

const numbers = (count, from = 0) => Array.from({ length: count }, (_, i) => String(from + i));
const pause = (ms) => new Promise((resolve) => { setTimeout(resolve, ms); });

test('who speaks too fast is heard later, in order', async (t) => {
  const gate = await startGate(t, { limits: { messagesPerSecond: 50 } });
  const socket = await webSocket(t, gate.url);
  const device = poller(gate.url, 'fast');
  await device.poll();
  const before = Date.now();
  socket.say('role learner', ...numbers(40));
  numbers(40, 40).forEach((text) => socket.say(text));
  await device.send(...numbers(40));
  await device.send(...numbers(40, 40));
  await until(() => gate.connections.every(({ texts }) => texts.length === 80));
  const passed = Date.now() - before;
  assert.ok(passed > 500 && passed < 5_000, `${passed} ms`);
  gate.connections.forEach(({ texts }) => assert.deepEqual(texts, numbers(80)));
});

test('presenters and tests may speak as fast as they can', async (t) => {
  const gate = await startGate(t, { limits: { messagesPerSecond: 2 } });
  const socket = await webSocket(t, gate.url);
  const device = poller(gate.url, 'presenter');
  await device.poll();
  socket.say('role control', ...numbers(500));
  await device.send('role presenter', ...numbers(500));
  await until(() => gate.connections.every(({ texts }) => texts.length === 500), 2_000);
});

test('who goes on speaking too fast is given up, who stops in time is not', async (t) => {
  const gate = await startGate(t, { limits: { messagesPerSecond: 20, behindMs: 1_000 } });
  const [flooding, calm] = [await webSocket(t, gate.url), await webSocket(t, gate.url)];
  const device = poller(gate.url, 'flooding');
  await device.poll();
  // A few at a time, so that nothing ever waits for long.
  const flood = setInterval(() => flooding.isClosed || flooding.say(...numbers(4)), 100);
  t.after(() => clearInterval(flood));
  calm.say(...numbers(30));
  await device.send(...numbers(900));
  await flooding.has(/c\[3005,"Too many messages"\]/);
  assert.equal(await device.poll(), 'c[3005,"Too many messages"]\n');
  await until(() => gate.connections[1].texts.length === 30);
  await pause(1_100);
  calm.say(...numbers(30));
  await until(() => gate.connections[1].texts.length === 60);
  assert.ok(gate.connections[1].isOpen);
});

test('a message that is still being looked at holds back the next', async (t) => {
  const gate = await startGate(t, { limits: { messagesPerSecond: 1_000 } });
  const socket = await webSocket(t, gate.url);
  const device = poller(gate.url, 'looking');
  await device.poll();
  const settle = [];
  gate.connections.forEach((connection) => {
    connection.answer = () => new Promise((resolve) => { settle.push(resolve); });
  });
  socket.say('a', 'b');
  socket.say('c');
  await device.send('a', 'b');
  const waiting = device.send('c');
  for (const [i, expected] of [['a'], ['a', 'b'], ['a', 'b', 'c']].entries()) {
    await until(() => settle.length === 2 * (i + 1));
    assert.deepEqual(gate.connections.map(({ texts }) => texts), [expected, expected]);
    settle.slice(-2).forEach((resolve) => resolve());
  }
  assert.equal(await waiting, 204);
});

test('a few posts of a line wait unread for the one before them, the next is turned away', async (t) => {
  const gate = await startGate(t);
  const device = poller(gate.url, 'posts');
  await device.poll();
  let settle;
  gate.connections[0].answer = (text) => (text === 'first' ? new Promise((resolve) => { settle = resolve; }) : undefined);
  assert.equal(await device.send('first'), 204);
  const statuses = [];
  numbers(7).forEach((text) => device.send(text).then((status) => statuses.push(status)));
  await until(() => statuses.length === 2);
  assert.deepEqual(statuses, [429, 429]);
  settle();
  await until(() => statuses.length === 7);
  assert.deepEqual(statuses, [429, 429, 204, 204, 204, 204, 204]);
  assert.equal(gate.connections[0].texts.length, 6);
});

test('a web socket is read no further while its messages wait', async (t) => {
  const gate = await startGate(t, { limits: { messagesPerSecond: 5, behindMs: 60_000, messageBytes: 100_000 } });
  const socket = await webSocket(t, gate.url);
  socket.say('role learner', ...numbers(10));
  await until(() => gate.connections[0].texts.length > 0);
  const large = frame(1, JSON.stringify(['x'.repeat(90_000)]));
  for (let i = 0; i < 300; i += 1) {
    socket.write(large);
  }
  await pause(300);
  const [served] = gate.sockets;
  assert.ok(served.bytesRead < 1_000_000, `${served.bytesRead} bytes`);
});

// Devices that are about to read nothing.
const DEVICES = {
  websocket: webSocket,
  xhr_streaming: (t, url) => streaming(t, url, 'POST', 'xhr_streaming'),
  eventsource: (t, url) => streaming(t, url, 'GET', 'eventsource'),
};

let lastSession = 0;

async function streaming(t, url, method, transport) {
  const raw = await rawSocket(t, url);
  raw.write(`${method} /eventbus/119/deaf-${++lastSession}/${transport} HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n`);
  await raw.has(/o\r?\n/);
  return raw;
}

// Reads on until so much has come.
function readOn(socket, bytes) {
  let left = bytes;
  socket.on('data', function read({ length }) {
    left -= length;
    if (left <= 0) {
      socket.off('data', read).pause();
    }
  }).resume();
}

for (const [transport, open] of Object.entries(DEVICES)) {
  for (const secured of [false, true]) {
    const name = `${transport}${secured ? ' and TLS' : ''}`;

    test(`over ${name}, who reads nothing is cut when too much waits`, async (t) => {
      const gate = await startGate(t, { limits: { waitingBytes: 2_000_000 }, pem: secured ? newCertificateTexts(t) : null });
      const device = await open(t, gate.url);
      device.socket.pause();
      const [connection] = gate.connections;
      let delivered = 0;
      while (connection.isOpen) {
        connection.deliver('x'.repeat(10_000));
        delivered += 10_000;
        assert.ok(delivered < 40_000_000);
        await new Promise(setImmediate);
      }
      assert.ok(delivered >= 2_000_000);
      assert.deepEqual(connection.closings, [[3006, 'Too slow']]);
    });

    if (transport === 'eventsource') {
      continue; // which is cut as streaming is
    }

    test(`over ${name}, who takes nothing of what waits is cut, who takes a little is not`, async (t) => {
      const gate = await startGate(t, { limits: { stalledMs: 1_200 }, pem: secured ? newCertificateTexts(t) : null });
      const device = await open(t, gate.url);
      device.socket.pause();
      const [connection] = gate.connections;
      connection.deliver('x'.repeat(40_000_000));
      for (let i = 0; i < 8; i += 1) {
        readOn(device.socket, 2_000_000);
        await pause(200);
      }
      assert.ok(connection.isOpen);
      await until(() => !connection.isOpen);
      assert.deepEqual(connection.closings, [[3006, 'Too slow']]);
      device.socket.resume();
      await device.closed();
    });
  }
}

test('a message of any size passes when nothing waits, and counts for nothing', async (t) => {
  const gate = await startGate(t, { limits: { waitingBytes: 1_000_000 } });
  const device = poller(gate.url, 'pictures');
  await device.poll();
  const [connection] = gate.connections;
  const picture = 'p'.repeat(12_000_000);
  connection.deliver(picture);
  numbers(100).forEach((text) => connection.deliver(text.repeat(5_000)));
  assert.ok(connection.isOpen);
  assert.equal(await device.poll(), `a["${picture}"]\n`);
  assert.equal(JSON.parse((await device.poll()).slice(1)).length, 100);
  connection.deliver(picture);
  connection.deliver(picture);
  connection.deliver('more');
  assert.deepEqual(connection.closings, [[3006, 'Too slow']]);
  assert.equal(await device.poll(), 'c[3006,"Too slow"]\n');
});

test('more waits for a presenter than for others', async (t) => {
  const gate = await startGate(t, { limits: { waitingBytes: 1_000, presenterWaitingBytes: 100_000 } });
  const device = poller(gate.url, 'slow-presenter');
  await device.poll();
  await device.send('role presenter');
  const [connection] = gate.connections;
  numbers(50).forEach(() => connection.deliver('x'.repeat(1_000)));
  assert.ok(connection.isOpen);
  numbers(60).forEach(() => connection.deliver('x'.repeat(1_000)));
  assert.deepEqual(connection.closings, [[3006, 'Too slow']]);
});

test('replies that a polling device never reads count as waiting', async (t) => {
  const gate = await startGate(t, { limits: { waitingBytes: 3_000_000 } });
  await poller(gate.url, 'greedy').poll();
  const [connection] = gate.connections;
  const text = 'x'.repeat(5_000_000);
  for (let i = 0; i < 10 && connection.isOpen; i += 1) {
    const raw = await rawSocket(t, gate.url);
    raw.socket.pause();
    raw.write('POST /eventbus/119/greedy/xhr HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n');
    await until(() => gate.notes.filter(({ kind }) => kind === 'busRequest').length === i + 2);
    connection.deliver(text);
  }
  assert.deepEqual(connection.closings, [[3006, 'Too slow']]);
});

test('a device that pings without end is cut, one that answers pings is not', async (t) => {
  const gate = await startGate(t);
  const [hostile, honest] = [await webSocket(t, gate.url), await webSocket(t, gate.url)];
  hostile.socket.pause();
  for (let i = 0; i < 15; i += 1) {
    honest.write(frame(0xa, 'pong'));
  }
  for (let i = 0; i < 2_000 && !hostile.isClosed; i += 1) {
    hostile.write(frame(0x9, 'p'.repeat(120)));
  }
  hostile.socket.resume();
  await hostile.closed();
  assert.deepEqual(gate.connections.map(({ isOpen }) => isOpen), [false, true]);
});

for (const transport of ['websocket', 'xhr-streaming', 'xhr-polling', 'eventsource']) {
  test(`over ${transport} messages of all sizes come whole and in order`, async (t) => {
    const gate = await startGate(t);
    const device = new SockJS(`${gate.url}/eventbus`, null, { transports: [transport] });
    t.after(() => device.close());
    const received = [];
    device.onmessage = ({ data }) => received.push(data);
    await until(() => gate.connections[0]);
    const texts = numbers(60).map((text) => `"${text}\u200c\u00e4\ud83d\ude00`.repeat(text % 5 === 0 ? 15_000 : 3));
    texts.forEach((text) => gate.connections[0].deliver(text));
    await until(() => received.length === 60);
    assert.deepEqual(received, texts);
    gate.connections[0].close(3008, 'Removed by the teacher');
    const closed = await new Promise((resolve) => { device.onclose = resolve; });
    assert.deepEqual([closed.code, closed.reason], [3008, 'Removed by the teacher']);
  });
}

test('all devices of a class share the frame of a picture', async (t) => {
  const gate = await startGate(t);
  const polls = numbers(20).map((name) => poller(gate.url, `class-${name}`));
  await Promise.all(polls.map((device) => device.poll()));
  const before = process.memoryUsage().rss;
  const raws = [];
  for (const name of numbers(20)) {
    const raw = await rawSocket(t, gate.url);
    raw.socket.pause();
    raw.write(`POST /eventbus/119/class-${name}/xhr HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n`);
    raws.push(raw);
  }
  await until(() => gate.notes.filter(({ kind }) => kind === 'busRequest').length === 40);
  const message = { text: 'x'.repeat(20_000_000) };
  gate.connections.forEach((connection) => connection.deliverMessage(message));
  await pause(100);
  const grown = process.memoryUsage().rss - before;
  assert.ok(grown < 250_000_000, `${grown} bytes`);
  assert.ok(raws.every(({ isClosed }) => !isClosed));
});

test('the packages below have what the gate reaches for', async (t) => {
  const gate = await startGate(t);
  await webSocket(t, gate.url);
  assert.equal((await ask(gate.url, 'POST', '/eventbus/119/inside/xhr')).text, 'o\n');
  const { default: FayeWebSocket } = await import('faye-websocket');
  const { default: transport } = await import('sockjs/lib/transport.js');
  const { default: HybiDriver } = await import('websocket-driver/lib/websocket/driver/hybi.js');
  const driver = new HybiDriver(null, 'ws://x', { maxLength: 5, requireMasking: true });
  assert.equal(driver._maxLength, 5);
  assert.deepEqual(driver._pingCallbacks, {});
  assert.ok(Array.isArray(driver._reader._queue));
  assert.equal(driver._reader._queueSize, 0);
  assert.equal(typeof driver.io.write, 'function');
  assert.equal(typeof FayeWebSocket, 'function');
  for (const name of ['tryFlush', 'flushToRecv', 'close']) {
    assert.equal(typeof transport.Session.prototype[name], 'function', name);
  }
  for (const name of ['doSendBulk', 'didClose']) {
    assert.equal(typeof transport.GenericReceiver.prototype[name], 'function', name);
  }
});
