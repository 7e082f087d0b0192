// The program as a whole: transports, cookies, the framing of polling presenters, TLS, the log, the
// record and the end.

import assert from 'node:assert/strict';
import { once } from 'node:events';
import { readFileSync } from 'node:fs';
import https from 'node:https';
import { join } from 'node:path';
import { test } from 'node:test';

import { newCertificate, temporaryFolder } from './support/certificate.js';
import { Presenter, rawConnection, RestClient, startService, until } from './support/service.js';

async function startClass(t, ...args) {
  const service = await startService(t, ...args);
  const rest = new RestClient(service.url);
  await rest.signIn();
  return { service, rest, session: await rest.startSession() };
}

const poll = (session, cookie = '') => `POST /eventbus/119/${session}/xhr HTTP/1.1\r\nHost: 127.0.0.1\r\nConnection: keep-alive\r\n`
  + `Accept-Encoding: identity\r\nContent-Type: application/json\r\nContent-Length: 0\r\n${cookie}\r\n\r\n\r\n`;

test('only the transports that were asked for are offered', async (t) => {
  for (const [offered, expected] of [
    ['websocket', [101, 404, 404, 404]],
    ['xhr-polling', [404, 404, 200, 404]],
    ['xhr-streaming,eventsource', [404, 200, 404, 200]],
    ['none', [404, 404, 404, 404]],
  ]) {
    const { url } = await startService(t, '--transports', offered);
    const statuses = [];
    for (const [method, path, upgrade] of [
      ['GET', 'websocket', 'Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n'],
      ['POST', 'xhr_streaming', ''], ['POST', 'xhr', ''], ['GET', 'eventsource', ''],
    ]) {
      const raw = await rawConnection(t, url);
      raw.write(`${method} /eventbus/119/${path.slice(0, 3)}sessn/${path} HTTP/1.1\r\nHost: x\r\nContent-Length: 0\r\n${upgrade}\r\n`);
      statuses.push(Number((await raw.read(/^HTTP\/1.1 \d+/)).slice(9)));
      raw.socket.destroy();
    }
    assert.deepEqual(statuses, expected, offered);
  }
});

test('polls with the extra line ends of presenters follow one another on one connection', async (t) => {
  const { service, rest, session } = await startClass(t);
  const raw = await rawConnection(t, service.url);
  raw.write(poll('abcdefgh'));
  const first = await raw.read(/\r\n0\r\n\r\n/);
  assert.match(first, /^HTTP\/1\.1 200 OK\r\n/);
  assert.match(first, /\r\nTransfer-Encoding: chunked\r\n/);
  assert.match(first, /\r\n\r\n2\r\no\n\r\n0\r\n\r\n$/);
  for (const address of [session.sessionToken, `${session.sessionToken}.presenter.${session.userToken}`]) {
    const register = JSON.stringify([JSON.stringify({ type: 'register', address })], null, 4);
    const sent = await rest.post('/eventbus/119/abcdefgh/xhr_send', `${register}\n`);
    assert.equal(sent.status, 204);
  }
  raw.write(poll('abcdefgh'));
  await rest.control('POST', 'publish', { address: session.sessionToken, body: { type: 'pause' } });
  assert.match(await raw.read(/\r\n0\r\n\r\n/), /\r\na\["\{\\"type\\":\\"message\\",.*\\"body\\":\{\\"type\\":\\"pause\\"\}\}"\]\n\r\n0\r\n\r\n$/);
});

test('a polling presenter that lets 4 s pass between two polls keeps its session and connection', async (t) => {
  const { url } = await startService(t);
  const raw = await rawConnection(t, url);
  raw.write(poll('abcdefgh'));
  await raw.read(/\r\no\n\r\n0\r\n\r\n/);
  // Longer than a SockJS server waits for the next poll by itself, and than a HTTP server keeps a
  // connection by itself.
  await new Promise((resolve) => { setTimeout(resolve, 6_000); });
  raw.write(poll('abcdefgh'));
  const rest = new RestClient(url);
  await until(async () => (await rest.control('GET', 'journal?kind=busRequest')).entries.length === 2);
  assert.equal((await rest.control('GET', 'connections')).list.length, 1);
  assert.equal((await rest.control('GET', 'journal?kind=open')).entries.length, 1);
  assert.deepEqual((await rest.control('GET', 'journal?kind=open&only=kind')).entries, [{ kind: 'open' }]);
});

