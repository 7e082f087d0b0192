// The pages: what is served of them under which path, and how browsers keep it.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { test } from 'node:test';

import { ask, startService } from './support/service.js';

const require = createRequire(import.meta.url);
const page = (name) => new URL(`../pages/${name}`, import.meta.url);

const HTML = 'text/html; charset=UTF-8';
const CSS = 'text/css; charset=UTF-8';
const SCRIPT = 'text/javascript; charset=UTF-8';

// By path: what it is, and its type.
const SERVED = {
  '/': [page('learner.html'), HTML],
  '/join/123456': [page('learner.html'), HTML],
  '/join/%3Cb%3E': [page('learner.html'), HTML],
  '/classroom.css': [page('classroom.css'), CSS],
  '/learner.js': [page('learner.js'), SCRIPT],
  '/line.js': [page('line.js'), SCRIPT],
  '/packages/sockjs.js': [require.resolve('sockjs-client/dist/sockjs.min.js'), SCRIPT],
  '/packages/lzma.js': [require.resolve('lzma/src/lzma_worker.js'), SCRIPT],
};

for (const args of [[], ['--serve']]) {
  test(`the pages and what they need are there ${args.length === 0 ? 'locally' : 'when a class is served'}`, async (t) => {
    const { url } = await startService(t, ...args);
    for (const [path, [file, type]] of Object.entries(SERVED)) {
      const content = readFileSync(file, 'utf8');
      const reply = await fetch(`${url}${path}?query`);
      assert.deepEqual([reply.status, reply.headers.get('content-type'), await reply.text()], [200, type, content], path);
      const head = await fetch(url + path, { method: 'HEAD' });
      assert.deepEqual([head.status, Number(head.headers.get('content-length')), await head.text()], [200, Buffer.byteLength(content), '']);
      assert.equal((await fetch(url + path, { method: 'POST' })).status, 404);
    }
  });
}

test('a page that a browser has already is not sent again', async (t) => {
  const { url } = await startService(t);
  const first = await fetch(`${url}/learner.js`);
  const tag = first.headers.get('etag');
  assert.equal(first.headers.get('cache-control'), 'no-cache');
  const again = await fetch(`${url}/learner.js`, { headers: { 'If-None-Match': tag } });
  assert.deepEqual([again.status, again.headers.get('etag'), await again.text()], [304, tag, '']);
  assert.equal((await fetch(`${url}/line.js`, { headers: { 'If-None-Match': tag } })).status, 200);
});

test('what the code in a path is does not get into the page', async (t) => {
  const { url } = await startService(t);
  const [plain, odd] = await Promise.all(['/', '/join/%22%3E%3Cscript%3E'].map(async (path) => (await fetch(url + path)).text()));
  assert.equal(odd, plain);
});

test('nothing else of the disk is served', async (t) => {
  const service = await startService(t);
  for (const target of ['/index.html', '/learner.html', '//classroom.css', '/../package.json', '/pages/learner.html', '/..%2fpackage.json',
    '/%2e%2e/package.json', '/classroom.css/', '/classroom.css%00', '/.', '/constructor', '/__proto__', '/join', '/join/', '/join/1/2',
    '/packages/sockjs', '/packages/../learner.js', '/node_modules/lzma/package.json', 'learner.html', '/questions/']) {
    const { status, headers, body } = await ask(t, service.url, `GET ${target} HTTP/1.1\nHost: ${new URL(service.url).host}`);
    if (target.startsWith('/')) {
      assert.deepEqual([status, headers['content-type'], body.includes('Nothing is served here.\n')], [404, 'text/plain; charset=UTF-8', true], target);
    } else {
      assert.equal(status, 400, target); // no target that a request may have
    }
  }
});
