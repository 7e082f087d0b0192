// What stands between the service and hostile peers at the level of HTTP: the headers of every reply,
// foreign origins, and requests that do not come to their end.

import assert from 'node:assert/strict';
import { once } from 'node:events';
import { test } from 'node:test';
import tls from 'node:tls';

import { newCertificate } from './support/certificate.js';
import { ask, rawConnection, startService, until } from './support/service.js';

const POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; base-uri 'none'; "
  + "form-action 'none'; frame-ancestors 'none'";

const UPGRADE = 'Connection: Upgrade\nUpgrade: websocket\nSec-WebSocket-Version: 13\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==';

const hostOf = ({ url }) => new URL(url).host;

const headersIn = (head) => Object.fromEntries(head.split('\r\n').slice(1, -2)
  .map((line) => [line.slice(0, line.indexOf(':')).toLowerCase(), line.slice(line.indexOf(':') + 2)]));

function assertProtected({ headers }, what) {
  assert.equal(headers['content-security-policy'], POLICY, what);
  assert.equal(headers['x-content-type-options'], 'nosniff', what);
  assert.equal(headers['referrer-policy'], 'no-referrer', what);
}

test('every reply says what a page may load, that its type is meant and that no address is passed on', async (t) => {
  const service = await startService(t);
  const host = `Host: ${hostOf(service)}`;
  for (const [head, status] of [
    [`GET / HTTP/1.1\n${host}`, 200],
    [`HEAD /classroom.css HTTP/1.1\n${host}`, 200],
    [`GET /nowhere HTTP/1.1\n${host}`, 404],
    [`POST /vantora HTTP/1.1\n${host}`, 200],
    [`POST /vantora/nothing HTTP/1.1\n${host}`, 404],
    [`POST /vantora/session/create HTTP/1.1\n${host}\nOrigin: null`, 403],
    [`GET /eventbus/info HTTP/1.1\n${host}`, 200],
    [`POST /eventbus/1/abcdefgh/xhr HTTP/1.1\n${host}`, 200],
    [`GET /eventbus/1/2/3 HTTP/1.1\n${host}`, 404],
    [`GET /classroom/sessions HTTP/1.1\n${host}`, 200],
    ['GET /classroom/sessions HTTP/1.1\nHost: a.example', 403],
    ['GET / HTTP/1.1', 400],
    [`GET / HTTP/1.1\n${host}\n${host}`, 400],
    [`GET / HTTP/1.1\n${host}\nExpect: miracles`, 417],
    [`GET / HTTP/1.1\n${host}\nX: ${'y'.repeat(20_000)}`, 431],
    ['NONSENSE', 400],
    [`GET /nowhere HTTP/1.1\n${host}\n${UPGRADE}`, 404],
    [`GET /eventbus/nowhere HTTP/1.1\n${host}\n${UPGRADE}`, 404],
    [`GET /eventbus/1/abcdefgh/websocket HTTP/1.1\n${host}\n${UPGRADE.replace('13', '12')}`, 400],
    [`GET / HTTP/1.1\n${host}\n${host}\n${UPGRADE}`, 400],
    [`GET / HTTP/1.1\n${host}\n${UPGRADE}\nOrigin: null`, 403],
  ]) {
    const reply = await ask(t, service.url, head);
    assert.equal(reply.status, status, head);
    assertProtected(reply, head);
  }
});

test('a request from a page of another origin is refused and told nothing', async (t) => {
  const service = await startService(t);
  const host = hostOf(service);
  for (const line of ['POST /vantora', 'GET /eventbus/info', 'GET /classroom/sessions', 'GET /']) {
    for (const [origin, status] of [
      [`http://${host}`, 200],
      [`HTTP://${host}`, 200],
      [`https://${host}`, 403],
      ['http://127.0.0.1', 403],
      ['http://evil.example', 403],
      ['null', 403],
      ['', 403],
    ]) {
      const { status: actual, body } = await ask(t, service.url, `${line} HTTP/1.1\nHost: ${host}\nOrigin: ${origin}`);
      assert.equal(actual, status, `${line} from "${origin}"`);
      assert.ok(status === 200 || !body.includes('evil'));
    }
    assert.equal((await ask(t, service.url, `${line} HTTP/1.1\nHost: ${host}`)).status, 200);
  }
  assert.equal((await ask(t, service.url, `OPTIONS /vantora HTTP/1.1\nHost: ${host}\nOrigin: http://evil.example`)).status, 403);
});

test('a web socket from a page of another origin is refused', async (t) => {
  const service = await startService(t);
  const host = hostOf(service);
  for (const path of ['/eventbus/1/abcdefgh/websocket', '/classroom/bus']) {
    for (const [origin, status] of [['', 101], [`\nOrigin: http://${host}`, 101], ['\nOrigin: http://evil.example', 403], ['\nOrigin: null', 403]]) {
      const raw = await rawConnection(t, service.url);
      raw.write(`GET ${path} HTTP/1.1\nHost: ${host}\n${UPGRADE}${origin}`.replaceAll('\n', '\r\n'));
      raw.write('\r\n\r\n');
      assert.match(await raw.read(/^HTTP\/1\.1 \d+ .*\r\n/), new RegExp(`^HTTP/1\\.1 ${status} `), path + origin);
      raw.socket.destroy();
    }
  }
});