test("with the SockJS server's stock settings a session is given up 5 s after its last poll", async (t) => {
  const { url } = await startService(t, '--stock');
  const rest = new RestClient(url);
  const raw = await rawConnection(t, url);
  raw.write(poll('abcdefgh'));
  await raw.read(/\r\no\n\r\n0\r\n\r\n/);
  const { entries: [open] } = await rest.control('GET', 'journal?kind=open&wait=20000');
  const { entries: [close] } = await rest.control('GET', 'journal?kind=close&wait=20000');
  const stayed = Date.parse(close.time) - Date.parse(open.time);
  assert.ok(stayed > 4_900 && stayed < 15_000, `${stayed} ms`);
});

for (const transport of ['websocket', 'xhr-streaming', 'xhr-polling']) {
  test(`who does not ping over ${transport} is hung up on and hears why`, async (t) => {
    const { service, rest, session } = await startClass(t, '--ping-timeout', '1', '--learners', '1', '--join-every', '0');
    const pinging = await Presenter.open(service.url, session, transport);
    const pings = setInterval(() => pinging.send({ type: 'ping' }), 100);
    t.after(() => clearInterval(pings));
    const silent = await Presenter.open(service.url, await rest.joinSession(session), transport);
    const { code, reason } = await silent.closed;
    assert.deepEqual([code, reason], [3000, 'No ping for 1 s']);
    // The one that pings came earlier and is still there, as are the learners, which never ping.
    assert.deepEqual((await rest.control('GET', 'connections')).list.map(({ transport: name }) => name).sort(), ['simulated', transport]);
    clearInterval(pings);
    assert.equal((await pinging.closed).code, 3000);
    const { entries } = await rest.control('GET', 'journal?kind=close');
    assert.deepEqual(entries.map((entry) => [entry.transport, entry.code, entry.reason]), [
      [transport, 3000, 'No ping for 1 s'],
      [transport, 3000, 'No ping for 1 s'],
    ]);
  });
}

test('the bus hands out a cookie and keeps the one that comes back', async (t) => {
  const { url } = await startService(t);
  const raw = await rawConnection(t, url);
  raw.write(poll('abcdefgh'));
  const cookie = /\r\nSet-Cookie: (JSESSIONID=[0-9a-f]{12}%1\.node119); path=\/\r\n/.exec(await raw.read(/\r\n0\r\n\r\n/))[1];
  raw.write(poll('12345678', `Cookie: ${cookie};\r\n`));
  assert.match(await raw.read(/\r\n0\r\n\r\n/), new RegExp(`\r\nSet-Cookie: ${cookie}; path=/\r\n`));
  const { entries } = await new RestClient(url).control('GET', 'journal?kind=busRequest');
  assert.deepEqual(entries.map(({ method, path, cookie: sent }) => [method, path, sent]), [
    ['POST', '/eventbus/119/abcdefgh/xhr', undefined],
    ['POST', '/eventbus/119/12345678/xhr', `${cookie};`],
  ]);
});

test('a presenter is hung up on and hears why', async (t) => {
  const { service, rest, session } = await startClass(t);
  const presenter = await Presenter.open(service.url, session);
  assert.deepEqual(await rest.control('DELETE', 'connections?transport=xhr-polling'), { status: 200, closed: 0 });
  assert.deepEqual(await rest.control('DELETE', 'connections?transport=websocket'), { status: 200, closed: 1 });
  const { code, reason } = await presenter.closed;
  assert.deepEqual([code, reason], [1001, 'Going away']);
});

test('with a certificate everything goes over TLS', async (t) => {
  const { cert, key } = newCertificate(t);
  const { url } = await startService(t, '--tls', cert, key);
  assert.match(url, /^https:\/\/127\.0\.0\.1:\d+$/);
  const ask = async (path, headers, body = '') => {
    const request = https.request(url + path, { method: body === null ? 'GET' : 'POST', headers, ca: readFileSync(cert) });
    request.end(body ?? undefined);
    const [response] = await Promise.race([once(request, 'response'), once(request, 'upgrade')]);
    return response;
  };
  const signIn = await ask('/vantora/login/submit', {}, '{"userId":"teacher","password":"secret","sourceSystem":"Corvel"}');
  assert.equal(signIn.statusCode, 200);
  assert.match(signIn.headers['set-cookie'][0], /; Secure$/);
  const where = await ask('/vantora/session/getcollabserverurl', { Cookie: signIn.headers['set-cookie'][0].split(';')[0] }, '{}');
  const [text] = await once(where.setEncoding('utf8'), 'data');
  assert.deepEqual(JSON.parse(text).data, { url });
  assert.equal((await ask('/eventbus/119/abcdefgh/xhr')).statusCode, 200);
  const upgraded = await ask('/eventbus/119/abcdefgi/websocket', {
    'Connection': 'Upgrade', 'Upgrade': 'websocket', 'Sec-WebSocket-Version': '13', 'Sec-WebSocket-Key': 'dGhlIHNhbXBsZSBub25jZQ==',
  }, null);
  assert.equal(upgraded.statusCode, 101);
});

