// A number, written with a comma or a point.

import { make, setLocked } from './dom.js';
import { Field } from './field.js';
import { numberOf } from './texts.js';

const DASH = /^\s*[-\u2212\u2013]/;
const MAX_CHARS = 40;

export class NumberField {
  isGroup = false;
  isList = false;
  hasButton = true;
  element;
  #decimals;
  #field;
  #sign;

  constructor({ decimals }, host) {
    this.#decimals = decimals;
    this.#field = new Field(make('input', {
      'type': 'text', 'inputmode': 'decimal', 'autocomplete': 'off', 'enterkeyhint': 'send', 'dir': 'ltr',
      'aria-labelledby': host.headingId,
    }), { maxChars: MAX_CHARS, host });
    // The keyboards that some phones show for numbers have no minus.
    this.#sign = make('button', { 'type': 'button', 'class': 'small', 'aria-label': '\u00b1, change the sign' }, '\u00b1');
    this.#sign.addEventListener('click', () => this.#changeSign(host));
    this.element = make('div', { class: 'number' }, this.#field.element, this.#sign);
  }

  get advice() {
    return { touch: this.#format(), keys: 'Enter sends.' };
  }

  draft() {
    return this.#field.text || null;
  }

  value() {
    return numberOf(this.#field.text, this.#decimals);
  }

  complaint() {
    return `Write a number, such as ${this.#decimals === 0 ? '12' : '12.5'}. ${this.#format()}`.trim();
  }

  restore(text) {
    this.#field.text = text;
  }

  lock(state) {
    this.#field.lock(state);
    setLocked(this.#sign, state.isSent);
  }

  #format() {
    switch (this.#decimals) {
      case null: return '';
      case 0: return 'A whole number.';
      case 1: return 'At most 1 decimal.';
      default: return `At most ${this.#decimals} decimals.`;
    }
  }

  #changeSign(host) {
    const { control, text } = this.#field;
    if (!control.readOnly) {
      this.#field.text = DASH.test(text) ? text.replace(DASH, '') : `-${text}`;
      control.focus();
      host.changed();
    }
  }
}
