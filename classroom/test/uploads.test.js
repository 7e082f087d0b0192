// The resource store: what is taken, whose it is and how long, and how devices get it.

import assert from 'node:assert/strict';
import https from 'node:https';
import { test } from 'node:test';
import { setFlagsFromString } from 'node:v8';
import { runInNewContext } from 'node:vm';

import { newCertificateTexts } from './support/certificate.js';
import { connectRaw, errorText, startSignedIn, upload } from './support/rest.js';
import { RestClient, until } from './support/service.js';

const MIB = 1024 * 1024;
const PNG = '\x89PNG\r\n\x1a\n';

const bytesOf = (text) => Buffer.from(text, 'latin1');

const pathOf = ({ json }) => `/vantora/resource/downloadResourceFile?resourceId=${json.data.id}`;

async function download(url, uploaded) {
  const response = await fetch(url + pathOf(uploaded));
  return { status: response.status, headers: response.headers, bytes: Buffer.from(await response.arrayBuffer()) };
}

test('images come back identical, under a name that is not theirs', async (t) => {
  const { url, teacher } = await startSignedIn(t);
  for (const [beginning, type, name] of [
    [PNG, 'image/png', 'image.png'],
    ['\xff\xd8\xff', 'image/jpeg', 'image.jpg'],
    ['GIF87a', 'image/gif', 'image.gif'],
    ['GIF89a', 'image/gif', 'image.gif'],
    ['RIFF\0\0\0\0WEBP', 'image/webp', 'image.webp'],
  ]) {
    const file = Buffer.concat([bytesOf(beginning), Buffer.alloc(40_000, '\r\n------boundary')]);
    const uploaded = await upload(teacher, file, 'x.html');
    assert.equal(uploaded.json.data.path, `/resources/${uploaded.json.data.id}/x.html`);
    const { status, headers, bytes } = await download(url, uploaded);
    assert.deepEqual([status, headers.get('content-type'), headers.get('content-disposition')], [200, type, `inline; filename="${name}"`]);
    assert.ok(bytes.equals(file));
  }
});

test('what is no image is refused, and so is a name without end', async (t) => {
  const { teacher } = await startSignedIn(t);
  for (const text of ['', 'x', '<script>alert(1)</script>', '<svg xmlns="http://www.w3.org/2000/svg"/>', '\x89PNG', 'GIF88a',
    'RIFF\0\0\0\0WAVE', '%PDF-1.4', ` ${PNG}`, '\xff\xd8']) {
    const reply = await upload(teacher, bytesOf(text));
    assert.deepEqual([reply.status, reply.text], [400, errorText('resource.error.notAnImage')], text);
  }
  assert.equal((await upload(teacher, bytesOf(PNG), 'n'.repeat(1_000))).status, 200);
  const reply = await upload(teacher, bytesOf(PNG), 'n'.repeat(1_001));
  assert.deepEqual([reply.status, reply.text], [400, errorText('resource.error.malformedUpload')]);
});

test('a teacher uploads so much and no more; another is not concerned', async (t) => {
  const { url, teacher } = await startSignedIn(t, { uploadTotalBytes: 1_000 });
  const file = Buffer.concat([bytesOf('GIF89a'), Buffer.alloc(494)]);
  assert.deepEqual([(await upload(teacher, file)).status, (await upload(teacher, file)).status], [200, 200]);
  const reply = await upload(teacher, bytesOf('GIF89a'));
  assert.deepEqual([reply.status, reply.text], [413, errorText('resource.error.tooMuch')]);
  const other = new RestClient(url);
  await other.signIn('other');
  assert.equal((await upload(other, file)).status, 200);
});

