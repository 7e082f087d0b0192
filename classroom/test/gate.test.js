// The gate in front of the SockJS server: its doors, how many lines it has, and how large a message may be.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { ask, frame, HANDSHAKE, poller, rawSocket, startGate, webSocket } from './support/gate.js';
import { until } from './support/service.js';

const UPGRADE = HANDSHAKE.replaceAll('\r\n', '\n');

// Sends a request by hand; the status and whatever else came until the socket was closed.
async function statusOf(t, url, requestLine, headers = '') {
  const raw = await rawSocket(t, url);
  raw.write(`${requestLine} HTTP/1.1\r\nHost: x\r\n${headers.replaceAll('\n', '\r\n')}\r\n`);
  const [, status] = await raw.has(/^HTTP\/1\.1 (\d+)/);
  raw.socket.destroy();
  return Number(status);
}

async function serves(gate) {
  const device = poller(gate.url, `honest-${Math.random().toString(36).slice(2)}`);
  assert.equal(await device.poll(), 'o\n');
  assert.equal(await device.send('hello'), 204);
  await until(() => gate.connections.some(({ texts }) => texts.includes('hello')));
}

test('only the paths that devices need are there', async (t) => {
  const gate = await startGate(t);
  for (const [requestLine, expected] of [
    ['GET /eventbus/info', 200], ['GET /eventbus/info?t=17', 200], ['OPTIONS /eventbus/info', 204], ['POST /eventbus/info', 404],
    ['GET /eventbus', 404], ['GET /eventbus/', 404], ['GET /eventbus/iframe.html', 404], ['GET /eventbus/iframe-1.html', 404],
    ['POST /eventbus/chunking_test', 404], ['GET /eventbus/websocket', 404], ['GET /eventbus/119/abc/htmlfile?c=x', 404],
    ['GET /eventbus/119/abc/jsonp?c=x', 404], ['POST /eventbus/119/abc/jsonp_send', 404], ['POST /eventbus/119/abc/xhr', 200],
    ['POST /eventbus/119/abd/xhr_streaming', 200], ['GET /eventbus/119/abe/eventsource', 200], ['OPTIONS /eventbus/119/abc/xhr', 204],
    ['OPTIONS /eventbus/119/abc/xhr_send', 204], ['OPTIONS /eventbus/119/abc/xhr_streaming', 204], ['GET /eventbus/119/abc/xhr', 404],
    ['PUT /eventbus/119/abc/xhr', 404], ['POST /eventbus/119/abc/eventsource', 404], ['GET /eventbus/119/abc/websocket', 404],
    ['POST /eventbus/119/abc/xhr/', 404], ['POST /eventbus//abc/xhr', 404], ['POST /eventbus/119/a.c/xhr', 404],
    [`POST /eventbus/119/${'s'.repeat(64)}/xhr`, 200], [`POST /eventbus/119/${'s'.repeat(65)}/xhr`, 404],
    [`POST /eventbus/${'1'.repeat(65)}/abc/xhr`, 404], ['POST /eventbus/119/constructor/xhr', 404], ['POST /eventbus/119/__proto__/xhr_send', 404],
    ['POST /eventbus/119/unknown/xhr_send', 404], ['GET /eventbus/%', 404], ['GET /eventbus/\\', 404],
    ['GET /eventbus?//[', 404], ['GET /eventbuses', 404], ['GET //eventbus/info', 404],
  ]) {
    assert.equal(await statusOf(t, gate.url, requestLine, 'Content-Length: 0\n'), expected, requestLine);
  }
  assert.deepEqual(gate.faults(), []);
});

