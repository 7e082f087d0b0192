// Serving a class: what is open, and what whoever starts it is told.

import assert from 'node:assert/strict';
import os from 'node:os';
import { test } from 'node:test';

import { describeExposure } from '../src/exposure.js';
import { newCertificate } from './support/certificate.js';
import { ask, RestClient, run, startService } from './support/service.js';

const PASSWORD = /^teacher signs in with the password ((?:[a-z2-9]{4}-){3}[a-z2-9]{4})$/;

const portOf = ({ url }) => new URL(url).port;

test('the teacher signs in with the password that is made up, and with no other', async (t) => {
  const service = await startService(t, '--serve');
  assert.equal(service.lines.length, 3);
  const [, password] = PASSWORD.exec(service.lines[2].replace('classroom: ', ''));
  assert.equal((await new RestClient(service.url).signIn()).status, 403);
  assert.equal((await new RestClient(service.url).signIn('teacher', password)).status, 200);
});

test('a password that is given is not told', async (t) => {
  const service = await startService(t, '--serve', '--password', 'four words are better');
  assert.deepEqual(service.lines, [
    'classroom: only programs on this machine can reach it',
    'classroom: it does without TLS, as nothing that is sent leaves this machine',
  ]);
  assert.equal((await new RestClient(service.url).signIn('teacher', 'four words are better')).status, 200);
});

test('who serves for every address is told by which ones it is reached, and that everybody can read', async (t) => {
  const service = await startService(t, '--host', '0.0.0.0');
  assert.equal(service.url, `http://0.0.0.0:${portOf(service)}`);
  const own = Object.values(os.networkInterfaces()).flat().filter(({ family, internal }) => family === 'IPv4' && !internal);
  const urls = own.map(({ address }) => `http://${address}:${portOf(service)}`).join(', ');
  assert.equal(service.lines[0], own.length === 0
    ? 'classroom: everybody who reaches this machine can reach it, which has no address in a network now'
    : `classroom: everybody who reaches this machine can reach it, at ${urls}`);
  assert.equal(service.lines[1], 'classroom: without TLS, passwords and names can be read on the network');
});

test('one address is told as it stands, every family of addresses is told in full', (t) => {
  t.mock.method(os, 'networkInterfaces', () => ({
    lo: [{ family: 'IPv4', internal: true, address: '127.0.0.1' }],
    wlan: [
      { family: 'IPv4', internal: false, address: '192.168.1.20' },
      { family: 'IPv6', internal: false, address: 'fd00::1' },
      { family: 'IPv6', internal: false, address: 'fe80::1' },
    ],
  }));
  const reach = (host, url) => describeExposure({ serve: true, host, tls: {}, madeUp: [] }, { control: { token: null } }, { url })[0];
  const everybody = 'everybody who reaches this machine can reach it, at';
  assert.equal(reach('10.0.0.1', 'http://10.0.0.1:80'), `${everybody} http://10.0.0.1:80`);
  assert.equal(reach('0.0.0.0', 'http://0.0.0.0:80'), `${everybody} http://192.168.1.20:80`);
  assert.equal(reach('::', 'https://[::]:8089'), `${everybody} https://192.168.1.20:8089, https://[fd00::1]:8089`);
  os.networkInterfaces.mock.mockImplementation(() => ({}));
  assert.equal(reach('0.0.0.0', 'http://0.0.0.0:1'), 'everybody who reaches this machine can reach it, which has no address in a network now');
});

test('with a certificate who serves is told that TLS protects what is sent', async (t) => {
  const { cert, key } = newCertificate(t);
  const { lines } = await startService(t, '--serve', '--tls', cert, key);
  assert.equal(lines[1], 'classroom: TLS protects what is sent');
});

test('locally there is one line and the password that the manual names', async (t) => {
  const { url, lines } = await startService(t);
  assert.deepEqual(lines, []);
  assert.equal((await new RestClient(url).signIn()).status, 200);
});

test('a served class has no control endpoints on its port, with a control port or without', async (t) => {
  for (const args of [[], ['--control-port', '0']]) {
    const service = await startService(t, '--serve', ...args);
    const host = `Host: ${new URL(service.url).host}`;
    for (const line of ['GET /classroom/journal', 'GET /classroom/sessions', 'DELETE /classroom/connections']) {
      const { status, body } = await ask(t, service.url, `${line} HTTP/1.1\n${host}`);
      assert.equal(status, 404);
      assert.ok(body.includes('Nothing is served here.'));
    }
    const upgrade = 'Connection: Upgrade\nUpgrade: websocket\nSec-WebSocket-Version: 13\nSec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==';
    assert.equal((await ask(t, service.url, `GET /classroom/bus HTTP/1.1\n${host}\n${upgrade}`)).status, 404);
  }
});

test('a control port that is taken ends the program with 1 and the reason', async (t) => {
  const { url } = await startService(t);
  const { code, stdout, stderr } = await run('--serve', '--port', '0', '--control-port', new URL(url).port);
  assert.equal(code, 1);
  assert.equal(stdout, '');
  assert.match(stderr, /^classroom: listen EADDRINUSE/);
});
