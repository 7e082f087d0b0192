// Those who take part: the classroom service, a host, and the devices of its long lesson.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { createRequire } from 'node:module';
import readline from 'node:readline';
import { fileURLToPath } from 'node:url';

import { decompressBlock } from '../../classroom/src/codec/block.js';

const classroomFolder = new URL('../../classroom/', import.meta.url);
const require = createRequire(new URL('package.json', classroomFolder));
const faye = require('faye-websocket');
const lzma = require('lzma');

const LISTENING = /^classroom: listening on (\S+)$/;
const LIMIT_MS = 60_000;
const TICK_MS = 5;
const DISTINCT_MESSAGES = 100; // as in steady.cpp
const LONGEST_FILLING = 2_000;
const KIB = 1_024;

/** A classroom service on a free port: {url, stop()}. */
export async function startClassroom() {
  const program = fileURLToPath(new URL('bin/classroom.js', classroomFolder));
  const child = spawn(process.execPath, [program, '--port', '0', '--end-with-stdin'], {
    stdio: ['pipe', 'pipe', 'inherit'],
  });
  const [line] = await once(readline.createInterface(child.stdout), 'line');
  return { url: LISTENING.exec(line)[1], stop: () => child.kill() };
}

function within(promise, what) {
  let timer;
  const late = new Promise((_, reject) => {
    timer = setTimeout(() => reject(new Error(`not in time: ${what}`)), LIMIT_MS);
  });
  return Promise.race([promise, late]).finally(() => clearTimeout(timer));
}

export class Host {
  looks = { lessons: [], messages: [] };
  ended; // rejects when it does not end well
  #child;
  #said = new Map(); // by its first word
  #waits = new Map();

  /** numbers: short lessons, seconds of the long one, messages a second. */
  constructor(program, url, { transport, way }, numbers) {
    this.#child = spawn(program, [url, transport, way, ...numbers.map(String)], { stdio: ['pipe', 'pipe', 'inherit'] });
    this.#child.stdin.on('error', () => {}); // it has ended; what it was told shows in its exit code
    readline.createInterface(this.#child.stdout).on('line', (line) => this.#take(line));
    this.ended = once(this.#child, 'close').then(([code, signal]) => {
      if (code !== 0) {
        throw new Error(`the host ended with ${signal ?? code}`);
      }
    });
    this.ended.catch(() => {}); // also when nobody waits for it yet
  }

  /** The rest of the line that begins so; lines that come too early are kept. */
  says(word) {
    const line = this.#said.has(word)
      ? Promise.resolve(this.#said.get(word))
      : new Promise((resolve) => { this.#waits.set(word, resolve); });
    const gone = this.ended.then(() => { throw new Error(`the host ended before "${word}"`); });
    return Promise.race([line, gone]);
  }

  tell(word) {
    this.#child.stdin.write(`${word}\n`);
  }

  kill() {
    this.#child.kill('SIGKILL');
  }

  #take(line) {
    const [word, ...rest] = line.split(' ');
    if (word === 'look') {
      const [part, done, resident, heap, threads, descriptors] = [rest[0], ...rest.slice(1).map(Number)];
      this.looks[part].push({ done, resident, heap: heap / KIB, threads, descriptors });
      return;
    }
    this.#said.set(word, rest.join(' '));
    this.#waits.get(word)?.(rest.join(' '));
  }
}

const packed = (value) => [Buffer.from(lzma.compress(JSON.stringify(value), 1)).toString('base64')];

// A learner's answers: the first word of each is its number, from which the host sees whether one is missing.
const ANSWERS = Array.from({ length: DISTINCT_MESSAGES }, (_, number) => packed({
  questionId: 'Q1',
  questionSetMode: 'Poll',
  responseTime: 800,
  answer: `${number} ${'y'.repeat(number * 37 % LONGEST_FILLING)}`,
  optionAnswers: [],
}));

/** The learners of one session, on one line that may speak for all of them. */
export class Devices {
  heard = 0;
  inOrder = 0;
  #token;
  #rate;
  #line;
  #timer = null;
  #sent = 0;
  #wanted = Infinity;
  #hasAll;

  /** Resolves when they and the presenter are registered. */
  static async join(url, token, rate) {
    const devices = new Devices();
    devices.#token = token;
    devices.#rate = rate;
    devices.#line = new faye.Client(`${url.replace(/^http/, 'ws')}/classroom/bus`);
    devices.#line.on('message', ({ data }) => devices.#hear(JSON.parse(data)));
    await within(once(devices.#line, 'open'), 'the line of the devices');
    for (const address of [token, `${token}.learner`]) {
      devices.#say({ type: 'register', address });
    }
    for (const address of [`${token}.learner`, `${token}.presenter`]) {
      await fetch(`${url}/classroom/journal?kind=register&address=${address}&count=1&wait=${LIMIT_MS / 2}`);
    }
    return devices;
  }

  speak() {
    const start = performance.now();
    this.#timer = setInterval(() => {
      const due = (performance.now() - start) * this.#rate / 1000;
      for (; this.#sent < due; ++this.#sent) {
        this.#publish('questionResponse', ANSWERS[this.#sent % ANSWERS.length]);
      }
    }, TICK_MS);
  }

  /** How many messages it were. One more tells the presenter that there are no others. */
  fallSilent() {
    clearInterval(this.#timer);
    this.#publish('last', packed({}));
    return this.#sent;
  }

  /** Resolves when so many have come from the presenter. */
  hears(count) {
    this.#wanted = count;
    const all = new Promise((resolve) => { this.#hasAll = resolve; });
    this.#look();
    return within(all, `the presenter's messages: of ${count} came ${this.heard}`);
  }

  leave() {
    this.#line.close();
  }

  #publish(type, data) {
    const body = { from: 'd1', type, data };
    this.#say({ type: 'publish', address: `${this.#token}.presenter`, body });
  }

  #say(envelope) {
    this.#line.send(JSON.stringify(envelope));
  }

  // Polls have no number of their own; they count for the one that they stand in the place of.
  #hear({ body }) {
    if (body.type === 'tick') {
      const payload = Buffer.from(body.data.join(''), 'base64');
      const { number } = JSON.parse(decompressBlock(payload, LONGEST_FILLING * 2));
      this.inOrder += number === this.heard;
    } else {
      this.inOrder += body.type === 'questionStart';
    }
    ++this.heard;
    this.#look();
  }

  #look() {
    if (this.heard >= this.#wanted) {
      this.#hasAll?.();
    }
  }
}
