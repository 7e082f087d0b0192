// Ideas: an answer of several parts, each in the learner's own words.

import { freshId, make, setLocked } from './dom.js';
import { Field } from './field.js';
import { MAX_CHARS } from './texts.js';

const PARTS_AT_FIRST = 2;
const MAX_PARTS = 10;

export class Ideas {
  isGroup = true;
  isList = true;
  hasButton = true;
  advice = { touch: 'One idea a line; you need not use them all.', keys: 'Enter sends.' };
  element;
  #host;
  #fields = [];
  #list = make('div', { class: 'ideas' });
  #more = make('button', { type: 'button', class: 'small' }, 'Another idea');

  constructor(question, host) {
    this.#host = host;
    this.#more.addEventListener('click', () => this.#addMore());
    this.element = make('div', {}, this.#list, this.#more);
    this.#growTo(PARTS_AT_FIRST);
  }

  draft() {
    const parts = this.#fields.map((field) => field.text);
    return parts.some((part) => part !== '') ? parts : null;
  }

  value() {
    const parts = this.#fields.map((field) => field.text.trim()).filter((part) => part !== '');
    return parts.length > 0 ? parts : null;
  }

  complaint() {
    return 'Write an idea first.';
  }

  restore(parts) {
    const fitting = parts.slice(0, MAX_PARTS);
    this.#growTo(fitting.length);
    this.#fields.forEach((field, i) => {
      field.text = fitting[i] ?? '';
    });
  }

  lock(state) {
    this.#fields.forEach((field) => field.lock(state));
    setLocked(this.#more, state.isSent || this.#fields.length === MAX_PARTS);
  }

  #addMore() {
    if (this.#more.hasAttribute('aria-disabled')) {
      return;
    }
    this.#growTo(this.#fields.length + 1);
    setLocked(this.#more, this.#fields.length === MAX_PARTS);
    this.#fields.at(-1).control.focus();
  }

  #growTo(count) {
    while (this.#fields.length < count) {
      const id = freshId('idea');
      const input = make('input', { id, type: 'text', autocomplete: 'off', enterkeyhint: 'send', dir: 'auto' });
      // All parts together are one answer.
      const field = new Field(input, { maxChars: MAX_CHARS / MAX_PARTS - 1, host: this.#host });
      this.#fields.push(field);
      this.#list.append(make('label', { for: id }, `Idea ${this.#fields.length}`), field.element);
    }
  }
}
