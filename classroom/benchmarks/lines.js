// The lines of devices, as cheap as can be: what is measured is the service. Each speaks the SockJS
// protocol, calls hears(frame) for what comes in, and fails(error) when it is gone before close().

import http from 'node:http';

import faye from 'faye-websocket';

// All requests of a process share these connections.
const agent = new http.Agent({ keepAlive: true, maxFreeSockets: Infinity });

// What a device looks at: the type of a message stands in front of its data.
const HEAD_BYTES = 4_096;

/** Sends a request and reads the reply to its end: {status, head, bytes}; body may be missing. */
export function request(method, url, body) {
  return new Promise((resolve, reject) => {
    const headers = body === undefined
      ? {}
      : { 'Content-Type': 'application/json; charset=UTF-8', 'Content-Length': Buffer.byteLength(body) };
    const sent = http.request(url, { method, headers, agent }, (response) => {
      const reply = { status: response.statusCode, head: '', bytes: 0 };
      response.on('data', (chunk) => {
        if (reply.bytes < HEAD_BYTES) {
          reply.head += chunk.toString('latin1', 0, HEAD_BYTES);
        }
        reply.bytes += chunk.length;
      });
      response.on('end', () => resolve(reply)).on('error', reject);
    });
    sent.on('error', reject).end(body);
  });
}

export class WebSocketLine {
  #socket;

  constructor(base, { hears, fails }) {
    this.#socket = new faye.Client(`${base.replace(/^http/, 'ws')}/websocket`);
    this.opened = new Promise((resolve) => {
      this.#socket.on('message', ({ data }) => (data === 'o' ? resolve() : hears(data)));
    });
    this.#socket.on('error', fails);
    this.#socket.on('close', ({ code, reason }) => fails(new Error(`closed: ${code} ${reason}`)));
  }

  /** texts: envelopes, sent together. */
  send(texts) {
    this.#socket.send(JSON.stringify(texts));
  }

  close() {
    this.#socket.removeAllListeners();
    this.#socket.close();
  }
}

export class PollingLine {
  #base;
  #isClosed = false;
  #fails;

  constructor(base, { hears, fails }) {
    this.#base = base;
    this.#fails = (error) => this.#isClosed || fails(error);
    this.opened = this.#poll();
    this.opened.then(() => this.#listen(hears)).catch(this.#fails);
  }

  send(texts) {
    request('POST', `${this.#base}/xhr_send`, JSON.stringify(texts))
      .then(({ status, head }) => status === 204 || this.#fails(new Error(`not taken: ${status} ${head}`)))
      .catch(this.#fails);
  }

  close() {
    this.#isClosed = true;
  }

  async #listen(hears) {
    while (!this.#isClosed) {
      hears(await this.#poll());
    }
  }

  async #poll() {
    const { status, head } = await request('POST', `${this.#base}/xhr`, '');
    if (status !== 200 || head.startsWith('c')) {
      throw new Error(`no line: ${status} ${head}`);
    }
    return head;
  }
}

export const LINES = { 'websocket': WebSocketLine, 'xhr-polling': PollingLine };
