// The control endpoints and the bus for tests: who gets in, and what they refuse.

import assert from 'node:assert/strict';
import { createRequire } from 'node:module';
import { test } from 'node:test';

import { ask, Presenter, RestClient, startService, until } from './support/service.js';

const WebSocket = createRequire(import.meta.url)('faye-websocket');

async function startClass(t, ...args) {
  const service = await startService(t, ...args);
  const rest = new RestClient(service.url);
  await rest.signIn();
  return { service, rest, session: await rest.startSession() };
}

// Where the control endpoints of a served class are, and their token.
function controlOf({ lines }) {
  const [, url, token] = /the control endpoints at (http:\/\/127\.0\.0\.1:\d+)\/classroom with the token (\w+)$/.exec(lines.at(-1));
  return { url, token };
}

async function openLine(t, url, headers = {}) {
  const line = new WebSocket.Client(`${url.replace('http', 'ws')}/classroom/bus`, [], { headers });
  line.messages = [];
  line.on('message', ({ data }) => line.messages.push(JSON.parse(data)));
  line.on('error', () => {});
  let goodbye = null;
  line.on('close', (event) => { goodbye = event; });
  line.closed = () => until(() => goodbye, 5_000);
  t.after(() => line.close());
  await until(() => line.readyState === 1 || goodbye);
  return line;
}

const say = (line, envelope) => line.send(JSON.stringify(envelope));

test('only who means this machine by its own name reaches the control endpoints', async (t) => {
  const service = await startService(t);
  const { port } = new URL(service.url);
  for (const [host, status] of [
    [`127.0.0.1:${port}`, 200],
    [`127.0.0.9:${port}`, 200],
    [`localhost:${port}`, 200],
    [`LocalHost:${port}`, 200],
    [`[::1]:${port}`, 200],
    ['127.0.0.1', 403],
    ['127.0.0.1:1', 403],
    [`evil.example:${port}`, 403],
    [`127.0.0.1.evil.example:${port}`, 403],
    [`localhost.evil.example:${port}`, 403],
    [`192.168.1.20:${port}`, 403],
    ['', 403],
  ]) {
    const reply = await ask(t, service.url, `GET /classroom/sessions HTTP/1.1\nHost: ${host}`);
    assert.equal(reply.status, status, host);
    assert.ok(!reply.body.includes('evil'));
  }
});

test('what a form of a web page can send is no request to the control endpoints', async (t) => {
  const service = await startService(t);
  const post = (type, body) => ask(t, service.url,
    `POST /classroom/faults HTTP/1.1\nHost: ${new URL(service.url).host}\n${type}Content-Length: ${body.length}`, body);
  const fault = '{"path":"/vantora"}';
  for (const type of ['', 'text/plain', 'application/x-www-form-urlencoded', 'multipart/form-data; boundary=b', 'application/jsonp',
    'text/plain; application/json']) {
    assert.equal((await post(type && `Content-Type: ${type}\n`, fault)).status, 415, type);
  }
  for (const type of ['application/json', 'Application/JSON; charset=UTF-8', 'application/json ;x']) {
    assert.equal((await post(`Content-Type: ${type}\n`, fault)).status, 200, type);
  }
});

test('numbers that are none, or too large, are refused', async (t) => {
  const { rest } = await startClass(t, '--join-every', '0');
  const wrong = { status: 400, error: 'count is not a whole number from 1 to 10000' };
  for (const count of [0, -1, 1.5, 10_001, 1e300, '3', null, [1], {}]) {
    assert.deepEqual(await rest.control('POST', 'learners', { count }), wrong, JSON.stringify(count));
  }
  assert.equal((await rest.control('POST', 'learners', { count: 2 })).list.length, 2);
  for (const name of ['since', 'wait', 'count']) {
    for (const value of ['x', '-1', '1.5', '1e3', '', 'Infinity', '9999999999999999']) {
      assert.deepEqual(await rest.control('GET', `journal?${name}=${value}`), { status: 400, error: `${name} is not a whole number` });
    }
  }
  assert.equal((await rest.control('GET', 'received?since=0&count=1&wait=0')).status, 200);
});

test('faults and messages that the service could not send are refused', async (t) => {
  const { rest } = await startClass(t);
  for (const [fields, error] of [
    [{ times: 0 }, 'times is not a whole number from 1 to 1000000'],
    [{ delayMs: 600_001 }, 'delayMs is not a whole number from 0 to 600000'],
    [{ status: 99 }, 'status is not a whole number from 200 to 599'],
    [{ status: '500' }, 'status is not a whole number from 200 to 599'],
    [{ body: {} }, 'body is no text'],
    [{ headers: 'X: y' }, 'headers is no object'],
  ]) {
    assert.deepEqual(await rest.control('POST', 'faults', { path: '/vantora', ...fields }), { status: 400, error });
  }
  for (const [fields, error] of [
    [{ body: [] }, 'body is no object'],
    [{ text: 1 }, 'text is no text'],
    [{ text: 'x', form: 'morse' }, 'form is not one of base64, integers, string'],
  ]) {
    assert.deepEqual(await rest.control('POST', 'publish', { address: '.learner', ...fields }), { status: 400, error });
  }
});

