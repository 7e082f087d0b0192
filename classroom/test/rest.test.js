// The REST interface, as presenters call it: whole replies, statuses, the sign-in, the upload store.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';

import { PROTOCOL_VERSION, SOURCE_SYSTEM } from '../src/protocol.js';
import { failures } from '../src/rest/reply.js';
import { errorText as error, upload } from './support/rest.js';
import { RestClient, startService } from './support/service.js';

const FROM_A_PRESENTER = `"sourceSystem":"${SOURCE_SYSTEM}"`;
const UPLOAD_TYPE = 'multipart/form-data; charset=UTF-8; boundary=----boundary';

async function signedIn(t, ...args) {
  const service = await startService(t, ...args);
  const rest = new RestClient(service.url);
  await rest.signIn();
  return { service, rest };
}

test('the server check answers JSON to an empty body', async (t) => {
  const { url } = await startService(t);
  const reply = await new RestClient(url).post('/vantora');
  assert.equal(reply.status, 200);
  assert.equal(reply.headers.get('content-type'), 'application/json; charset=UTF-8');
  assert.equal(reply.text, '{"success":true,"infoMsgs":[],"infoMsgKeys":[],"errorMsgKeys":[],"data":{}}');
});

test('a password signs in, says so in both lists and sets the cookie', async (t) => {
  const service = await startService(t, '--user', 'tina', '--password', 'p"%1 ü');
  const rest = new RestClient(service.url);
  const reply = await rest.signIn('tina', 'p"%1 ü');
  assert.equal(reply.status, 200);
  assert.equal(reply.text, '{"success":true,"infoMsgs":["Login success"],"infoMsgKeys":["login.submit.success"],"errorMsgKeys":[],"data":{}}');
  assert.match(reply.headers.get('set-cookie'), /^tarvo_sign_in=[0-9a-f]{32}%1; Path=\/; HttpOnly; SameSite=Strict$/);
  assert.equal((await rest.postJson('/vantora/login/user')).text,
    '{"success":true,"infoMsgs":[],"infoMsgKeys":[],"errorMsgKeys":[],"data":{"userLoginId":"tina"}}');
});

test('sign-ins that fail have the error shape and no cookie', async (t) => {
  const { url } = await startService(t);
  const rest = new RestClient(url);
  for (const [body, status, key] of [
    [`{"userId":"teacher","password":"wrong",${FROM_A_PRESENTER}}`, 403, 'login.error.wrongCredentials'],
    [`{"userId":"nobody","password":"secret",${FROM_A_PRESENTER}}`, 403, 'login.error.wrongCredentials'],
    [`{"userId":"teacher","deviceId":"d","deviceAccessToken":"t",${FROM_A_PRESENTER}}`, 403, 'login.error.wrongDeviceToken'],
    [`{"userId":"teacher","password":"with "quote",${FROM_A_PRESENTER}}`, 400, 'request.error.invalidJson'],
    ['{"userId":"teacher","password":"secret","sourceSystem":"Elsewhere"}', 400, 'request.error.wrongValue'],
    ['{"userId":"teacher","password":"secret"}', 400, 'request.error.missingField'],
    [`{"userId":"","password":"secret",${FROM_A_PRESENTER}}`, 400, 'request.error.missingField'],
    [`{"userId":7,"password":"secret",${FROM_A_PRESENTER}}`, 400, 'request.error.missingField'],
    ['', 400, 'request.error.invalidJson'],
    ['[]', 400, 'request.error.invalidJson'],
    ['null', 400, 'request.error.invalidJson'],
  ]) {
    const reply = await rest.post('/vantora/login/submit', body);
    assert.deepEqual([reply.status, reply.text, reply.headers.get('set-cookie')], [status, error(key), null], body);
  }
});

