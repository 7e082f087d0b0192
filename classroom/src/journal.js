// What happened in the classroom, in order: one entry per request, bus event, received message and
// device event. Tests read it field by field (through the control endpoints or the record file),
// people read it with --log.
//
// An entry whose payload is still being decoded holds back the entries behind it, so that the order
// of entries is always the order of events.

import { createWriteStream } from 'node:fs';
import { once } from 'node:events';

import { outlineOf } from './outline.js';
import { printable } from './printable.js';

// When there is more, the older half of the entries is forgotten. The record file keeps all.
const KEPT_ENTRIES = 40_000;
const KEPT_CHARS = 256 * 1024 * 1024;

// What the log leaves out: lines stand in order anyway, and "data" is "text" once more, parsed.
const UNLOGGED = ['n', 'data'];

// A value in the log is cut here.
const LOGGED_CHARS = 2_000;

/**
 * How much the journal has: everything; what happened without what was said and by whom (outline.js); or
 * nothing at all.
 */
export const JOURNAL_DETAILS = ['whole', 'outline', 'off'];

export class Journal {
  #entries = [];
  #keptChars = 0;
  #count = 0;
  #tail = Promise.resolve();
  #held = 0; // entries that wait for their fields, or behind one that does
  #watchers = new Set();
  #log;
  #file = null;
  #detail;

  /**
   * log: the stream that gets a readable line per entry, or null; file: path of the record, or null;
   * detail: one of JOURNAL_DETAILS.
   */
  constructor({ log = null, file = null, detail = 'whole' } = {}) {
    this.#log = log;
    this.#detail = detail;
    if (file && detail !== 'off') {
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
      console.error(`classroom: the record ends here: ${printable(error.message)}`);
    });
  }

  /** Whether entries have payloads; who notes a message unpacks it only then. */
  get wantsPayloads() {
    return this.#detail === 'whole';
  }

  /**
   * Notes an event. fields may be a promise of the fields, or a function that returns either; it is called
   * at once, and not at all when the journal is off.
   */
  note(kind, fields) {
    if (this.#detail === 'off') {
      fields?.catch?.(() => {}); // a promise that nobody waits for must not end the process
      return;
    }
    const given = typeof fields === 'function' ? called(fields) : fields;
    const entry = { n: ++this.#count, time: new Date().toISOString(), kind };
    if (this.#held > 0 || typeof given?.then === 'function') {
      this.#hold(entry, given);
    } else {
      this.#publish(entry, given);
    }
  }

  /** Resolves when everything noted so far is readable. */
  settled() {
    return this.#tail;
  }

  /** The kept entries after number `since` that match every field of `filter`. */
  find(since, filter) {
    return [...this.#matches(since, filter)];
  }

  /** As find(), but waits up to `waitMs` for `count` matches. */
  async waitFor(since, filter, count, waitMs) {
    await this.settled();
    const deadline = Date.now() + waitMs;
    let seen = since;
    for (let found = 0; ;) {
      found += this.#countMatches(seen, filter);
      seen = Math.max(seen, this.#lastPublished());
      if (found >= count || Date.now() >= deadline || this.#detail === 'off') {
        return this.find(since, filter);
      }
      await this.#nextEntry(deadline - Date.now());
    }
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

  #detailed(fields) {
    return this.wantsPayloads ? fields : outlineOf(fields);
  }

  // One by one: a reader who asks again and again costs no copies of what is kept.
  * #matches(since, filter) {
    const wanted = Object.entries(filter);
    const first = this.#entries[0]?.n ?? 1;
    for (let at = Math.max(0, since + 1 - first); at < this.#entries.length; ++at) {
      const entry = this.#entries[at];
      if (wanted.every(([name, value]) => String(entry[name] ?? '') === value)) {
        yield entry;
      }
    }
  }

  #countMatches(since, filter) {
    let count = 0;
    for (const matches = this.#matches(since, filter); !matches.next().done; ++count);
    return count;
  }

  #lastPublished() {
    return this.#entries.at(-1)?.n ?? 0;
  }

  #hold(entry, given) {
    this.#held += 1;
    this.#tail = this.#tail
      .then(() => given)
      .then((fields) => this.#publish(entry, fields), (error) => complain(entry, error))
      .then(() => { this.#held -= 1; });
  }

  #publish(entry, fields) {
    try {
      this.#write(Object.assign(entry, this.#detailed(fields)));
    } catch (error) {
      complain(entry, error);
    }
  }

  #write(entry) {
    this.#keep(entry);
    this.#file?.write(`${JSON.stringify(entry)}\n`);
    this.#log?.write(`${logLine(entry)}\n`);
    this.#watchers.forEach((wake) => wake());
  }

  #keep(entry) {
    this.#entries.push(entry);
    this.#keptChars += charsOf(entry);
    while (this.#entries.length > KEPT_ENTRIES || this.#keptChars > KEPT_CHARS) {
      const forgotten = this.#entries.splice(0, Math.ceil(this.#entries.length / 2));
      this.#keptChars -= forgotten.reduce((sum, old) => sum + charsOf(old), 0);
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

function complain({ n }, error) {
  console.error(`classroom: entry ${n} is missing: ${printable(error.message)}`);
}

function called(fields) {
  try {
    return fields();
  } catch (error) {
    return Promise.reject(error);
  }
}

// All of an entry's fields may be as long as their sender likes. "data" is "text" once more, parsed.
function charsOf(entry) {
  let chars = 0;
  for (const name in entry) {
    chars += charsOfField(entry, name);
  }
  return chars;
}

function charsOfField(entry, name) {
  switch (name) {
    case 'time':
    case 'kind': return 0;
    case 'data': return entry.data && typeof entry.text === 'string' ? entry.text.length : lengthOf(entry.data);
    default: return lengthOf(entry[name]);
  }
}

function lengthOf(value) {
  if (typeof value === 'string') {
    return value.length;
  }
  return typeof value === 'object' && value !== null ? JSON.stringify(value).length : 0;
}

function logLine({ time, kind, ...fields }) {
  const words = Object.entries(fields)
    .filter(([name, value]) => !UNLOGGED.includes(name) && value !== undefined && value !== null)
    .map(([name, value]) => `${name}=${shown(value)}`);
  return `${time.slice(11, 23)} ${kind.padEnd(10)} ${words.join(' ')}`;
}

function shown(value) {
  return printable(typeof value === 'string' ? value : JSON.stringify(value), { columns: LOGGED_CHARS });
}