test('a web socket begins with what is said in every reply', async (t) => {
  const service = await startService(t);
  for (const path of ['/eventbus/1/abcdefgh/websocket', '/classroom/bus']) {
    const raw = await rawConnection(t, service.url);
    raw.write(`GET ${path} HTTP/1.1\nHost: ${hostOf(service)}\n${UPGRADE}\n\n`.replaceAll('\n', '\r\n'));
    const head = await raw.read(/^HTTP\/1\.1 101 [^]*?\r\n\r\n/);
    assertProtected({ headers: headersIn(head) }, path);
    raw.socket.destroy();
  }
});

test('no reply of the bus lets other origins read it', async (t) => {
  const service = await startService(t);
  const host = `Host: ${hostOf(service)}`;
  for (const line of ['GET /eventbus/info', 'OPTIONS /eventbus/info', 'POST /eventbus/1/abcdefgh/xhr', 'OPTIONS /eventbus/1/abcdefgh/xhr',
    'OPTIONS /eventbus/1/abcdefgh/xhr_send', 'POST /eventbus/1/nosession/xhr_send', 'POST /eventbus/1/streaming/xhr_streaming',
    'GET /eventbus/1/eventsrc/eventsource']) {
    for (const origin of ['', `\nOrigin: http://${hostOf(service)}\nAccess-Control-Request-Headers: X-Any`]) {
      const raw = await rawConnection(t, service.url);
      raw.write(`${line} HTTP/1.1\n${host}${origin}\n\n`.replaceAll('\n', '\r\n'));
      assert.doesNotMatch(await raw.read(/^HTTP\/1\.1 \d+ [^]*?\r\n\r\n/), /access-control|X-Any/i, line + origin);
      raw.socket.destroy();
    }
  }
  assert.doesNotMatch((await ask(t, service.url, `GET /eventbus/info HTTP/1.1\n${host}`)).body, /origins/);
});

test('a page whose name was made to point at this machine is refused by a local service', async (t) => {
  const local = await startService(t);
  const served = await startService(t, '--serve');
  const lines = ['POST /vantora', 'GET /eventbus/info', 'POST /eventbus/1/abcdefgh/xhr', 'GET /'];
  for (const line of [...lines, `GET /eventbus/1/abcdefgh/websocket HTTP/1.1\n${UPGRADE}`]) {
    const statusOf = async ({ url }, host, hasOrigin) => {
      const raw = await rawConnection(t, url);
      const [first, ...more] = line.includes('\n') ? line.split('\n') : [`${line} HTTP/1.1`];
      const named = host.replace('PORT', new URL(url).port);
      raw.write([first, ...more, `Host: ${named}`, ...hasOrigin ? [`Origin: http://${named}`] : [], '', ''].join('\r\n'));
      const [, status] = /^HTTP\/1\.1 (\d+)/.exec(await raw.read(/^HTTP\/1\.1 \d+/));
      raw.socket.destroy();
      return Number(status);
    };
    const fine = line.includes('websocket') ? 101 : 200;
    for (const host of ['evil.example:PORT', 'evil.example', '127.0.0.1.evil.example:PORT', 'localhost.:PORT', '127.0.0.1', '127.0.0.1:1', '[::2]:PORT']) {
      assert.equal(await statusOf(local, host, true), 403, `${line} on ${host}`);
      assert.equal(await statusOf(local, host, false), fine, `${line} on ${host} without an origin`);
    }
    for (const host of ['127.0.0.1:PORT', 'localhost:PORT', 'LOCALHOST:PORT', '[::1]:PORT']) {
      assert.equal(await statusOf(local, host, true), fine, `${line} on ${host}`);
    }
    assert.equal(await statusOf(served, 'classroom.example:PORT', true), fine, `${line} of a served class`);
  }
});

test('a request that names two origins is refused', async (t) => {
  const service = await startService(t);
  const own = `http://${hostOf(service)}`;
  for (const origins of [[own, 'http://evil.example'], ['http://evil.example', own], [own, own]]) {
    const { status } = await ask(t, service.url, `POST /vantora HTTP/1.1\nHost: ${hostOf(service)}\n${origins.map((origin) => `Origin: ${origin}`).join('\n')}`);
    assert.equal(status, 403);
  }
  assert.equal((await ask(t, service.url, `GET ${own}/vantora HTTP/1.1\nHost: ${hostOf(service)}`)).status, 404);
});

