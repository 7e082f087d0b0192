// Joining: who may come as what, under which name, and how a device comes back as the user it was.

import assert from 'node:assert/strict';
import { once } from 'node:events';
import https from 'node:https';
import { test } from 'node:test';

import { newCertificateTexts } from './support/certificate.js';
import { errorText, join, startRest, startSignedIn } from './support/rest.js';
import { RestClient } from './support/service.js';

async function startClass(t, bounds) {
  const service = await startSignedIn(t, bounds);
  const { sessionCode } = await service.teacher.startSession();
  const session = service.services.sessions.withCode(sessionCode);
  return { ...service, sessionCode, session, newDevice: () => new RestClient(service.url) };
}

const namesIn = ({ services, session }) => services.sessions.users(session).map(({ userName }) => userName);

test('learners need the code, the teacher\'s own devices the teacher\'s sign-in', async (t) => {
  const { sessionCode, teacher, newDevice } = await startClass(t);
  const other = newDevice();
  await other.signIn('other');
  for (const mode of ['controller', 'presenter']) {
    for (const client of [newDevice(), other]) {
      const reply = await join(client, sessionCode, { mode });
      assert.deepEqual([reply.status, reply.text], [403, errorText('session.error.foreignSession')]);
    }
    const reply = await join(teacher, sessionCode, { mode });
    assert.deepEqual([reply.status, reply.headers.get('set-cookie')], [200, null]);
  }
  assert.equal((await join(newDevice(), sessionCode)).status, 200);
});

test('names are neither blank nor long and hold nothing that is not seen', async (t) => {
  const { sessionCode, newDevice } = await startClass(t);
  const wrong = [400, errorText('request.error.wrongValue')];
  for (const name of [' ', '\u3164', '\u2800 \ufe0f', '\u200d', 'a\nb', 'a\0', 'a\u0085', 'a\u202eb', 'a\u2066b', 'a\u200fb', 'a\u200bb', 'a\ufeffb',
    'a\u2028b', 'a\u2029b', 'a\ud800b', 'a\u00adb', 'x'.repeat(65), '\u{1f600}'.repeat(65)]) {
    for (const field of ['userName', 'deviceName', 'deviceType']) {
      const reply = await join(newDevice(), sessionCode, { [field]: name });
      assert.deepEqual([reply.status, reply.text], wrong, JSON.stringify(name));
    }
  }
  for (const name of ['A', 'x'.repeat(64), '\u{1f600}'.repeat(64), 'Zoë O\'Neil <b>"', '\u{1f468}\u200d\u{1f469}\u200d\u{1f467}', '\u0645\u06cc\u200c\u062e', '李', 'अनु']) {
    assert.equal((await join(newDevice(), sessionCode, { userName: name })).status, 200, name);
  }
  assert.equal((await join(newDevice(), sessionCode, { userName: '' })).text, errorText('request.error.missingField'));
});

test('a device comes back as the user it was, under the name it gives now', async (t) => {
  const { sessionCode, session, services, newDevice } = await startClass(t);
  const device = newDevice();
  const first = await join(device, sessionCode);
  assert.match(first.headers.get('set-cookie'), /^tarvo_device=[0-9a-f]{32}; Path=\/; HttpOnly; SameSite=Strict; Max-Age=43200$/);
  const secret = device.cookies.get('tarvo_device');
  const again = await join(device, sessionCode, { userName: 'Adele' });
  assert.equal(again.json.data.userToken, first.json.data.userToken);
  assert.equal(device.cookies.get('tarvo_device'), secret);
  assert.deepEqual(namesIn({ services, session }), ['SessionStarter', 'Adele']);
  const stranger = await join(newDevice(), sessionCode);
  assert.notEqual(stranger.json.data.userToken, first.json.data.userToken);
});

