// A class under load: its presenter here, its devices in processes of their own, so that neither takes
// the service's processor time.

import { fork } from 'node:child_process';
import { once } from 'node:events';
import { fileURLToPath } from 'node:url';

import lzma from 'lzma';

import { PROTOCOL_VERSION, SOURCE_SYSTEM } from '../src/protocol.js';
import { RestClient } from '../test/support/service.js';
import { WebSocketLine } from './lines.js';

const DEVICES_PROGRAM = fileURLToPath(new URL('devices.js', import.meta.url));
const PROCESSES = 2;
const COMMON = { version: PROTOCOL_VERSION, sourceSystem: SOURCE_SYSTEM };
// All devices say the same, as it has been made before; what they say of themselves is what they say at the door.
const DEVICE = { userName: 'Learner', deviceType: 'tablet' };
const PAYLOADS = {
  join: packed(DEVICE),
  questionResponse: packed({ questionId: 'Q1', questionSetMode: 'Poll', responseTime: 800, answer: 'B', optionAnswers: [] }),
};
const UPLOAD_TYPE = 'multipart/form-data; charset=UTF-8; boundary=----boundary';

/** The "data" of a payload, as devices and presenters send it. */
export function packed(value) {
  return [Buffer.from(lzma.compress(Buffer.from(JSON.stringify(value)), 1)).toString('base64')];
}

export class LoadedClass {
  heard = { join: 0, questionResponse: 0 }; // what the presenter's line has got, by type
  seen = 0; // how many devices have the whole slide
  error = null; // the first thing that went wrong
  #rest;
  #session;
  #line;
  #processes = [];

  /** url: the service's. The presenter signs in, starts a session and registers. */
  static async open(url) {
    const opened = new LoadedClass();
    opened.#rest = new RestClient(url);
    await opened.#rest.signIn();
    opened.#session = await opened.#rest.startSession();
    await opened.#connect(url);
    return opened;
  }

  /** Uploads an image; the URL it can be downloaded from. */
  async upload(image) {
    const { json } = await this.#rest.post('/vantora/resource/uploadResourceFile', uploadForm(image), UPLOAD_TYPE);
    return `${this.#rest.url}/vantora/resource/downloadResourceFile?resourceId=${json.data.id}`;
  }

  /** Lets devices come: {count, transport}, and {slideUrl, slideBytes} where they get a slide by its address. */
  come(plan) {
    const { url } = this.#rest;
    const { sessionCode } = this.#session;
    for (let first = 0; first < plan.count; first += share(plan)) {
      const count = Math.min(share(plan), plan.count - first);
      const devices = fork(DEVICES_PROGRAM);
      devices.on('message', ({ seen, error }) => (seen ? ++this.seen : this.#fail(error)));
      devices.on('error', (error) => this.#fail(error.message));
      devices.send({ ...plan, url, sessionCode, first, count, device: DEVICE, common: COMMON, payloads: PAYLOADS });
      this.#processes.push(devices);
    }
  }

  /** Publishes to an address of the session; data: see packed(). */
  publish(address, type, data) {
    const { sessionToken, userToken } = this.#session;
    const body = { from: userToken, type, data };
    this.#line.send([JSON.stringify({ type: 'publish', address: sessionToken + address, body })]);
  }

  /** All devices go at once. */
  async leave() {
    await Promise.all(this.#processes.splice(0).map(async (devices) => {
      if (devices.exitCode === null) {
        const ended = once(devices, 'exit');
        devices.kill('SIGKILL');
        await ended;
      }
    }));
  }

  async close() {
    await this.leave();
    this.#line.close();
  }

  async #connect(url) {
    this.#line = new WebSocketLine(`${url}/eventbus/119/0teacher`, {
      hears: (frame) => this.#hear(frame),
      fails: (error) => this.#fail(`the presenter: ${error.message}`),
    });
    await this.#line.opened;
    const { sessionToken, userToken } = this.#session;
    this.#line.send([sessionToken, `${sessionToken}.presenter`, `${sessionToken}.presenter.${userToken}`]
      .map((address) => JSON.stringify({ type: 'register', address })));
  }

  #hear(frame) {
    if (frame.startsWith('a')) {
      JSON.parse(frame.slice(1)).forEach((text) => {
        const { type } = JSON.parse(text).body ?? {};
        this.heard[type] = (this.heard[type] ?? 0) + 1;
      });
    }
  }

  #fail(error) {
    this.error ??= error;
  }
}

function share({ count }) {
  return Math.ceil(count / PROCESSES);
}

function uploadForm(image) {
  const field = (name, value) => '\r\n------boundary\r\n\r\n'
    + `Content-Disposition: form-data; name=${name}\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n${value}`;
  return Buffer.concat([
    Buffer.from('------boundary\r\nContent-Disposition: form-data; name=files; filename="slide.png"\r\n\r\n'),
    image,
    Buffer.from(`${field('isTemporary', 'true')}${field('clientProvidedGUID', 'false')}\r\n------boundary--\r\n\r\n`),
  ]);
}
