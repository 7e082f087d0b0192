// A formula in TeX, with a preview. What is half written is no error: the last preview that could be read
// stays.

import { make, setLocked } from './dom.js';
import { Field } from './field.js';
import { formulaElement, loadMath } from './math.js';

// What the buttons write, and how far the caret goes back from the end of it.
const PARTS = [
  ['a/b', 'fraction', '\\frac{}{}', 3],
  ['x\u00b2', 'power', '^{}', 1],
  ['x\u2081', 'index', '_{}', 1],
  ['\u221a', 'square root', '\\sqrt{}', 1],
  ['\u03c0', 'pi', '\\pi ', 0],
  ['\u00b7', 'times', '\\cdot ', 0],
  ['\u2264', 'less than or equal to', '\\le ', 0],
];

const EMPTY = 'Your formula is shown here as you write.';
const HALF_WRITTEN = 'Not complete yet. You see what could be read last.';
const NOTHING_TO_SEE = 'Go on writing. Your formula is shown here as soon as it can be read.';
const NO_PREVIEW = 'There is no preview just now. You can send what you have written.';

export class Formula {
  isGroup = false;
  isList = false;
  hasButton = true;
  advice = { touch: '', keys: 'Write as in x=\\frac{1}{2}. Enter sends.' };
  element;
  #field;
  #buttons;
  #picture = make('div', { class: 'formula-picture' });
  #note = make('p', { class: 'formula-note' }, EMPTY);
  #math = null;

  constructor(question, host) {
    const changed = () => {
      this.#preview();
      host.changed();
    };
    this.#field = new Field(make('input', {
      'type': 'text', 'autocomplete': 'off', 'autocapitalize': 'none', 'spellcheck': 'false', 'dir': 'ltr',
      'enterkeyhint': 'send', 'aria-labelledby': host.headingId,
    }), { host: { ...host, changed } });
    this.#buttons = PARTS.map((part) => this.#buttonOf(part));
    this.element = make('div', {}, make('div', { 'class': 'formula-parts', 'role': 'group', 'aria-label': 'Parts of a formula' },
      ...this.#buttons), this.#field.element, make('div', { class: 'formula-preview' }, this.#picture, this.#note));
    loadMath().then((math) => {
      this.#math = math;
      this.#preview();
    }, () => {
      this.#note.textContent = NO_PREVIEW;
    });
  }

  draft() {
    return this.#field.text || null;
  }

  value() {
    return this.#field.text.trim() || null;
  }

  complaint() {
    return 'Write a formula first.';
  }

  restore(text) {
    this.#field.text = text;
    this.#preview();
  }

  lock(state) {
    this.#field.lock(state);
    this.#buttons.forEach((button) => setLocked(button, state.isSent));
  }

  #buttonOf([sign, name, tex, back]) {
    const button = make('button', { 'type': 'button', 'class': 'small', 'aria-label': `${sign}, ${name}` }, sign);
    button.addEventListener('click', () => this.#field.insert(tex, back));
    return button;
  }

  #preview() {
    const tex = this.#field.text.trim();
    if (!this.#math) {
      return;
    }
    const formula = tex === '' ? null : formulaElement(this.#math, tex);
    if (formula || tex === '') {
      this.#picture.replaceChildren(...(formula ? [formula] : []));
    }
    this.#note.textContent = this.#noteFor(tex, formula);
  }

  #noteFor(tex, formula) {
    if (tex === '') {
      return EMPTY;
    }
    if (formula) {
      return '';
    }
    return this.#picture.hasChildNodes() ? HALF_WRITTEN : NOTHING_TO_SEE;
  }
}
