// A pupil with a keyboard, or any web page that a teacher has open, on the HTTP side of the service: what
// was tried, and that it comes to nothing.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import http from 'node:http';
import https from 'node:https';
import { test } from 'node:test';

import { startClass, WAYS } from './support/hostile.js';
import { RestClient, rawConnection, startService, until } from './support/service.js';

const EVERY_WAY = Object.keys(WAYS);
const TWO_WAYS = EVERY_WAY.slice(0, 2);
const PNG = Buffer.from([0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a]);
const POLICY = "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; base-uri 'none'; "
  + "form-action 'none'; frame-ancestors 'none'";
const SCRIPT_OF_NO_FILE = /<script(?![^>]* src="\/[\w./]+"[^>]*><\/script>)/;

/** One request with any headers, over http or https: {status, headers, text}. */
function request(url, { method = 'GET', headers = {}, body } = {}) {
  return new Promise((resolve, reject) => {
    const sent = (url.startsWith('https') ? https : http).request(url, { method, headers, rejectUnauthorized: false }, (response) => {
      const parts = [];
      response.on('data', (part) => parts.push(part));
      response.on('end', () => resolve({ status: response.statusCode, headers: response.headers, text: Buffer.concat(parts).toString() }));
    });
    sent.on('error', reject);
    sent.end(body);
  });
}

for (const way of EVERY_WAY) {
  test(`a request for a transport with an upgrade header is answered: ${way}`, async (t) => {
    const { service, holds } = await startClass(t, way, 'websocket', '--transports', 'websocket');
    const upgrade = { 'Connection': 'Upgrade', 'Upgrade': 'websocket', 'Sec-WebSocket-Version': '13', 'Sec-WebSocket-Key': 'dGhlIHNhbXBsZSBub25jZQ==' };
    for (const path of ['/eventbus/119/abcdefgh/htmlfile?c=x', '/eventbus/119/abcdefgh/xhr', '/eventbus/websocket', '/eventbus', '/vantora', '/']) {
      assert.equal((await request(service.url + path, { headers: upgrade })).status, 404, path);
    }
    await holds();
  });

  test(`what devices do not need is off, and nothing runs in the service's name: ${way}`, async (t) => {
    const { service } = await startClass(t, way, 'websocket');
    for (const path of ['htmlfile?c=alert', 'jsonp?c=alert', 'jsonp_send', 'iframe.html'].map((end) => `/eventbus/119/abcdefgh/${end}`)
      .concat('/eventbus/iframe.html', '/eventbus/iframe-1.2.3.html', '/eventbus', '/eventbus/', '/eventbus/websocket', '/eventbus/chunking_test')) {
      const { status, text } = await request(service.url + path);
      assert.equal(status, 404, path);
      assert.doesNotMatch(text, /<|script|alert|http/, path);
    }
    for (const path of ['/', '/vantora', '/vantora/<script>', '/eventbus/info', '/nothing', '/classroom/journal', '/vantora/resource/downloadResourceFile?resourceId=%3Cscript%3E']) {
      const { headers, text } = await request(service.url + path);
      assert.deepEqual([headers['content-security-policy'], headers['x-content-type-options'], headers['referrer-policy']],
        [POLICY, 'nosniff', 'no-referrer'], path);
      assert.doesNotMatch(text, SCRIPT_OF_NO_FILE, path);
    }
  });

  test(`other origins are refused: ${way}`, async (t) => {
    const { service } = await startClass(t, way, 'websocket');
    const own = new URL(service.url).origin;
    for (const [origin, expected] of [[own, 200], ['http://evil.example', 403], ['null', 403], [`${own}0`, 403]]) {
      const headers = { 'Origin': origin, 'Content-Type': 'application/json' };
      assert.equal((await request(`${service.url}/vantora/login/user`, { method: 'POST', headers, body: '{}' })).status, expected, origin);
      assert.equal((await request(`${service.url}/eventbus/info`, { headers })).status, expected, origin);
    }
  });

  test(`bodies are not read before path and sign-in: ${way}`, async (t) => {
    const { service, session, peakMb, holds } = await startClass(t, way, 'websocket');
    const large = Buffer.alloc(30 * 1024 * 1024, 'x');
    for (const path of ['/vantora/nothing', '/vantora/session/create', '/vantora/resource/uploadResourceFile', '/vantora/classroom/session/join', '/nothing']) {
      const { status } = await request(service.url + path, { method: 'POST', body: large, headers: { 'Content-Type': 'application/json' } })
        .catch(({ code }) => ({ status: code }));
      assert.ok([403, 404, 413, 'EPIPE', 'ECONNRESET'].includes(status), `${path}: ${status}`);
    }
    const code = JSON.stringify({ userName: 'Ada', sessionCode: 'x'.repeat(30 * 1024 * 1024), mode: 'learner', deviceName: 'd', deviceType: 't' });
    const { status } = await request(`${service.url}/vantora/classroom/session/join`, { method: 'POST', body: code })
      .catch(({ code: error }) => ({ status: error }));
    assert.ok([413, 'EPIPE', 'ECONNRESET'].includes(status), `${status}`);
    assert.ok(session.sessionToken);
    await holds();
    assert.ok(peakMb() < 250, `${peakMb()} MB`);
  });
}