test('a body that is too large is refused, and so is a method that a path does not take', async (t) => {
  const { rest, service } = await startClass(t, '--limit', 'presenterBytes=2000');
  assert.equal((await rest.control('POST', 'publish', { address: '.learner', body: { x: 'y'.repeat(1_000) } })).status, 200);
  assert.deepEqual(await rest.control('POST', 'publish', { address: '.learner', body: { x: 'y'.repeat(2_000) } }),
    { status: 413, error: 'request.error.tooLarge' });
  assert.equal((await fetch(`${service.url}/classroom/publish`, { method: 'PUT' })).status, 405);
});

test('one line of the bus for tests speaks and listens for many devices', async (t) => {
  const { service, rest, session } = await startClass(t);
  const presenter = await Presenter.open(service.url, session);
  const line = await openLine(t, service.url);
  const { sessionToken } = session;
  say(line, { type: 'register', address: `${sessionToken}.user.one` });
  say(line, { type: 'register', address: `${sessionToken}.user.two` });
  for (const from of ['one', 'two']) {
    say(line, { type: 'publish', address: `${sessionToken}.presenter`, body: { from, type: 'wave' } });
  }
  assert.deepEqual((await presenter.received('wave', 2)).map(({ from }) => from), ['one', 'two']);
  presenter.publish('.user.two', 'greeting', '{}');
  await until(() => line.messages.some(({ body }) => body?.type === 'greeting'));
  const greeting = line.messages.find(({ body }) => body?.type === 'greeting');
  assert.deepEqual([greeting.type, greeting.address], ['message', `${sessionToken}.user.two`]);
  assert.deepEqual((await rest.control('GET', 'connections')).list.map(({ transport }) => transport).sort(), ['control', 'websocket']);
  assert.deepEqual(await rest.control('DELETE', 'connections'), { status: 200, closed: 1 });
  assert.equal((await presenter.closed).code, 1001);
  assert.deepEqual(await rest.control('DELETE', 'connections?transport=control'), { status: 200, closed: 1 });
  assert.equal((await line.closed()).code, 1000);
});

test('bytes on the bus for tests are no envelope, and the line ends with the service', async (t) => {
  const { service, rest } = await startClass(t);
  const bytes = await openLine(t, service.url);
  bytes.send(Buffer.from('{"type":"ping"}'));
  const { code, reason } = await bytes.closed();
  assert.deepEqual([code, reason], [3002, 'Not an envelope']);
  const line = await openLine(t, service.url);
  const countIs = (count) => until(async () => (await rest.control('GET', 'connections')).list.length === count, 5_000);
  await countIs(1);
  const leaving = await openLine(t, service.url);
  await countIs(2);
  leaving.close();
  await countIs(1);
  service.child.kill('SIGTERM');
  assert.deepEqual(await service.ended, [0, null]);
  assert.equal((await line.closed()).code, 1000);
});

test('the control port lets in who has the token, and nobody else', async (t) => {
  const service = await startService(t, '--serve', '--control-port', '0');
  const { url, token } = controlOf(service);
  const { host } = new URL(url);
  const statusWith = async (...lines) => {
    const { status, headers } = await ask(t, url, ['GET /classroom/sessions HTTP/1.1', ...lines].join('\n'));
    assert.equal(headers['www-authenticate'], status === 401 ? 'Bearer' : undefined);
    return status;
  };
  assert.equal(await statusWith(`Host: ${host}`, `Authorization: Bearer ${token}`), 200);
  assert.equal(await statusWith(`Host: ${host}`), 401);
  for (const wrong of ['Bearer', `Bearer ${token}0`, `Bearer ${token.slice(1)}`, `Basic ${token}`, token, 'Bearer null']) {
    assert.equal(await statusWith(`Host: ${host}`, `Authorization: ${wrong}`), 401, wrong);
  }
  assert.equal(await statusWith('Host: evil.example', `Authorization: Bearer ${token}`), 403);
  assert.equal(await statusWith(`Host: ${host}`, 'Origin: http://evil.example', `Authorization: Bearer ${token}`), 403);
  assert.equal((await ask(t, url, `POST /vantora HTTP/1.1\nHost: ${host}\nAuthorization: Bearer ${token}`)).status, 404);
});

test('the bus for tests on the control port wants the token as well', async (t) => {
  const service = await startService(t, '--serve', '--control-port', '0');
  const { url, token } = controlOf(service);
  const refused = await openLine(t, url);
  assert.equal((await refused.closed()).code, 1002);
  const line = await openLine(t, url, { Authorization: `Bearer ${token}` });
  say(line, { type: 'ping' });
  const headers = { Authorization: `Bearer ${token}` };
  await until(async () => (await (await fetch(`${url}/classroom/journal?kind=ping`, { headers })).json()).entries.length === 1);
});