test("files go when their teacher's last session has ended, and make room", async (t) => {
  const { url, teacher } = await startSignedIn(t, { uploadTotalBytes: 20 });
  const other = new RestClient(url);
  await other.signIn('other');
  const theirs = await upload(other, bytesOf(PNG));
  const early = await upload(teacher, bytesOf(PNG));
  const { sessionToken } = await teacher.startSession();
  const second = await teacher.startSession();
  const late = await upload(teacher, bytesOf(PNG));
  const statuses = () => Promise.all([early, late, theirs].map(async (file) => (await download(url, file)).status));
  await teacher.postJson('/vantora/session/stop', { sessionToken });
  assert.deepEqual(await statuses(), [200, 200, 200]);
  assert.equal((await upload(teacher, bytesOf(PNG))).status, 413);
  await teacher.postJson('/vantora/session/stop', { sessionToken: second.sessionToken });
  assert.deepEqual(await statuses(), [404, 404, 200]);
  assert.equal((await upload(teacher, bytesOf(PNG))).status, 200);
});

test('a session that was created keeps the files as one that runs does', async (t) => {
  const { url, teacher } = await startSignedIn(t, { sessionsOfTeacher: 1 });
  const uploaded = await upload(teacher, bytesOf(PNG));
  const { sessionToken } = await teacher.startSession();
  await teacher.postJson('/vantora/session/create'); // the first one ends
  assert.equal((await teacher.postJson('/vantora/session/stop', { sessionToken })).status, 404);
  assert.equal((await download(url, uploaded)).status, 200);
});

test('images are not compressed once more', async (t) => {
  const { url, teacher } = await startSignedIn(t, {}, { gzip: true });
  const uploaded = await upload(teacher, bytesOf(PNG));
  assert.equal(uploaded.headers.get('content-encoding'), 'gzip');
  const { headers, bytes } = await download(url, uploaded);
  assert.equal(headers.get('content-encoding'), null);
  assert.equal(bytes.length, 8);
});

test('a device that takes nothing of an image is cut, one that reads slowly is not', async (t) => {
  const { port, teacher } = await startSignedIn(t, { responseMs: 300, uploadBytes: 30 * MIB });
  const uploaded = await upload(teacher, Buffer.concat([bytesOf(PNG), Buffer.alloc(20 * MIB)]));
  const ask = () => {
    const connection = connectRaw(t, port);
    connection.socket.setEncoding('latin1').write(`GET ${pathOf(uploaded)} HTTP/1.1\r\nHost: here\r\n\r\n`);
    return connection;
  };
  const idle = ask();
  idle.socket.pause();
  const slow = ask();
  slow.socket.on('data', () => {
    slow.socket.pause();
    setTimeout(() => slow.socket.resume(), 2);
  });
  const begin = Date.now();
  await until(() => slow.text().length > 20 * MIB);
  assert.ok(Date.now() - begin > 600);
  assert.equal(slow.text().split('\r\n\r\n')[1].length, 20 * MIB + PNG.length);
  idle.socket.resume();
  await until(() => idle.isClosed());
  assert.ok(idle.text().length < 20 * MIB);
  assert.equal(slow.isClosed(), false);
});

test('a hundred slow devices behind TLS share one image in memory', async (t) => {
  setFlagsFromString('--expose-gc');
  const collectGarbage = runInNewContext('gc');
  const { url, services } = await startSignedIn(t, {}, { tls: newCertificateTexts(t) });
  const { id } = services.resources.add('teacher', { fileName: 'a', bytes: Buffer.alloc(2 * MIB), contentType: 'image/png' });
  collectGarbage();
  const before = process.memoryUsage().rss;
  const agent = new https.Agent({ rejectUnauthorized: false });
  t.after(() => agent.destroy());
  const responses = await Promise.all(Array.from({ length: 100 }, () => new Promise((resolve, reject) => {
    https.get(`${url}/vantora/resource/downloadResourceFile?resourceId=${id}`, { agent }, resolve).on('error', reject);
  })));
  assert.deepEqual(new Set(responses.map(({ statusCode }) => statusCode)), new Set([200]));
  collectGarbage();
  const grown = process.memoryUsage().rss - before;
  assert.ok(grown < 100 * MIB, `${grown} bytes`);
});
