// What the lessons have come to: a table by outcome, and whatever the library has to answer for.

import { mkdtempSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

import { faultName } from './faults.js';
import { OUTCOMES } from './lessons.js';

// What the library has to answer for, each with the runs that show it.
const FAILURES = {
  'crashed': ({ outcome }) => outcome === 'crashed',
  'hung': ({ outcome }) => outcome === 'hung',
  'sanitizer reports and leaks': ({ isReported }) => isReported,
  'descriptors left': ({ descriptors }) => descriptors > 0,
  'threads left': ({ threads }) => threads > 0,
};

const NAMED = new Set(OUTCOMES.values());

export class Report {
  hasFailed = false;
  count = 0;
  #columns = new Map(); // of the table, by name: a map of rows to counts
  #longest = { ms: 0 };
  #most = { descriptors: 0, threads: 0 };
  #warnings = new Map();
  #keep;

  /** keep: what to do with a result that shows something and with what that is. */
  constructor(keep = keptInFiles()) {
    this.#keep = keep;
  }

  /** Columns stand in the order in which they are first named here. */
  expect(fault) {
    return this.#column(`${fault.way}, ${fault.kind}`);
  }

  add(result) {
    const { fault, outcome, ms, isReached, log } = result;
    this.count += 1;
    const column = this.expect(fault);
    const failures = Object.keys(FAILURES).filter((name) => FAILURES[name](result));
    const rows = ['runs', ...NAMED.has(outcome) ? [outcome] : [], ...failures, ...isReached ? [] : ['byte not reached']];
    rows.forEach((row) => column.set(row, (column.get(row) ?? 0) + 1));
    if (ms > this.#longest.ms) {
      this.#longest = { ms, name: faultName(fault) };
    }
    this.#most.descriptors = Math.max(this.#most.descriptors, result.descriptors);
    this.#most.threads = Math.max(this.#most.threads, result.threads);
    for (const [, text] of log.matchAll(/^(?:warning|critical) (.*)$/gm)) {
      const kind = text.replace(/\d+/g, 'N');
      this.#warnings.set(kind, (this.#warnings.get(kind) ?? 0) + 1);
    }
    if (failures.length > 0) {
      this.hasFailed = true;
      this.#keep(result, failures);
    }
  }

  /** Markdown. */
  text() {
    const names = [...this.#columns.keys()];
    const line = (cells) => `| ${cells.join(' | ')} |`;
    const row = (name) => [name, ...names.map((each) => this.#columns.get(each).get(name) ?? 0)];
    const happened = [...OUTCOMES.values()].filter((name) => row(name).slice(1).some(Boolean));
    const { ms, name } = this.#longest;
    return [
      line(['', ...names]),
      line(['---', ...names.map(() => '--:')]),
      ...[...happened, 'byte not reached', ...Object.keys(FAILURES), 'runs'].map((each) => line(row(each))),
      '',
      `Longest: ${(ms / 1000).toFixed(1)} s (${name}). Most left behind: ${this.#most.descriptors} descriptors, ${this.#most.threads} threads.`,
      ...[...this.#warnings].sort((a, b) => b[1] - a[1]).map(([text, count]) => `Warning, ${count} times: ${text}`),
    ].join('\n');
  }

  #column(name) {
    if (!this.#columns.has(name)) {
      this.#columns.set(name, new Map());
    }
    return this.#columns.get(name);
  }
}

/** Prints how to see it again, and writes what the lesson said to a file. */
function keptInFiles() {
  let folder;
  return ({ fault, log }, failures) => {
    folder ??= mkdtempSync(join(tmpdir(), 'tarvo-wire-'));
    const name = faultName(fault);
    const file = join(folder, `${name.replaceAll(':', '-')}.txt`);
    writeFileSync(file, log);
    console.error(`${failures.join(', ')}: --only ${name}\n  what it said: ${file}`);
  };
}
