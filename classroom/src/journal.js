// What happened in the classroom, in order: one entry per request, bus event, received message and
// device event. Tests read it field by field (through the control endpoints or the record file),
// people read it with --log.
//
// An entry whose payload is still being decoded holds back the entries behind it, so that the order
// of entries is always the order of events.

import { createWriteStream } from 'node:fs';
import { once } from 'node:events';

// When there is more, the older half of the entries is forgotten. The record file keeps all.
const KEPT_ENTRIES = 40_000;
const KEPT_CHARS = 256 * 1024 * 1024;

// What the log leaves out: lines stand in order anyway, and "data" is "text" once more, parsed.
const UNLOGGED = ['n', 'data'];

// A value in the log is cut here.
const LOGGED_CHARS = 2_000;

export class Journal {
  #entries = [];
  #keptChars = 0;
  #count = 0;
  #tail = Promise.resolve();
  #watchers = new Set();
  #log;
  #file = null;

  /** log: the stream that gets a readable line per entry, or null; file: path of the record, or null. */
  constructor({ log = null, file = null } = {}) {
    this.#log = log;
    if (file) {
      this.#file = createWriteStream(file);
    }
  }

  /** Resolves when the record file can be written to; rejects when it cannot. */
  async ready() {
    if (this.#file?.pending) {
      await once(this.#file, 'open');
    }
    this.#file?.on('error', (error) => {
      this.#file = null;
      console.error(`classroom: the record ends here: ${error.message}`);
    });
  }

  /** Notes an event; fields may be a promise of the fields. */
  note(kind, fields) {
    const entry = { n: ++this.#count, time: new Date().toISOString(), kind };
    this.#tail = this.#tail
      .then(async () => this.#publish(Object.assign(entry, await (typeof fields === 'function' ? fields() : fields))))
      .catch((error) => console.error(`classroom: entry ${entry.n} is missing: ${error.message}`));
  }

  /** Resolves when everything noted so far is readable. */
  settled() {
    return this.#tail;
  }

  /** The kept entries after number `since` that match every field of `filter`. */
  find(since, filter) {
    const wanted = Object.entries(filter);
    const first = this.#entries[0]?.n ?? 1;
    return this.#entries
      .slice(Math.max(0, since + 1 - first))
      .filter((entry) => wanted.every(([name, value]) => String(entry[name] ?? '') === value));
  }

  /** As find(), but waits up to `waitMs` for `count` matches. */
  async waitFor(since, filter, count, waitMs) {
    await this.settled();
    const deadline = Date.now() + waitMs;
    const found = this.find(since, filter);
    let seen = this.#lastPublished();
    while (found.length < count && Date.now() < deadline) {
      await this.#nextEntry(deadline - Date.now());
      found.push(...this.find(Math.max(since, seen), filter));
      seen = this.#lastPublished();
    }
    return found;
  }

  get wantsPayloads() {
    return true;
  }

  get lastNumber() {
    return this.#count;
  }

  async close() {
    await this.#tail;
    this.#watchers.forEach((wake) => wake());
    const file = this.#file;
    this.#file = null;
    if (file) {
      file.end();
      await once(file, 'close');
    }
  }

  #lastPublished() {
    return this.#entries.at(-1)?.n ?? 0;
  }

  #publish(entry) {
    this.#keep(entry);
    this.#file?.write(`${JSON.stringify(entry)}\n`);
    this.#log?.write(`${logLine(entry)}\n`);
    this.#watchers.forEach((wake) => wake());
  }

  #keep(entry) {
    this.#entries.push(entry);
    this.#keptChars += payloadChars(entry);
    if (this.#entries.length > KEPT_ENTRIES || this.#keptChars > KEPT_CHARS) {
      const forgotten = this.#entries.splice(0, Math.ceil(this.#entries.length / 2));
      this.#keptChars -= forgotten.reduce((sum, old) => sum + payloadChars(old), 0);
    }
  }

  #nextEntry(limitMs) {
    return new Promise((resolve) => {
      const wake = () => {
        clearTimeout(timer);
        this.#watchers.delete(wake);
        resolve();
      };
      const timer = setTimeout(wake, limitMs);
      this.#watchers.add(wake);
    });
  }
}

function payloadChars({ text, body, reply }) {
  return [text, body, reply].reduce((sum, part) => sum + (part?.length ?? 0), 0);
}

function logLine({ time, kind, ...fields }) {
  const words = Object.entries(fields)
    .filter(([name, value]) => !UNLOGGED.includes(name) && value !== undefined && value !== null)
    .map(([name, value]) => `${name}=${shorten(typeof value === 'string' ? value : JSON.stringify(value))}`);
  return `${time.slice(11, 23)} ${kind.padEnd(10)} ${words.join(' ')}`;
}

function shorten(text) {
  return text.length <= LOGGED_CHARS
    ? text
    : `${text.slice(0, LOGGED_CHARS)}... (${text.length} characters)`;
}
