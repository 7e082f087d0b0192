// The pages that people open in a browser, and what they are made of. All of it is read when the service
// starts; what a request says is looked up and never leads to the disk.

import { createHash } from 'node:crypto';
import { readdirSync, readFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { extname, posix } from 'node:path';

import { splitTarget } from './rest/http.js';

const FOLDER = new URL('../pages/', import.meta.url);
const require = createRequire(import.meta.url);

const TYPES = {
  '.html': 'text/html; charset=UTF-8',
  '.css': 'text/css; charset=UTF-8',
  '.js': 'text/javascript; charset=UTF-8',
  '.json': 'application/json',
  '.svg': 'image/svg+xml',
};

// The pages by their paths. A page reads the session code in its path by itself.
const ROUTES = [
  [/^\/$/, 'learner.html'],
  [/^\/join\/[^/]+$/, 'learner.html'],
  [/^\/remote(?:\/[^/]+)?$/, 'remote.html'],
];

// What pages use of npm packages. The worker's minified form does not read the messages that it is sent.
const PACKAGES = {
  '/packages/sockjs.js': 'sockjs-client/dist/sockjs.min.js',
  '/packages/lzma.js': 'lzma/src/lzma_worker.js',
  '/packages/katex.js': 'katex/dist/katex.min.js',
};

export class Pages {
  #files = new Map(); // by path, pages by their names
  #routes;

  constructor() {
    for (const [path, name] of Object.entries(PACKAGES)) {
      this.#files.set(path, fileAt(require.resolve(name), path));
    }
    for (const path of filesIn('')) {
      this.#files.set(path.endsWith('.html') ? path : `/${path}`, fileAt(new URL(path, FOLDER), path));
    }
    this.#routes = ROUTES.filter(([, name]) => this.#files.has(name));
  }

  /** Says whether the request was one for a page. */
  handle(request, response) {
    const { path } = splitTarget(request.url);
    const file = path.startsWith('/') ? this.#files.get(this.#nameFor(path)) : undefined;
    if (!file || !['GET', 'HEAD'].includes(request.method)) {
      return false;
    }
    send(request, response, file);
    return true;
  }

  #nameFor(path) {
    return this.#routes.find(([pattern]) => pattern.test(path))?.[1] ?? path;
  }
}

function send({ method, headers }, response, { type, bytes, tag }) {
  const fields = { 'Cache-Control': 'no-cache', 'ETag': tag };
  if (headers['if-none-match'] === tag) {
    response.writeHead(304, fields);
    response.end();
    return;
  }
  response.writeHead(200, { ...fields, 'Content-Type': type, 'Content-Length': bytes.length });
  response.end(method === 'HEAD' ? undefined : bytes);
}

function fileAt(place, name) {
  const bytes = readFileSync(place);
  const tag = `"${createHash('sha256').update(bytes).digest('base64url')}"`;
  return { type: TYPES[extname(name)], bytes, tag };
}

// The paths of all files of a known type below the folder of pages.
function filesIn(folder) {
  return readdirSync(new URL(folder, FOLDER), { withFileTypes: true }).flatMap((entry) => {
    const path = posix.join(folder, entry.name);
    if (entry.isDirectory()) {
      return filesIn(`${path}/`);
    }
    return extname(path) in TYPES ? [path] : [];
  });
}