test('a device token is issued with a password and signs in without one', async (t) => {
  const { url } = await startService(t);
  const rest = new RestClient(url);
  const issued = await rest.post('/vantora/login/submit',
    `{"userId":"teacher","password":"secret","deviceId":"d1","deviceName":"Desk",${FROM_A_PRESENTER}}`);
  const { deviceAccessToken } = issued.json.data;
  assert.match(deviceAccessToken, /^[0-9a-f-]{36}$/);
  const other = new RestClient(url);
  const deviceSignIn = (userId, deviceId, token) => other.postJson('/vantora/login/submit',
    { userId, deviceId, deviceAccessToken: token, sourceSystem: SOURCE_SYSTEM });
  assert.equal((await deviceSignIn('teacher', 'd2', deviceAccessToken)).status, 403);
  assert.equal((await deviceSignIn('nobody', 'd1', deviceAccessToken)).status, 403);
  const reply = await deviceSignIn('teacher', 'd1', deviceAccessToken);
  assert.equal(reply.text, '{"success":true,"infoMsgs":[],"infoMsgKeys":["login.submit.success"],"errorMsgKeys":[],"data":{}}');
  assert.equal((await other.postJson('/vantora/login/user')).json.data.userLoginId, 'teacher');
});

test('the manual has every error key with its status', () => {
  const manual = readFileSync(new URL('../../docs/classroom.md', import.meta.url), 'utf8');
  for (const { key, status } of Object.values(failures).map((failure) => failure())) {
    const row = manual.split('\n').find((line) => line.startsWith('| `') && line.includes(`\`${key}\``));
    assert.ok(row?.includes(String(status)), key);
  }
});

test('an OAuth code signs its user in, with a device token when a device is named', async (t) => {
  const { url } = await startService(t);
  const rest = new RestClient(url);
  const reply = await rest.postJson('/vantora/login/oauth/google/callback', { code: 'teacher', callbackUrl: url, sourceSystem: SOURCE_SYSTEM });
  assert.equal(reply.text, '{"success":true,"infoMsgs":[],"infoMsgKeys":["login.oauth.success"],"errorMsgKeys":[],"data":{}}');
  assert.equal((await rest.postJson('/vantora/login/user')).json.data.userLoginId, 'teacher');
  const device = await rest.postJson('/vantora/login/oauth/google/callback',
    { code: 'teacher', callbackUrl: url, deviceId: 'd1', deviceName: 'Desk', sourceSystem: SOURCE_SYSTEM });
  assert.match(device.json.data.deviceAccessToken, /^[0-9a-f-]{36}$/);
});

test('the callback URL ends in a slash for facebook and for nobody else', async (t) => {
  const { url } = await startService(t);
  const rest = new RestClient(url);
  for (const [provider, callbackUrl, status] of [
    ['facebook', `${url}/`, 200], ['facebook', url, 400], ['Facebook', url, 200], ['Facebook', `${url}/`, 400], ['google', 'here', 400],
  ]) {
    const reply = await rest.postJson(`/vantora/login/oauth/${provider}/callback`, { code: 'teacher', callbackUrl, sourceSystem: SOURCE_SYSTEM });
    assert.equal(reply.status, status, `${provider} ${callbackUrl}`);
  }
});

test('an OAuth code of a new user asks for registration, which signs in', async (t) => {
  const { url } = await startService(t);
  const rest = new RestClient(url);
  const callback = () => rest.postJson('/vantora/login/oauth/google/callback', { code: 'new-tom', callbackUrl: url, sourceSystem: SOURCE_SYSTEM });
  const asked = await callback();
  assert.equal(asked.headers.get('set-cookie'), null);
  assert.deepEqual([asked.json.infoMsgs, asked.json.infoMsgKeys], [[], ['login.oauth.registration.success']]);
  // What a presenter takes for the registration data: from "data" up to the reply's closing brace.
  const data = asked.text.slice(asked.text.indexOf('"data":') + 7, -1);
  assert.deepEqual({ ...JSON.parse(data), registrationToken: '' }, { registrationToken: '', provider: 'google', userLoginId: 'new-tom', userName: '' });
  // And what it makes of it: the fragment goes behind the last quote.
  const lastQuote = data.lastIndexOf('"');
  const submit = `${data.slice(0, lastQuote + 1)},${FROM_A_PRESENTER}${data.slice(lastQuote + 1)}`;
  const registered = await rest.post('/vantora/register/oauth/submit', submit);
  assert.equal(registered.text, '{"success":true,"infoMsgs":["Registration success"],"infoMsgKeys":["register.oauth.registration.success"],"errorMsgKeys":[],"data":{}}');
  assert.equal((await rest.postJson('/vantora/login/user')).json.data.userLoginId, 'new-tom');
  assert.deepEqual((await callback()).json.infoMsgKeys, ['login.oauth.success']);
  assert.equal((await rest.post('/vantora/register/oauth/submit', submit)).text, error('register.error.unknownRegistration'));
});