test('the log has every request and message, decompressed; standard output has one line', async (t) => {
  const { service, rest, session } = await startClass(t, '--log', '--learners', '1', '--join-every', '0');
  const presenter = await Presenter.open(service.url, session);
  await presenter.received('join');
  presenter.publish('', 'questionStart', '{"id":"Q1","type":"text"}');
  presenter.send({ type: 'ping' });
  await presenter.received('questionResponse');
  await rest.postJson('/vantora/login/logout');
  await until(() => service.output.stderr.includes('/vantora/login/logout'));
  for (const line of [
    / request    method=POST path=\/vantora\/login\/submit cookie= body=\{"userId":"teacher","password":"secret","sourceSystem":"Corvel"\} status=200 reply=\{"success":true,/,
    / busRequest method=GET path=\/eventbus\/\d+\/\w+\/websocket$/,
    / register   connection=\d+ transport=websocket address=[0-9a-f-]{36}\.presenter accepted=true$/,
    / publish    connection=\d+ transport=simulated address=\S+\.presenter from=\S+ type=join version=3\.0\.0 sourceSystem=Corvel form=base64 text=\{"userName":"Ada","deviceType":"tablet"\} receivers=1$/,
    / received   role=learner deviceId=\S+ userName=Ada address=\S+ from=\S+ type=questionStart form=base64 text=\{"id":"Q1","type":"text"\}$/,
    / ping       connection=\d+ transport=websocket$/,
  ]) {
    assert.match(service.output.stderr, new RegExp(line.source, 'm'));
  }
  assert.match(service.output.stdout, /^classroom: listening on http:\/\/127\.0\.0\.1:\d+\n$/);
});

test('the program ends with its standard input when it is told to', async (t) => {
  const { child, ended } = await startService(t);
  child.stdin.end();
  assert.deepEqual(await ended, [0, null]);
});

for (const signal of ['SIGTERM', 'SIGINT']) {
  test(`${signal} ends the program with 0, whatever is open`, async (t) => {
    const record = join(temporaryFolder(t), 'record');
    const { service, session, rest } = await startClass(t, '--learners', '2', '--join-every', '0', '--record', record);
    const presenter = await Presenter.open(service.url, session);
    await presenter.received('join', 2);
    const polling = await Presenter.open(service.url, await rest.joinSession(session), 'xhr-polling');
    const idle = await rawConnection(t, service.url);
    const halfway = await rawConnection(t, service.url);
    halfway.write('POST /vantora HTTP/1.1\r\nContent-Length: 100\r\n\r\nhalf');
    await rest.control('POST', 'faults', { path: '/vantora', delayMs: 60_000 });
    const waiting = rest.post('/vantora').catch((error) => error);
    const reading = rest.control('GET', 'journal?wait=60000&kind=nothing').catch((error) => error);
    await until(async () => (await rest.control('GET', 'connections')).list.length === 4);
    const before = Date.now();
    service.child.kill(signal);
    assert.deepEqual(await service.ended, [0, null]);
    assert.ok(Date.now() - before < 5_000);
    assert.equal((await presenter.closed).code, 1001);
    assert.ok(await waiting instanceof Error);
    assert.ok(await reading instanceof Error);
    polling.close();
    idle.socket.destroy();
    const entries = readFileSync(record, 'utf8').trimEnd().split('\n').map((line) => JSON.parse(line));
    assert.deepEqual(entries.map(({ n }) => n), entries.map((_, i) => i + 1));
    assert.equal(entries.at(-1).kind, 'close');
    assert.deepEqual(service.output.stderr, '');
  });
}
