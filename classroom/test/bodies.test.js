// Bodies that are too large, come without right, or never end.

import assert from 'node:assert/strict';
import { test } from 'node:test';
import { setFlagsFromString } from 'node:v8';
import { runInNewContext } from 'node:vm';

import { connectRaw, errorText, startRest, startSignedIn, uploadForm } from './support/rest.js';
import { RestClient, until } from './support/service.js';

const MIB = 1024 * 1024;

const head = (path, ...lines) => `POST ${path} HTTP/1.1\r\nHost: here\r\n${lines.map((line) => `${line}\r\n`).join('')}\r\n`;

const cookieOf = (client) => `Cookie: ${[...client.cookies].map(([name, value]) => `${name}=${value}`).join('; ')}`;

/** Writes 1 MiB pieces until the end or until the far end has gone. */
async function pour(socket, count) {
  const piece = Buffer.alloc(MIB, 'x');
  for (let i = 0; i < count && socket.writable; ++i) {
    await new Promise((resolve) => { socket.write(piece, resolve); });
  }
}

test('whoever has no business on a path is told so before the body comes', async (t) => {
  const { port, teacher } = await startSignedIn(t);
  for (const [path, cookie, method, answer] of [
    ['/vantora/nowhere', cookieOf(teacher), 'POST', '404 Not Found'],
    ['/vantora/session/create', 'X: y', 'POST', '403 Forbidden'],
    ['/vantora/session/create', cookieOf(teacher), 'PUT', '405 Method Not Allowed'],
    ['/vantora/resource/uploadResourceFile', 'X: y', 'POST', '403 Forbidden'],
  ]) {
    const { socket, text } = connectRaw(t, port);
    socket.write(head(path, cookie, 'Content-Length: 60000000').replace('POST', method));
    await until(() => text().includes('\r\n\r\n{'));
    assert.equal(text().split('\r\n')[0], `HTTP/1.1 ${answer}`, path);
  }
});

test('a body is refused by its length alone, an upload has a larger bound', async (t) => {
  const { port, teacher } = await startSignedIn(t, { bodyBytes: 1_000, uploadBytes: 5_000 });
  for (const [path, length, answer] of [
    ['/vantora/session/create', 1_001, '413 Payload Too Large'],
    ['/vantora/resource/uploadResourceFile', 5_001, '413 Payload Too Large'],
  ]) {
    const { socket, text } = connectRaw(t, port);
    socket.write(head(path, cookieOf(teacher), `Content-Length: ${length}`));
    await until(() => text().endsWith(errorText('request.error.tooLarge')));
    assert.equal(text().split('\r\n')[0], `HTTP/1.1 ${answer}`, path);
  }
  assert.equal((await teacher.post('/vantora/session/create', `{"a":"${'x'.repeat(992)}"}`)).status, 200);
  assert.equal((await teacher.post('/vantora/session/create', `{"a":"${'x'.repeat(993)}"}`)).status, 413);
  const form = uploadForm(Buffer.alloc(2_000, 'GIF89a'));
  const uploaded = await teacher.post('/vantora/resource/uploadResourceFile', form, 'multipart/form-data; boundary=----boundary');
  assert.equal(uploaded.status, 200);
});

test('a body in chunks is given up at the bound', async (t) => {
  const { port, teacher } = await startSignedIn(t);
  const { socket, text } = connectRaw(t, port);
  socket.write(head('/vantora/session/create', cookieOf(teacher), 'Transfer-Encoding: chunked'));
  socket.write(`10000\r\n${'x'.repeat(65_536)}\r\n`);
  await new Promise((resolve) => { setTimeout(resolve, 50); });
  assert.equal(text(), '');
  socket.write('1\r\nx\r\n');
  await until(() => text().endsWith(errorText('request.error.tooLarge')));
});

test('a client that sends all of a body that is too large reads why it was refused, and goes on', async (t) => {
  const { url, port, teacher } = await startSignedIn(t);
  for (const client of [teacher, new RestClient(url)]) {
    const reply = await client.post('/vantora/session/create', Buffer.alloc(5 * MIB));
    const expected = client === teacher ? [413, errorText('request.error.tooLarge')] : [403, errorText('login.error.notSignedIn')];
    assert.deepEqual([reply.status, reply.text], expected);
  }
  const { socket, text } = connectRaw(t, port);
  socket.write(head('/vantora/session/create', cookieOf(teacher), 'Content-Length: 200000'));
  socket.write('x'.repeat(200_000) + head('/vantora', 'Content-Length: 0'));
  await until(() => text().includes('HTTP/1.1 200 OK'));
});

test('what nobody asked for costs no memory', async (t) => {
  const { port } = await startRest(t);
  setFlagsFromString('--expose-gc');
  const collectGarbage = runInNewContext('gc');
  collectGarbage();
  const before = process.memoryUsage().arrayBuffers;
  const connections = [];
  for (const [path, length, opening] of [
    ['/vantora/nowhere', 'Content-Length: 62914560', ''],
    ['/vantora/session/create', 'Content-Length: 62914560', ''],
    ['/vantora/login/submit', 'Transfer-Encoding: chunked', '3C00000\r\n'],
  ]) {
    const connection = connectRaw(t, port);
    connections.push(connection);
    connection.socket.write(head(path, length) + opening);
    await pour(connection.socket, 59);
    await until(() => /^HTTP\/1.1 4\d\d /.test(connection.text()));
  }
  // What is on its way between the two ends goes; what is kept stays.
  await until(() => {
    collectGarbage();
    return process.memoryUsage().arrayBuffers - before < 20 * MIB;
  });
  assert.deepEqual(connections.map((connection) => connection.isClosed()), [false, false, false]);
});

test('a fault replaces the reply of a refusal, too, and each request is noted once', async (t) => {
  const { services, url, teacher } = await startSignedIn(t);
  const path = '/vantora/session/create';
  services.faults.add({ path, status: 503, body: 'broken' });
  const stranger = new RestClient(url);
  assert.equal((await stranger.post(path, '{"a":1}')).text, 'broken');
  assert.equal((await stranger.post(path, '{"a":2}')).status, 403);
  assert.equal((await teacher.post(path, '{"a":3}')).status, 200);
  assert.equal((await teacher.post(path, 'x'.repeat(70_000))).status, 413);
  await services.journal.settled();
  assert.deepEqual(services.journal.find(0, { path }).map(({ status, body }) => [status, body]),
    [[503, '(not read)'], [403, '(not read)'], [200, '{"a":3}'], [413, '(not read)']]);
});