test('an OAuth code that nobody issued is refused, and with --oauth-single-use one that was used', async (t) => {
  const { url } = await startService(t, '--oauth-single-use');
  const rest = new RestClient(url);
  const callback = (code) => rest.postJson('/vantora/login/oauth/google/callback', { code, callbackUrl: url, sourceSystem: SOURCE_SYSTEM });
  assert.equal((await callback('made-up')).text, error('login.error.wrongOAuthCode'));
  assert.equal((await callback('teacher')).status, 200);
  const again = await callback('teacher');
  assert.deepEqual([again.status, again.text], [403, error('login.error.wrongOAuthCode')]);
});

test('calls without a sign-in are refused, also after logout', async (t) => {
  const { rest } = await signedIn(t);
  assert.equal((await rest.post('/vantora/login/keepSessionAlive')).status, 200);
  const logout = await rest.postJson('/vantora/login/logout');
  assert.equal(logout.text, '{"success":true,"infoMsgs":[],"infoMsgKeys":["login.logout.success"],"errorMsgKeys":[],"data":{}}');
  for (const path of ['/vantora/login/keepSessionAlive', '/vantora/session/create', '/vantora/session/getcollabserverurl',
    '/vantora/config/findTenantFeatureDetails', '/vantora/session/start', '/vantora/session/getusers', '/vantora/session/stop',
    '/vantora/resource/uploadResourceFile']) {
    const reply = await rest.postJson(path);
    assert.deepEqual([reply.status, reply.text], [403, error('login.error.notSignedIn')], path);
  }
  // Asking who is signed in is no failure, and neither is logging out twice.
  assert.equal((await rest.postJson('/vantora/login/user')).text, '{"success":true,"infoMsgs":[],"infoMsgKeys":[],"errorMsgKeys":[],"data":{}}');
  assert.equal((await rest.postJson('/vantora/login/logout')).status, 200);
});

test('a sign-in expires when it is not used, and on request', async (t) => {
  const { rest } = await signedIn(t, '--expire-sign-in-after', '0.2');
  await new Promise((resolve) => { setTimeout(resolve, 300); });
  assert.equal((await rest.postJson('/vantora/session/create')).text, error('login.error.notSignedIn'));
  await rest.signIn();
  assert.equal((await rest.control('DELETE', 'sign-ins')).status, 200);
  assert.equal((await rest.postJson('/vantora/session/create')).text, error('login.error.notSignedIn'));
});

test('a session is created, started, joined, listed and stopped', async (t) => {
  const { service, rest } = await signedIn(t);
  const created = await rest.postJson('/vantora/session/create');
  const { sessionCode } = created.json.data;
  assert.match(sessionCode, /^\d{6}$/);
  const where = await rest.postJson('/vantora/session/getcollabserverurl');
  assert.equal(where.text, `{"success":true,"infoMsgs":[],"infoMsgKeys":[],"errorMsgKeys":[],"data":{"url":"${service.url}"}}`);
  const features = await rest.postJson('/vantora/config/findTenantFeatureDetails');
  assert.deepEqual(features.json.data, { sockJSProtocols: ['websocket', 'xhr-polling'] });
  const started = await rest.post('/vantora/session/start',
    `{"sessionCode": "${sessionCode}","serverUrl":"${service.url}","sourceSystem":"Corvel","version":"3.0.0"}`);
  const { sessionToken } = started.json.data;
  assert.match(sessionToken, /^[0-9a-f-]{36}$/);
  const joined = await rest.post('/vantora/classroom/session/join',
    `{"userName":"SessionStarter","sessionCode":"${sessionCode}","mode":"presenter","deviceName":"teacher_SessionStarter","deviceType":"presenter"}`);
  const { userToken } = joined.json.data;
  const users = await rest.post('/vantora/session/getusers', `{"sessionToken":"${sessionToken}"}`);
  assert.deepEqual(users.json.data, { users: [{
    userName: 'SessionStarter', mode: 'presenter', deviceName: 'teacher_SessionStarter', deviceType: 'presenter', userToken,
  }] });
  const stopped = await rest.post('/vantora/session/stop', `{"sessionToken":"${sessionToken}"}`);
  assert.equal(stopped.text, '{"success":true,"infoMsgs":[],"infoMsgKeys":["session.stop.success"],"errorMsgKeys":[],"data":{}}');
  for (const path of ['/vantora/session/getusers', '/vantora/session/stop']) {
    const reply = await rest.post(path, `{"sessionToken":"${sessionToken}"}`);
    assert.deepEqual([reply.status, reply.text], [404, error('session.error.unknownSession')], path);
  }
});