test('a secret that the session did not give out is not taken over', async (t) => {
  const { sessionCode, newDevice, teacher } = await startClass(t);
  for (const planted of ['0'.repeat(32), '', 'x; y']) {
    const [one, two] = [newDevice(), newDevice()];
    one.cookies.set('tarvo_device', planted);
    two.cookies.set('tarvo_device', planted);
    const tokens = [await join(one, sessionCode), await join(two, sessionCode)].map(({ json }) => json.data.userToken);
    assert.notEqual(tokens[0], tokens[1]);
    assert.match(one.cookies.get('tarvo_device'), /^[0-9a-f]{32}$/);
    assert.notEqual(one.cookies.get('tarvo_device'), planted);
  }
  // One of another session is as unknown as any other.
  const device = newDevice();
  await join(device, sessionCode);
  const secret = device.cookies.get('tarvo_device');
  await join(device, (await teacher.startSession()).sessionCode);
  assert.notEqual(device.cookies.get('tarvo_device'), secret);
});

test('a device whose user was sent away comes back as somebody else', async (t) => {
  const { sessionCode, session, services, newDevice } = await startClass(t);
  const device = newDevice();
  const { userToken } = (await join(device, sessionCode)).json.data;
  services.sessions.remove(session, services.sessions.user(session, userToken));
  assert.notEqual((await join(device, sessionCode)).json.data.userToken, userToken);
});

test('a full session takes no more learners, but those who were there and the teacher', async (t) => {
  const { sessionCode, services, session, teacher, newDevice } = await startClass(t, { usersOfSession: 2 });
  const device = newDevice();
  const { userToken } = (await join(device, sessionCode)).json.data;
  await join(newDevice(), sessionCode);
  const reply = await join(newDevice(), sessionCode);
  assert.deepEqual([reply.status, reply.text, reply.headers.get('set-cookie')], [429, errorText('session.error.full'), null]);
  assert.equal((await join(device, sessionCode)).json.data.userToken, userToken);
  assert.equal((await join(teacher, sessionCode, { mode: 'controller' })).status, 200);
  // Who is away makes room.
  const user = services.sessions.user(session, userToken);
  services.sessions.connected(session, user);
  assert.equal((await join(newDevice(), sessionCode)).status, 429);
  services.sessions.disconnected(session, user);
  assert.equal((await join(newDevice(), sessionCode)).status, 200);
  assert.equal(services.sessions.user(session, userToken), null);
});

test('behind TLS, cookies are for TLS only', async (t) => {
  const { url, services } = await startRest(t, {}, { tls: newCertificateTexts(t) });
  const session = services.sessions.create('teacher');
  services.sessions.start(session);
  const post = async (path, fields) => {
    const request = https.request(url + path, { method: 'POST', rejectUnauthorized: false, agent: false });
    request.end(JSON.stringify(fields));
    const [response] = await once(request, 'response');
    response.resume();
    return response.headers['set-cookie'];
  };
  const [signIn] = await post('/vantora/login/submit', { userId: 'teacher', password: 'secret', sourceSystem: 'Corvel' });
  assert.match(signIn, /^tarvo_sign_in=[0-9a-f]{32}%1; Path=\/; HttpOnly; SameSite=Strict; Secure$/);
  const [device] = await post('/vantora/classroom/session/join',
    { userName: 'Ada', sessionCode: session.code, mode: 'learner', deviceName: 'n', deviceType: 'tablet' });
  assert.match(device, /^tarvo_device=[0-9a-f]{32}; Path=\/; HttpOnly; SameSite=Strict; Max-Age=43200; Secure$/);
});

test('with OAuth off, its calls are refused whatever they bring', async (t) => {
  const { url } = await startRest(t, {}, { exposure: { oauth: false } });
  const client = new RestClient(url);
  for (const path of ['/vantora/login/oauth/google/callback', '/vantora/login/oauth/x/callback', '/vantora/register/oauth/submit']) {
    for (const body of ['', `{"code":"teacher","callbackUrl":"${url}","sourceSystem":"Corvel"}`]) {
      const reply = await client.post(path, body);
      assert.deepEqual([reply.status, reply.text, reply.headers.get('set-cookie')], [403, errorText('login.error.oauthOff'), null]);
    }
  }
  assert.equal((await client.signIn()).status, 200);
});
