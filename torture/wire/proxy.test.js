// A fault comes at its byte: what was said before arrives whole, nothing that was said behind it does.

import assert from 'node:assert/strict';
import { once } from 'node:events';
import net from 'node:net';
import test from 'node:test';

import { FaultProxy } from './proxy.js';

const SAID = 'abcdefghijklmnopqrstuvwxyz';

/** A far end that answers what it hears in capitals, and keeps what it heard and how each connection ended. */
async function startFarEnd(t) {
  const connections = [];
  const server = net.createServer({ allowHalfOpen: true }, (socket) => {
    connections.push(listen(socket));
    socket.on('data', (bytes) => socket.write(String(bytes).toUpperCase()));
  });
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  t.after(() => {
    server.close();
    connections.forEach(({ socket }) => socket.destroy());
  });
  return { url: `http://127.0.0.1:${server.address().port}`, connections };
}

async function startProxy(t, fault) {
  const far = await startFarEnd(t);
  const proxy = await FaultProxy.start(far.url, fault);
  t.after(() => proxy.stop());
  return { far, proxy };
}

function listen(socket) {
  const ear = { socket, heard: '', end: new Promise((resolve) => {
    socket.once('end', () => resolve('ended')).once('error', ({ code }) => resolve(code));
  }) };
  socket.on('data', (bytes) => { ear.heard += bytes; });
  return ear;
}

async function connect(t, proxy) {
  const socket = net.connect({ port: Number(new URL(proxy.url).port), host: '127.0.0.1', allowHalfOpen: true });
  t.after(() => socket.destroy());
  return listen(socket);
}

/** "cut" when the other side has only fallen silent, "reset" when it has gone. */
async function endOf({ end, socket }) {
  // Where a reset comes with bytes, the reader hears of a mere end, but not who writes then.
  const isReset = await end !== 'ended' || await new Promise((resolve) => { socket.write('?', resolve); });
  return isReset ? 'reset' : 'cut';
}

/** Says everything and waits for the whole answer. */
async function converse(t, proxy) {
  const near = await connect(t, proxy);
  near.socket.write(SAID);
  while (near.heard.length < SAID.length) {
    await once(near.socket, 'data');
  }
  return near;
}

for (const kind of ['cut', 'reset']) {
  test(`a ${kind} upwards lets nothing behind its byte through`, async (t) => {
    const { far, proxy } = await startProxy(t, { kind, connection: 1, direction: 'up', byte: 7 });
    const near = await connect(t, proxy);
    near.socket.write(SAID);
    assert.equal(await endOf(near), kind);
    assert.equal(await endOf(far.connections[0]), kind);
    assert.equal(far.connections[0].heard, 'abcdefg');
    assert.equal(proxy.hasFired, true);
  });

  test(`a ${kind} downwards lets nothing behind its byte through`, async (t) => {
    const { far, proxy } = await startProxy(t, { kind, connection: 1, direction: 'down', byte: 9 });
    const near = await connect(t, proxy);
    near.socket.write(SAID);
    assert.equal(await endOf(near), kind);
    assert.equal(await endOf(far.connections[0]), kind);
    assert.equal(near.heard, 'ABCDEFGHI');
    assert.equal(far.connections[0].heard, SAID);
  });

  test(`a ${kind} at byte 0 comes when the connection is accepted`, async (t) => {
    const { proxy } = await startProxy(t, { kind, connection: 1, direction: 'down', byte: 0 });
    const near = await connect(t, proxy);
    assert.equal(await endOf(near), kind);
    assert.equal(near.heard, '');
  });
}

test('a stall lets nothing behind its byte through and ends nothing', async (t) => {
  const { far, proxy } = await startProxy(t, { kind: 'stall', connection: 1, direction: 'up', byte: 7 });
  const stalled = await connect(t, proxy);
  stalled.socket.end(SAID);
  // What would come of it has time until another connection has been all the way and back.
  await converse(t, proxy);
  await converse(t, proxy);
  assert.equal(far.connections[0].heard, 'abcdefg');
  assert.equal(stalled.heard, '');
  assert.equal(stalled.socket.readyState, 'readOnly');
  assert.equal(far.connections[0].socket.readyState, 'open');
});

test('the byte is counted over all that a connection says', async (t) => {
  const { far, proxy } = await startProxy(t, { kind: 'cut', connection: 1, direction: 'up', byte: SAID.length + 2 });
  const near = await converse(t, proxy);
  near.socket.write(SAID);
  assert.equal(await endOf(near), 'cut');
  assert.equal(far.connections[0].heard, `${SAID}ab`);
});

test('only the connection of the fault breaks', async (t) => {
  const { proxy } = await startProxy(t, { kind: 'reset', connection: 2, direction: 'up', byte: 3 });
  await converse(t, proxy);
  assert.equal(proxy.hasFired, false);
  const second = await connect(t, proxy);
  second.socket.write(SAID);
  assert.equal(await endOf(second), 'reset');
  await converse(t, proxy);
});

test('without a fault everything is passed on and measured, the end as well', async (t) => {
  const { far, proxy } = await startProxy(t, null);
  const near = await converse(t, proxy);
  near.socket.end('!');
  assert.equal(await far.connections[0].end, 'ended');
  far.connections[0].socket.end();
  assert.equal(await near.end, 'ended');
  assert.deepEqual(proxy.lengths, [{ up: SAID.length + 1, down: SAID.length + 1 }]);
  assert.equal(near.heard, `${SAID.toUpperCase()}!`);
});
