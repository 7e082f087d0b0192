// An answer in the learner's own words: a text, or a word.

import { make } from './dom.js';
import { Field } from './field.js';

const ROWS = 4;

class Words {
  isGroup = false;
  isList = false;
  hasButton = true;
  #field;

  constructor(control, { maxChars }, host) {
    control.setAttribute('aria-labelledby', host.headingId);
    control.setAttribute('dir', 'auto');
    this.#field = new Field(control, { maxChars, host });
    this.element = this.#field.element;
  }

  draft() {
    return this.#field.text || null;
  }

  value() {
    return this.#field.text.trim() || null;
  }

  complaint() {
    return 'Write something first.';
  }

  restore(text) {
    this.#field.text = text;
  }

  lock(state) {
    this.#field.lock(state);
  }
}

/** A text, which may take some room. */
export class Text extends Words {
  advice = { touch: '', keys: 'Enter sends; Shift+Enter makes a blank.' };

  constructor(question, host) {
    super(make('textarea', { rows: ROWS, autocomplete: 'off', enterkeyhint: 'send' }), question, host);
  }
}

/** A word, or a few. */
export class WordSeed extends Words {
  advice = { touch: 'A word is enough.', keys: 'Enter sends.' };

  constructor(question, host) {
    super(make('input', { type: 'text', autocomplete: 'off', enterkeyhint: 'send' }), question, host);
  }
}