test('an upgrade is a web socket of the one version, or answered and closed', async (t) => {
  const gate = await startGate(t);
  for (const [requestLine, headers, expected] of [
    ['GET /eventbus/119/abc/websocket', UPGRADE, 101],
    ['GET /eventbus/119/abc/websocket', UPGRADE.replace('13', '8'), 400],
    ['GET /eventbus/119/abc/websocket', UPGRADE.replace('dGhl', ''), 400],
    ['GET /eventbus/119/abc/websocket', UPGRADE.replace('Upgrade: websocket', 'Upgrade: h2c'), 400],
    ['GET /eventbus/119/abc/websocket', 'Connection: Upgrade\nUpgrade: websocket\n', 400],
    ['POST /eventbus/119/abc/websocket', UPGRADE, 404],
    ['GET /eventbus/websocket', UPGRADE, 404],
    ['GET /eventbus/info', UPGRADE, 404],
    ['GET /eventbus/%00', UPGRADE, 404],
    ['POST /eventbus/119/abc/xhr', UPGRADE, 404],
    ['POST /eventbus/119/abc/xhr_send', UPGRADE, 404],
    ['GET /eventbus/119/abc/eventsource', UPGRADE, 404],
  ]) {
    const raw = await rawSocket(t, gate.url);
    raw.write(`${requestLine} HTTP/1.1\r\nHost: x\r\n${headers.replaceAll('\n', '\r\n')}\r\n`);
    const [, status] = await raw.has(/^HTTP\/1\.1 (\d+)/);
    assert.equal(Number(status), expected, `${requestLine} ${headers}`);
    if (expected !== 101) {
      await raw.closed();
      assert.match(raw.received, /\r\n\r\n\d+ .+\n$/);
    }
  }
  await serves(gate);
});

test('what is switched off is not there and ends nothing', async (t) => {
  for (const [transports, expected] of [
    [['websocket'], [101, 404, 404, 404, 404]],
    [['xhr-polling'], [404, 404, 200, 404, 404]],
    [['xhr-streaming', 'eventsource'], [404, 200, 404, 200, 404]],
    [[], [404, 404, 404, 404, 404]],
  ]) {
    const gate = await startGate(t, { transports });
    const statuses = [
      await statusOf(t, gate.url, 'GET /eventbus/119/abc/websocket', UPGRADE),
      await statusOf(t, gate.url, 'POST /eventbus/119/abd/xhr_streaming', 'Content-Length: 0\n'),
      await statusOf(t, gate.url, 'POST /eventbus/119/abe/xhr', 'Content-Length: 0\n'),
      await statusOf(t, gate.url, 'GET /eventbus/119/abf/eventsource'),
      await statusOf(t, gate.url, 'POST /eventbus/119/abg/xhr_send', 'Content-Length: 0\n'),
    ];
    assert.deepEqual(statuses, expected, transports.join());
    assert.equal(JSON.parse((await ask(gate.url, 'GET', '/eventbus/info')).text).websocket, transports.includes('websocket'));
  }
});

test('a cookie comes back if it has the shape of one, or there is a new one', async (t) => {
  const gate = await startGate(t);
  for (const [i, [sent, expected]] of [
    ['JSESSIONID=0123456789ab%1.node119', /^JSESSIONID=0123456789ab%1\.node119; path=\/$/],
    ['JSESSIONID=<script>', /^JSESSIONID=[0-9a-f]{12}%1\.node119; path=\/$/],
    [`JSESSIONID=${'x'.repeat(65)}`, /^JSESSIONID=[0-9a-f]{12}%1\.node119; path=\/$/],
    ['__proto__=x; =; ;;', /^JSESSIONID=[0-9a-f]{12}%1\.node119; path=\/$/],
  ].entries()) {
    const { headers } = await ask(gate.url, 'POST', `/eventbus/119/cookies-${i}/xhr`, { headers: { Cookie: sent } });
    assert.match(headers['set-cookie'][0], expected);
  }
});

test('there are so many lines and no more, and one that goes makes room', async (t) => {
  const gate = await startGate(t, { limits: { connections: 2 } });
  const device = poller(gate.url, 'first');
  assert.equal(await device.poll(), 'o\n');
  const socket = await webSocket(t, gate.url);
  assert.equal(await statusOf(t, gate.url, 'POST /eventbus/119/third/xhr', 'Content-Length: 0\n'), 503);
  assert.equal(await statusOf(t, gate.url, 'GET /eventbus/119/third/websocket', UPGRADE), 503);
  assert.equal(await device.send('still there'), 204);
  socket.socket.destroy();
  await until(() => !gate.connections[1].isOpen);
  assert.equal(await poller(gate.url, 'third').poll(), 'o\n');
});