test('over TLS the own origin is the https one', async (t) => {
  const { cert, key } = newCertificate(t);
  const service = await startService(t, '--tls', cert, key);
  const statusFrom = async (origin) => {
    const socket = tls.connect({ port: Number(new URL(service.url).port), host: '127.0.0.1', rejectUnauthorized: false });
    socket.write(`POST /vantora HTTP/1.1\r\nHost: ${hostOf(service)}\r\nContent-Length: 0\r\nOrigin: ${origin}\r\nConnection: close\r\n\r\n`);
    const [head] = await once(socket.setEncoding('utf8'), 'data');
    socket.destroy();
    return Number(head.slice(9, 12));
  };
  assert.equal(await statusFrom(`https://${hostOf(service)}`), 200);
  assert.equal(await statusFrom(`http://${hostOf(service)}`), 403);
});

test('an upgrade to anything but a web socket leaves the service up', async (t) => {
  const service = await startService(t, '--transports', 'websocket');
  const host = `Host: ${hostOf(service)}`;
  for (const path of ['/eventbus/1/abcdefgh/xhr', '/eventbus/1/abcdefgh/eventsource', '/eventbus/websocket', '/eventbus/%', '/vantora', '/',
    '/classroom/sessions', '//[', '*']) {
    for (const method of ['GET', 'POST', 'OPTIONS']) {
      const raw = await rawConnection(t, service.url);
      raw.write(`${method} ${path} HTTP/1.1\r\n${host}\r\n${UPGRADE.replaceAll('\n', '\r\n')}\r\n\r\n`);
      await Promise.race([raw.ended, until(() => raw.rest() !== '' || raw.socket.destroyed)]);
      raw.socket.destroy();
    }
  }
  assert.equal((await ask(t, service.url, `GET / HTTP/1.1\n${host}`)).status, 200);
});

// How long the service bears a connection on which this comes, one piece every 100 ms; it is given up
// after 8 s.
async function borneMs(t, url, pieces) {
  const raw = await rawConnection(t, url);
  const since = Date.now();
  const timer = setInterval(() => raw.socket.writable && raw.write(pieces.shift() ?? ''), 100);
  const patience = setTimeout(() => raw.socket.destroy(), 8_000);
  await raw.ended;
  clearTimeout(patience);
  clearInterval(timer);
  return { ms: Date.now() - since, reply: raw.rest() };
}

test('a header that does not come to its end is cut off', async (t) => {
  const { url } = await startService(t, '--limit', 'headerMs=500');
  const drops = ['GET / HTTP/1.1\r\nHost: x\r\n', ...Array.from({ length: 600 }, (_, i) => `X-${i}: y\r\n`)];
  for (const pieces of [[], drops]) {
    const { ms, reply } = await borneMs(t, url, pieces);
    assert.ok(ms >= 400 && ms < 5_000, `${ms} ms`);
    assert.match(reply, /^HTTP\/1\.1 408 Request Timeout\r\n/);
    assertProtected({ headers: headersIn(reply) });
  }
});

test('a body that stalls is cut off', async (t) => {
  const { url } = await startService(t, '--limit', 'headerMs=500', '--limit', 'bodyMs=1000');
  const stalled = ['POST /vantora HTTP/1.1\r\nHost: x\r\nContent-Length: 1000\r\n\r\n', ...Array.from({ length: 600 }, () => 'y')];
  const { ms } = await borneMs(t, url, stalled);
  assert.ok(ms >= 900 && ms < 6_000, `${ms} ms`);
});

test('a handshake of TLS that does not begin is cut off', async (t) => {
  const { cert, key } = newCertificate(t);
  const { url } = await startService(t, '--tls', cert, key, '--limit', 'headerMs=500');
  const { ms, reply } = await borneMs(t, url, []);
  assert.ok(ms >= 400 && ms < 5_000, `${ms} ms`);
  assert.equal(reply, '');
});

test('a connection that rests between two requests is not cut off', async (t) => {
  const service = await startService(t, '--limit', 'headerMs=500', '--limit', 'bodyMs=500');
  const raw = await rawConnection(t, service.url);
  // With the line ends behind the request that presenters send.
  const request = `POST /vantora HTTP/1.1\r\nHost: ${hostOf(service)}\r\nContent-Length: 0\r\n\r\n\r\n\r\n`;
  raw.write(request);
  await raw.read(/^HTTP\/1\.1 200 OK\r\n[^]*\}$/);
  await new Promise((resolve) => { setTimeout(resolve, 2_500); });
  raw.write(request);
  await raw.read(/^HTTP\/1\.1 200 OK\r\n[^]*\}$/);
});

test('there are no more sockets than the connections of the bus need', async (t) => {
  const { url } = await startService(t, '--limit', 'connections=2');
  const raws = [];
  for (let i = 0; i < 6; ++i) {
    raws.push(await rawConnection(t, url));
  }
  const { ms } = await borneMs(t, url, []);
  assert.ok(ms < 5_000, `${ms} ms`);
  raws[0].socket.destroy();
  await until(async () => {
    const reply = await ask(t, url, 'GET /nowhere HTTP/1.1\nHost: x').catch(() => null);
    return reply?.status === 404;
  });
});
