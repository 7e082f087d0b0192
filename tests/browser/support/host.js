// The teacher's side: a host on the kit, led line by line.

import { spawn } from 'node:child_process';
import { fileURLToPath } from 'node:url';

import { until } from '../../../classroom/test/support/service.js';
import { DEADLINE_MS } from './screen.js';

const BUILT = fileURLToPath(new URL('../../../build/release/tests/browser/lesson_host', import.meta.url));
const PROGRAM = process.env.LESSON_HOST ?? BUILT;

export class LessonHost {
  events = []; // what the class told: {event, ...}
  code = '';
  #child;
  #waiting = new Map();
  #lastId = 0;
  #log = '';

  /** A class that learners can join. ca: a file with the certificate to trust. */
  static async start(t, { url, password, transports = '', ca = '' }) {
    const host = new LessonHost();
    const args = ['--server', url, '--user', 'teacher', '--password', password];
    host.#spawn(t, [...args, '--transports', transports, ...ca ? ['--ca', ca] : []]);
    await host.tells('stateChanged', { state: 'SignedIn' });
    await host.call('start');
    ({ code: host.code } = await host.tells('sessionCodeChanged'));
    return host;
  }

  /** Calls the class; resolves with the value, if the call has one, when it has gone well. */
  call(name, fields = {}) {
    const id = ++this.#lastId;
    this.#child.stdin.write(`${JSON.stringify({ ...fields, id, call: name })}\n`);
    return new Promise((resolve, reject) => { this.#waiting.set(id, { name, resolve, reject }); });
  }

  ask(kind, text, options = []) {
    return this.call('ask', { kind, text, options });
  }

  /** What the class told of this kind so far, with these fields. */
  told(event, fields = {}) {
    return this.events.filter((each) => each.event === event
      && Object.entries(fields).every(([key, value]) => each[key] === value));
  }

  /** Waits until it has told it so often; resolves with the last of them. */
  async tells(event, fields = {}, count = 1) {
    try {
      return await until(() => this.told(event, fields).length >= count && this.told(event, fields).at(-1), DEADLINE_MS);
    } catch {
      throw new Error(`The host did not tell ${event} ${JSON.stringify(fields)}, ${count} of them, but\n`
        + `${this.events.map((each) => JSON.stringify(each)).join('\n')}\n${this.#log.slice(-1000)}`);
    }
  }

  /** The answers that were counted. */
  get answers() {
    return this.told('answered').map(({ answer }) => answer);
  }

  /** Waits for so many answers; resolves with the last. */
  async answered(count = 1) {
    return (await this.tells('answered', {}, count)).answer;
  }

  #spawn(t, args) {
    this.#child = spawn(PROGRAM, args);
    const ended = new Promise((resolve) => { this.#child.once('close', resolve); });
    this.#child.on('error', (error) => { this.#log += error.message; });
    t.after(async () => {
      this.#child.kill('SIGKILL');
      await ended;
    });
    let rest = '';
    this.#child.stdout.setEncoding('utf8').on('data', (text) => {
      const lines = (rest + text).split('\n');
      rest = lines.pop();
      lines.forEach((line) => this.#take(JSON.parse(line)));
    });
    this.#child.stderr.setEncoding('utf8').on('data', (text) => { this.#log += text; });
  }

  #take({ event, id, failure, message, value, ...fields }) {
    if (event !== 'done') {
      this.events.push({ event, ...message && { message }, ...fields });
      return;
    }
    const { name, resolve, reject } = this.#waiting.get(id);
    this.#waiting.delete(id);
    if (failure) {
      reject(new Error(`${name}: ${failure}: ${message}`));
    } else {
      resolve(value);
    }
  }
}