test('requests that come at once do not slip past the number of lines', async (t) => {
  const gate = await startGate(t, { limits: { connections: 5 } });
  const raw = await rawSocket(t, gate.url);
  raw.write(Array.from({ length: 40 }, (_, i) => `POST /eventbus/119/line${i}/xhr HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n\r\n`).join(''));
  await raw.has(/ 503 /);
  await raw.closed();
  assert.equal(gate.connections.length, 5);
});

test('a session that was closed tells its device why, and holds no place', async (t) => {
  const gate = await startGate(t, { limits: { connections: 1 } });
  const device = poller(gate.url, 'closed');
  await device.poll();
  gate.connections[0].close(3004, 'Replaced by a new line');
  const other = poller(gate.url, 'other');
  assert.equal(await other.poll(), 'o\n');
  assert.equal(await device.send('too late'), 204);
  assert.equal(await device.poll(), 'c[3004,"Replaced by a new line"]\n');
  const waiting = other.poll();
  await until(() => gate.notes.filter(({ path }) => path.includes('/other/')).length === 2);
  gate.connections[1].close(3008, 'Removed by the teacher');
  assert.equal(await waiting, 'c[3008,"Removed by the teacher"]\n');
  assert.deepEqual(gate.connections.map(({ texts }) => texts), [[], []]);
  // Only one of them waits for its device.
  assert.equal(await device.send('forgotten'), 404);
});

const SIZES = { unprovenBytes: 10_000, messageBytes: 20_000, presenterBytes: 40_000 };

for (const [role, bound] of [[null, 10_000], ['learner', 20_000], ['controller', 20_000], ['presenter', 40_000]]) {
  test(`a message of ${role ?? 'nobody known'} has up to ${bound} bytes`, async (t) => {
    const gate = await startGate(t, { limits: SIZES });
    const device = poller(gate.url, `sizes-${role}`);
    await device.poll();
    const socket = await webSocket(t, gate.url);
    if (role) {
      await device.send(`role ${role}`);
      socket.say(`role ${role}`);
    }
    const largest = 'x'.repeat(bound - 4);
    assert.equal(await device.send(largest), 204);
    socket.say(largest);
    await until(() => gate.connections.every(({ texts }) => texts[0] === largest));
    assert.equal(await device.send(`${largest}x`), 413);
    socket.say(`${largest}x`);
    await socket.closed();
    await until(() => gate.connections.every(({ closings }) => closings.length > 0));
    assert.deepEqual(gate.connections.map(({ closings }) => closings), [[[3007, 'Too large']], [[3007, 'Too large']]]);
    assert.equal(await device.poll(), 'c[3007,"Too large"]\n');
  });
}

test('a body that says it is too large is not waited for, one that does not say it is not read on', async (t) => {
  const gate = await startGate(t, { limits: SIZES });
  for (const [session, body] of [['declared', 'Content-Length: 40001\r\n\r\n["'], ['chunked1', `Transfer-Encoding: chunked\r\n\r\n4000\r\n${'x'.repeat(0x4000)}`]]) {
    await poller(gate.url, session).poll();
    const raw = await rawSocket(t, gate.url);
    raw.write(`POST /eventbus/119/${session}/xhr_send HTTP/1.1\r\nHost: x\r\n${body}`);
    await raw.has(/^HTTP\/1\.1 413 /);
    await raw.closed();
    assert.deepEqual(gate.connections.at(-1).closings, [[3007, 'Too large']]);
  }
});

test('the first post of a presenter may be as large as any of theirs', async (t) => {
  const gate = await startGate(t, { limits: SIZES });
  const named = ['role presenter', 'token-of-a-presenter', 'x'.repeat(30_000)];
  const device = poller(gate.url, 'presenter');
  await device.poll();
  assert.equal(await device.send(...named), 204);
  assert.deepEqual(gate.connections[0].texts, named.slice(1));
  const late = poller(gate.url, 'latecomer');
  await late.poll();
  assert.equal(await late.send('x'.repeat(30_000), 'token-of-a-presenter'), 413);
  const tooLarge = poller(gate.url, 'toolarge');
  await tooLarge.poll();
  assert.equal(await tooLarge.send('token-of-a-presenter', 'x'.repeat(40_000)), 413);
});

