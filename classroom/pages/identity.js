// Who this tab is in which class, so that a page that is loaded again comes back by itself.

import { objectOf, textOf } from './values.js';

const KEY = 'tarvo.class';
const PLACE_KEY = 'tarvo.place';

const MAX_CHARS = 64;

// What the service takes in no name: control and format characters but the two joiners of some scripts
// and emoji, halves of characters, line and paragraph separators.
const BREAKS = /[\s\p{Zl}\p{Zp}]+/gu;
const UNFIT = /(?![\u200c\u200d])[\p{Cc}\p{Cf}\p{Cs}]/gu;

/** A name as the service takes it; empty when there is nothing of it to be seen. */
export function cleanName(text) {
  const fit = text.replace(BREAKS, ' ').replace(UNFIT, '').trim();
  return Array.from(fit).slice(0, MAX_CHARS).join('').trim();
}

/** A code as it is typed: in groups, or with blanks around it. */
export function cleanCode(text) {
  return text.replace(/[\s-]+/g, '');
}

/** What a tab remembers: {code, name}, and where in an assessment it is. store: a Storage. */
export class Identity {
  #store;

  constructor(store) {
    this.#store = store;
  }

  /** {code, name} or null. */
  get known() {
    const { code, name } = objectOf(this.#read(KEY));
    return textOf(code) && textOf(name) ? { code, name } : null;
  }

  remember(code, name) {
    this.#write(KEY, { code, name });
  }

  forget() {
    [KEY, PLACE_KEY].forEach((key) => this.#try(() => this.#store.removeItem(key)));
  }

  /** The number of the question that an assessment was at, or null. */
  placeIn(assessmentToken) {
    const place = this.#read(PLACE_KEY);
    return place?.assessmentToken === assessmentToken ? place.number : null;
  }

  keepPlace(assessmentToken, number) {
    this.#write(PLACE_KEY, { assessmentToken, number });
  }

  #read(key) {
    return this.#try(() => JSON.parse(this.#store.getItem(key))) ?? null;
  }

  #write(key, value) {
    this.#try(() => this.#store.setItem(key, JSON.stringify(value)));
  }

  // Browsers may be set to keep nothing; then a page that is loaded again asks once more.
  #try(use) {
    try {
      return use();
    } catch {
      return null;
    }
  }
}
