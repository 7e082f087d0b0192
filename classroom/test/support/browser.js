// What a browser has and Node.js has not, for modules of the pages that run in a test: the SockJS client,
// and workers, of which the pages start one.

import { createRequire } from 'node:module';
import { Worker as Thread } from 'node:worker_threads';

import SockJS from 'sockjs-client';

const require = createRequire(import.meta.url);

// By the path that the service has them at.
const SCRIPTS = { '/packages/lzma.js': require.resolve('lzma/src/lzma_worker.js') };

// A worker's global scope, as far as such a script looks at it.
const SCOPE = `
  const { parentPort } = require('node:worker_threads');
  globalThis.onmessage = null;
  globalThis.postMessage = (data) => parentPort.postMessage(data);
  parentPort.on('message', (data) => globalThis.onmessage({ data }));
`;

const PROGRESS = 3;

// Keeps the process alive as long as somebody waits for it.
class BrowserWorker {
  #thread;
  #jobs = 0;

  constructor(path) {
    this.#thread = new Thread(`${SCOPE}\nrequire(${JSON.stringify(SCRIPTS[path])});`, { eval: true });
    this.#thread.on('message', (data) => this.#said(data));
    this.#thread.on('error', (error) => this.onerror(error));
  }

  postMessage(data) {
    this.#jobs += 1;
    this.#thread.ref();
    this.#thread.postMessage(data);
  }

  terminate() {
    this.#thread.terminate();
  }

  #said(data) {
    this.#jobs -= data.action === PROGRESS ? 0 : 1;
    if (this.#jobs === 0) {
      this.#thread.unref();
    }
    this.onmessage({ data });
  }
}

const realm = { fetch: globalThis.fetch };

globalThis.Worker = BrowserWorker;
globalThis.SockJS = openSocket;
const windowEvents = new EventTarget();
globalThis.addEventListener = (...args) => windowEvents.addEventListener(...args);
globalThis.removeEventListener = (...args) => windowEvents.removeEventListener(...args);

// Where nobody listens.
const NOWHERE = 'http://127.0.0.1:1';

let isOffline = false;

/** How many connections pages have opened. */
export const sockets = { opened: 0 };

function openSocket(url, ...others) {
  sockets.opened += 1;
  return new SockJS(isOffline ? NOWHERE : url, ...others);
}

/** Lines that are opened from now on come to nothing. */
export function goOffline() {
  isOffline = true;
}

/** The browser tells that it has a network again. */
export function comeOnline() {
  isOffline = false;
  windowEvents.dispatchEvent(new Event('online'));
}

/** The browser shows a page again that it had put away. */
export function showAgain() {
  windowEvents.dispatchEvent(Object.assign(new Event('pageshow'), { persisted: true }));
}

globalThis.CustomEvent ??= class extends Event {
  constructor(name, { detail }) {
    super(name);
    this.detail = detail;
  }
};

/** What a tab keeps. */
export class TabStorage {
  #items = new Map();

  getItem(key) {
    return this.#items.get(key) ?? null;
  }

  setItem(key, value) {
    this.#items.set(key, value);
  }

  removeItem(key) {
    this.#items.delete(key);
  }
}

/** Requests to a path go to this service from now on, with cookies as one browser keeps them. */
export function visit(url) {
  const { fetch } = realm;
  const cookies = new Map();
  globalThis.fetch = async (target, options = {}) => {
    if (!String(target).startsWith('/')) {
      return fetch(target, options);
    }
    const cookie = [...cookies].map(([name, value]) => `${name}=${value}`).join('; ');
    const response = await fetch(url + target, { ...options, headers: { ...options.headers, ...cookie && { Cookie: cookie } } });
    for (const line of response.headers.getSetCookie?.() ?? []) {
      const [, name, value] = /^([^=]+)=([^;]*)/.exec(line);
      cookies.set(name, value);
    }
    return response;
  };
}