test('a session is started with the right server, version and code only', async (t) => {
  const { service, rest } = await signedIn(t);
  const { sessionCode } = (await rest.postJson('/vantora/session/create')).json.data;
  const good = { sessionCode, serverUrl: service.url, sourceSystem: SOURCE_SYSTEM, version: PROTOCOL_VERSION };
  for (const [change, status, key] of [
    [{ sessionCode: 'x' }, 404, 'session.error.unknownSession'],
    [{ serverUrl: 'http://elsewhere' }, 400, 'request.error.wrongValue'],
    [{ sourceSystem: 'Elsewhere' }, 400, 'request.error.wrongValue'],
    [{ version: '2.0.0' }, 400, 'session.error.unsupportedVersion'],
    [{ version: undefined }, 400, 'request.error.missingField'],
  ]) {
    const reply = await rest.postJson('/vantora/session/start', { ...good, ...change });
    assert.deepEqual([reply.status, reply.text], [status, error(key)]);
  }
  const join = { userName: 'Ada', sessionCode, mode: 'learner', deviceName: 'n', deviceType: 'tablet' };
  assert.equal((await rest.postJson('/vantora/classroom/session/join', join)).text, error('session.error.notStarted'));
  assert.equal((await rest.postJson('/vantora/session/start', good)).status, 200);
  assert.equal((await rest.postJson('/vantora/classroom/session/join', { ...join, mode: 'guest' })).text, error('request.error.wrongValue'));
});

test("another teacher's session is out of reach, learners need only its code", async (t) => {
  const { service, rest } = await signedIn(t, '--user', 'teacher', '--password', 'secret', '--user', 'b', '--password', 'b');
  const { sessionCode, sessionToken } = await rest.startSession();
  const other = new RestClient(service.url);
  await other.signIn('b', 'b');
  assert.equal((await other.postJson('/vantora/session/stop', { sessionToken })).text, error('session.error.foreignSession'));
  const join = (client, mode) => client.postJson('/vantora/classroom/session/join',
    { userName: 'Ada', sessionCode, mode, deviceName: 'n', deviceType: 'tablet' });
  assert.equal((await join(other, 'presenter')).text, error('session.error.foreignSession'));
  assert.equal((await join(new RestClient(service.url), 'presenter')).text, error('session.error.foreignSession'));
  const learner = await join(new RestClient(service.url), 'learner');
  assert.equal(learner.json.data.sessionToken, sessionToken);
});

test('the collaboration server and the tenant\'s transports can be set', async (t) => {
  const { rest } = await signedIn(t, '--collab-url', 'wss://far.example/x/', '--tenant-protocols', 'xhr-polling');
  assert.deepEqual((await rest.postJson('/vantora/session/getcollabserverurl')).json.data, { url: 'wss://far.example/x/' });
  assert.deepEqual((await rest.postJson('/vantora/config/findTenantFeatureDetails')).json.data, { sockJSProtocols: ['xhr-polling'] });
  const { rest: silent } = await signedIn(t, '--tenant-protocols', 'none');
  assert.deepEqual((await silent.postJson('/vantora/config/findTenantFeatureDetails')).json.data, {});
});

test('an uploaded image comes back identical, whatever it holds', async (t) => {
  const { service, rest } = await signedIn(t);
  for (const file of ['\r\n------boundary\r\n\r\n------boundary--\r\n\r\n', randomBytes(5 * 1024 * 1024)]) {
    const image = Buffer.concat([Buffer.from('GIF89a'), Buffer.from(file)]);
    const uploaded = await upload(rest, image);
    assert.equal(uploaded.status, 200);
    const { id, path } = uploaded.json.data;
    assert.equal(path, `/resources/${id}/a.bin`);
    const response = await fetch(`${service.url}/vantora/resource/downloadResourceFile?resourceId=${id}`);
    assert.equal(response.headers.get('content-type'), 'image/gif');
    assert.ok(Buffer.from(await response.arrayBuffer()).equals(image));
  }
});