test('a frame is a list of texts', async (t) => {
  const gate = await startGate(t);
  const frames = ['', '[', 'null', '"text"', '{}', '[]', '[1]', '[null]', '["a",["b"]]', '['.repeat(30_000),
    `[${Array(1_001).fill('"x"').join()}]`];
  for (const [i, text] of frames.entries()) {
    const device = poller(gate.url, `frames-${i}`);
    await device.poll();
    assert.equal((await device.post(text)).status, 400, text.slice(0, 40));
    const socket = await webSocket(t, gate.url);
    socket.write(frame(1, text));
    await socket.has(/c\[3002,"Not an envelope"\]/);
    assert.deepEqual(gate.connections.slice(-2).map(({ closings, texts }) => [closings, texts]), [
      [[[3002, 'Not an envelope']], []], [[[3002, 'Not an envelope']], []],
    ], text.slice(0, 40));
  }
  const socket = await webSocket(t, gate.url);
  socket.write(frame(2, '["bytes"]'));
  await socket.has(/c\[3002,"Not an envelope"\]/);
  const device = poller(gate.url, 'many');
  await device.poll();
  await device.send('role presenter', ...Array(999).fill('x'));
  assert.equal(gate.connections.at(-1).texts.length, 999);
});

test('what fails with one message closes one line', async (t) => {
  const gate = await startGate(t);
  for (const answer of [() => { throw new Error('broken'); }, () => Promise.reject(new Error('broken'))]) {
    const device = poller(gate.url, `fails-${gate.connections.length}`);
    await device.poll();
    gate.connections.at(-1).answer = answer;
    await device.send('x');
    assert.equal(await device.poll(), 'c[1011,"Something went wrong here"]\n');
    const socket = await webSocket(t, gate.url);
    gate.connections.at(-1).answer = answer;
    socket.say('x');
    await socket.has(/c\[1011,"Something went wrong here"\]/);
  }
  assert.deepEqual(gate.faults().map(({ line }) => line.split('\n')[0]), Array(4).fill('Error: broken'));
  await serves(gate);
});

test('pongs that nobody asked for end nothing, whatever they are called', async (t) => {
  const gate = await startGate(t);
  for (const name of ['hasOwnProperty', '__defineGetter__', 'constructor', '']) {
    const socket = await webSocket(t, gate.url);
    socket.write(frame(0xa, name));
    socket.say(name);
    await until(() => gate.connections.at(-1).texts.includes(name));
  }
  assert.deepEqual(gate.faults(), []);
});

test('what follows the handshake at once is taken, and bounded', async (t) => {
  const gate = await startGate(t);
  const handshake = `GET /eventbus/119/abc/websocket HTTP/1.1\r\nHost: x\r\n${HANDSHAKE}\r\n`;
  const eager = await rawSocket(t, gate.url);
  eager.write(Buffer.concat([Buffer.from(handshake), frame(1, '["eager"]')]));
  await until(() => gate.connections[0]?.texts.includes('eager'));
  const hostile = await rawSocket(t, gate.url);
  hostile.write(Buffer.concat([Buffer.from(handshake), ...Array(65).fill(frame(1, '', { final: false }))]));
  await hostile.closed();
  await serves(gate);
});

test('a closed web socket that goes on sending is cut', async (t) => {
  const gate = await startGate(t, { limits: SIZES });
  const socket = await webSocket(t, gate.url);
  gate.connections[0].close(3001, 'The class has ended');
  await socket.has(/c\[3001,"The class has ended"\]/);
  assert.equal(socket.isClosed, false);
  socket.write(frame(1, Buffer.alloc(20_001), { length: 2 ** 40 }));
  // Sooner than it would be for want of a goodbye.
  await until(() => socket.isClosed, 2_000);
});
