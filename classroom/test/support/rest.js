// A REST interface of its own inside the test's process, so that a test can bound it and look at its
// state: on real sockets, without bus and devices.

import http from 'node:http';
import https from 'node:https';
import net from 'node:net';

import { Journal } from '../../src/journal.js';
import { limitsWith } from '../../src/limits.js';
import { Faults } from '../../src/rest/faults.js';
import { Rest } from '../../src/rest/rest.js';
import { Accounts } from '../../src/state/accounts.js';
import { Resources } from '../../src/state/resources.js';
import { Sessions } from '../../src/state/sessions.js';
import { RestClient } from './service.js';

const PASSWORDS = [{ user: 'teacher', password: 'secret' }, { user: 'other', password: 'secret' }];

/** Starts it; bounds: changes of limits. Returns {url, port, services}. */
export async function startRest(t, bounds = {}, changes = {}) {
  const options = {
    accounts: PASSWORDS,
    signInLifetimeMs: 60_000,
    tenantProtocols: [],
    limits: limitsWith(bounds),
    ...changes,
  };
  const sessions = new Sessions(options);
  const resources = new Resources({ ...options, sessions });
  const services = { sessions, resources, accounts: new Accounts(options), journal: new Journal(), faults: new Faults() };
  const rest = new Rest(services, options);
  const server = options.tls ? https.createServer(options.tls) : http.createServer();
  server.on('request', (request, response) => rest.handle(request, response));
  await new Promise((resolve) => { server.listen(0, '127.0.0.1', resolve); });
  t.after(() => {
    server.closeAllConnections();
    server.close();
  });
  const url = `${options.tls ? 'https' : 'http'}://127.0.0.1:${server.address().port}`;
  return { url, services, port: server.address().port };
}

/** As startRest(), with a teacher's client that is signed in. */
export async function startSignedIn(t, bounds, changes) {
  const service = await startRest(t, bounds, changes);
  const teacher = new RestClient(service.url);
  teacher.cookies.set('tarvo_sign_in', service.services.accounts.signIn('teacher'));
  return { ...service, teacher };
}

/** Lets somebody join a session; what its reply says. */
export function join(client, sessionCode, fields = {}) {
  return client.postJson('/vantora/classroom/session/join', {
    userName: 'Ada', sessionCode, mode: 'learner', deviceName: 'n', deviceType: 'tablet', ...fields,
  });
}

/** A connection on which requests are written by hand: {socket, text(), isClosed()}. */
export function connectRaw(t, port) {
  const socket = net.connect(port, '127.0.0.1');
  let text = '';
  let isClosed = false;
  socket.setEncoding('utf8').on('data', (chunk) => { text += chunk; });
  socket.on('error', () => {}).on('close', () => { isClosed = true; });
  t.after(() => socket.destroy());
  return { socket, text: () => text, isClosed: () => isClosed };
}

/** A form around a file, as presenters send it. */
export function uploadForm(file, fileName = 'a.bin') {
  return Buffer.concat([
    Buffer.from(`------boundary\r\nContent-Disposition: form-data; name=files; filename="${fileName}"\r\n\r\n`),
    file,
    Buffer.from('\r\n------boundary\r\n\r\n'
      + 'Content-Disposition: form-data; name=isTemporary\r\nContent-Type: text/plain; charset=utf-8\r\n\r\ntrue\r\n'
      + '------boundary\r\n\r\n'
      + 'Content-Disposition: form-data; name=clientProvidedGUID\r\nContent-Type: text/plain; charset=utf-8\r\n\r\nfalse\r\n'
      + '------boundary--\r\n\r\n'),
  ]);
}

export function upload(client, file, fileName) {
  return client.post('/vantora/resource/uploadResourceFile', uploadForm(file, fileName),
    'multipart/form-data; charset=UTF-8; boundary=----boundary');
}

/** The error reply with this key. */
export const errorText = (key) => `{"success":false,"infoMsgs":[],"infoMsgKeys":[],"errorMsgKeys":["${key}"],"data":{}}`;