test('a form that is not as it should be is refused and the reason noted', async (t) => {
  const { service, rest } = await signedIn(t);
  const reply = await rest.post('/vantora/resource/uploadResourceFile', 'no form', UPLOAD_TYPE);
  assert.deepEqual([reply.status, reply.text], [400, error('resource.error.malformedUpload')]);
  const { entries } = await rest.control('GET', 'journal?path=/vantora/resource/uploadResourceFile');
  assert.equal(entries[0].remark, 'the form does not begin with the file');
  const missing = await fetch(`${service.url}/vantora/resource/downloadResourceFile?resourceId=none`);
  assert.deepEqual([missing.status, await missing.text()], [404, error('resource.error.unknownResource')]);
});

test('a body that is too large is refused', async (t) => {
  const { rest } = await signedIn(t);
  const reply = await rest.post('/vantora/session/create', Buffer.alloc(64 * 1024 + 1));
  assert.deepEqual([reply.status, reply.text], [413, error('request.error.tooLarge')]);
});

test('unknown paths, other methods and strange targets are answered', async (t) => {
  const { service, rest } = await signedIn(t);
  assert.deepEqual([(await rest.post('/vantora/dance')).status, (await rest.post('/vantora/login/oauth//x')).status], [404, 404]);
  assert.equal((await rest.post('/vantora/')).text, error('request.error.unknownPath'));
  const wrongMethod = await fetch(`${service.url}/vantora/session/create`);
  assert.deepEqual([wrongMethod.status, await wrongMethod.text()], [405, error('request.error.wrongMethod')]);
  for (const target of ['/x', '//', '/%zz', '/vantora?%zz', '/vantoras', '/eventbusses', '/classroom', '/classroom/learners/%zz']) {
    assert.ok((await fetch(service.url + target)).status >= 400, target);
  }
});

test('HTTP credentials are asked for in front of everything', async (t) => {
  const { url } = await startService(t, '--http-auth', 'door:k:ey');
  const without = await fetch(`${url}/vantora`, { method: 'POST' });
  assert.deepEqual([without.status, without.headers.get('www-authenticate')], [401, 'Basic realm="classroom"']);
  const headers = { Authorization: `Basic ${Buffer.from('door:k:ey').toString('base64')}` };
  assert.equal((await fetch(`${url}/vantora`, { method: 'POST', headers })).status, 200);
});

test('replies are compressed on request', async (t) => {
  const { rest } = await signedIn(t, '--gzip');
  const reply = await rest.postJson('/vantora/login/user');
  assert.equal(reply.headers.get('content-encoding'), 'gzip');
  assert.equal(reply.json.data.userLoginId, 'teacher');
});

test('faults can set headers', async (t) => {
  const { rest } = await signedIn(t);
  const path = '/vantora/session/create';
  await rest.control('POST', 'faults', { path, status: 503, headers: { 'Retry-After': '7' } });
  const reply = await rest.postJson(path);
  assert.deepEqual([reply.status, reply.headers.get('retry-after')], [503, '7']);
  assert.equal((await rest.postJson(path)).headers.get('retry-after'), null);
});

test('faults replace, delay or drop replies as often as asked', async (t) => {
  const { rest } = await signedIn(t);
  const path = '/vantora/session/create';
  await rest.control('POST', 'faults', { path, status: 500, body: 'broken', times: 2 });
  await rest.control('POST', 'faults', { path, body: '{"data":{}}' });
  await rest.control('POST', 'faults', { path, delayMs: 300 });
  await rest.control('POST', 'faults', { path, hangUp: true });
  const replies = [await rest.postJson(path), await rest.postJson(path), await rest.postJson(path)];
  assert.deepEqual(replies.map(({ status, text }) => [status, text]), [[500, 'broken'], [500, 'broken'], [200, '{"data":{}}']]);
  const before = Date.now();
  assert.match((await rest.postJson(path)).json.data.sessionCode, /^\d{6}$/);
  assert.ok(Date.now() - before >= 290);
  await assert.rejects(rest.postJson(path));
  assert.equal((await rest.postJson(path)).status, 200);
  await rest.control('POST', 'faults', { path, status: 500 });
  await rest.control('DELETE', 'faults');
  assert.equal((await rest.postJson(path)).status, 200);
});
