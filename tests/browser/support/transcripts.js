// What is written down of how the pages are heard: a file for each scene in transcripts/, in it a paragraph
// for each state of the page.
//
// Somebody who changes a page reads what it is now: with TRANSCRIPTS_TO=FOLDER the tests write there what
// they hear. What is heard is right when a person who sees nothing can take part by it, not because the page
// says it.

import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { existsSync, mkdirSync, readFileSync, writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { fileURLToPath } from 'node:url';

import { findingsOf, treeOf } from './reading.js';

const FOLDER = fileURLToPath(new URL('../transcripts/', import.meta.url));
const WRITTEN_TO = process.env.TRANSCRIPTS_TO;

// What is another one each time.
const CODE = '123456';
const SECONDS = /Trying again (?:in \d+ s|now)\./g;

/** A scene that is played on a page: what is heard in each of its states, and what is wrong with them. */
export class Transcript {
  #name;
  #code;
  #states = [];
  #findings = [];

  /** name: of the file; code: of the class. */
  constructor(name, code) {
    this.#name = name;
    this.#code = code;
  }

  /** Listens to the page as it is now. */
  async hear(state, { page }) {
    const text = (await treeOf(page)).join('\n');
    this.#states.push(`== ${state}\n${text.replaceAll(this.#code, CODE).replace(SECONDS, 'Trying again in 1 s.')}\n`);
    this.#findings.push(...(await findingsOf(page)).map((finding) => `${state}: ${finding}`));
    const motions = await page.evaluate(() => document.getAnimations().length);
    assert.equal(motions, 0, `${state}: something moves`);
  }

  /** Compares all that was heard with what is written down. */
  check() {
    const heard = this.#states.join('\n');
    if (WRITTEN_TO) {
      mkdirSync(WRITTEN_TO, { recursive: true });
      writeFileSync(join(WRITTEN_TO, `${this.#name}.txt`), heard);
    }
    assert.deepEqual(this.#findings, []);
    compare(join(FOLDER, `${this.#name}.txt`), heard);
  }
}

// Lines that begin with - are written down and were not heard, those with + the other way round.
function compare(file, heard) {
  const written = existsSync(file) ? readFileSync(file, 'utf8') : '';
  if (heard !== written) {
    const { stdout } = spawnSync('diff', ['-U4', existsSync(file) ? file : '/dev/null', '-'], { input: heard, encoding: 'utf8' });
    assert.fail(`Something else is heard than is written down:\n${stdout}`);
  }
}