for (const way of TWO_WAYS) {
  test(`codes cannot be guessed: ${way}`, async (t) => {
    const { service, session } = await startClass(t, way, 'websocket');
    const guess = async (sessionCode) => (await new RestClient(service.url).postJson('/vantora/classroom/session/join', {
      userName: 'Mallory', sessionCode, mode: 'learner', deviceName: 'd', deviceType: 't',
    })).status;
    const statuses = [];
    for (let i = 0; i < 30; ++i) {
      statuses.push(await guess(`guess-${i}`));
    }
    assert.deepEqual(statuses, [...Array(10).fill(404), ...Array(20).fill(429)]);
    assert.equal(await guess(session.sessionCode), 429);
  });

  test(`a post to a line is bounded before it is read: ${way}`, async (t) => {
    const { service, arrive, peakMb, holds } = await startClass(t, way, 'xhr-polling');
    const mallory = await arrive('Mallory');
    const start = Date.now();
    const url = mallory.socket._transport.url.replace(/\/xhr.*/, '');
    const { status } = await request(`${url}/xhr_send`, { method: 'POST', body: Buffer.alloc(80 * 1024 * 1024, '[') })
      .catch(({ code }) => ({ status: code }));
    assert.ok([413, 'EPIPE', 'ECONNRESET'].includes(status), `${status}`);
    await until(() => mallory.closing);
    assert.ok(Date.now() - start < 5_000);
    await holds();
    assert.ok(peakMb() < 250, `${peakMb()} MB`);
    assert.equal(service.child.exitCode, null);
  });

  test(`only images are kept, for their teacher alone: ${way}`, async (t) => {
    const { service, rest, session } = await startClass(t, way, 'websocket');
    const upload = (file) => rest.post('/vantora/resource/uploadResourceFile', form(file), 'multipart/form-data; charset=UTF-8; boundary=----boundary');
    assert.deepEqual((await upload(readFileSync('/etc/passwd'))).json.errorMsgKeys, ['resource.error.notAnImage']);
    assert.equal((await upload(Buffer.concat([PNG, Buffer.alloc(10 * 1024 * 1024)]))).status, 413);
    const { json: { data: { id } } } = await upload(Buffer.concat([PNG, Buffer.from('<script>')]));
    const download = () => request(`${service.url}/vantora/resource/downloadResourceFile?resourceId=${id}`);
    assert.equal((await download()).headers['content-type'], 'image/png');
    await rest.postJson('/vantora/session/stop', session);
    assert.equal((await download()).status, 404);
  });
}

for (const way of EVERY_WAY.slice(1)) {
  test(`nobody signs in by guessing what every service knows: ${way}`, async (t) => {
    const { service } = await startClass(t, way, 'websocket');
    const rest = new RestClient(service.url);
    const oauth = await rest.postJson('/vantora/login/oauth/google/callback', { code: 'teacher', callbackUrl: 'https://x', sourceSystem: 'Corvel' });
    assert.deepEqual([oauth.status, oauth.json.errorMsgKeys], [403, ['login.error.oauthOff']]);
    assert.equal((await rest.postJson('/vantora/session/create')).status, 403);
  });
}

test('a served class has no password that everybody knows', async (t) => {
  const { url } = await startService(t, '--serve');
  assert.equal((await new RestClient(url).signIn('teacher', 'secret')).status, 403);
});

test('the control endpoints of a served class are not where the pupils are, and want a token', async (t) => {
  const service = await startService(t, '--serve', '--control-port', '0');
  for (const path of ['journal', 'sessions', 'learners', 'faults', 'bus']) {
    assert.equal((await request(`${service.url}/classroom/${path}`)).status, 404);
  }
  const [, controlUrl, token] = await until(() => /control endpoints at (\S+)\/classroom with the token (\S+)/.exec(service.output.stdout));
  assert.equal((await request(`${controlUrl}/classroom/sessions`)).status, 401);
  assert.equal((await request(`${controlUrl}/classroom/sessions`, { headers: { Authorization: `Bearer ${token}` } })).status, 200);
});

for (const [what, headers, expected] of [
  ['from another origin', { Origin: 'http://evil.example' }, 403],
  ['under a foreign name', { Host: 'evil.example' }, 403],
  ['as a form', { 'Content-Type': 'text/plain' }, 415],
]) {
  test(`a web page does not reach the control endpoints of a local service ${what}`, async (t) => {
    const { url } = await startService(t);
    const sent = { 'Content-Type': 'application/json', ...headers };
    assert.equal((await request(`${url}/classroom/faults`, { method: 'POST', headers: sent, body: '{"path":"/vantora"}' })).status, expected);
    if (expected === 403) {
      assert.equal((await request(`${url}/classroom/journal`, { headers })).status, expected);
    }
  });
}

test('a thousand million learners are refused', async (t) => {
  const { rest } = await startClass(t, 'a local service', 'websocket');
  assert.equal((await rest.control('POST', 'learners', { count: 1e9 })).status, 400);
});

test('a request that does not come to its end is given up', async (t) => {
  const { url } = await startService(t, '--limit', 'headerMs=300', '--limit', 'bodyMs=600');
  for (const text of ['', 'POST /vantora HTTP/1.1\r\nHost: x\r\n', 'POST /vantora/login/submit HTTP/1.1\r\nHost: x\r\nContent-Length: 100\r\n\r\n{']) {
    const raw = await rawConnection(t, url);
    raw.write(text);
    await raw.ended;
  }
});

function form(file) {
  const text = (value) => Buffer.from(value);
  const field = (name, value) => `\r\nContent-Disposition: form-data; name=${name}\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n${value}\r\n`;
  return Buffer.concat([
    text('------boundary\r\nContent-Disposition: form-data; name=files; filename="slide.png"\r\n\r\n'), file, text('\r\n------boundary\r\n'),
    text(`${field('isTemporary', 'true')}------boundary\r\n${field('clientProvidedGUID', 'false')}------boundary--\r\n\r\n`),
  ]);
}
