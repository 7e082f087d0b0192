// A text field whose text can always be sent: on one line, without control characters, not too long.
// Enter submits.

import { freshId, make, setLocked } from './dom.js';
import { clean, lengthOf, limitOf } from './texts.js';

// The count is shown when so many characters are left, or so large a part of them.
const FEW_LEFT = 10;
const PART_LEFT = 0.1;

export class Field {
  element;
  control;
  #maxChars;
  #count;
  #host;

  /** host: {adviceId, submit(), changed(), announce(text)}; control: an input or a text area. */
  constructor(control, { maxChars = 0, host }) {
    this.control = control;
    this.#maxChars = limitOf(maxChars);
    this.#host = host;
    this.#count = make('p', { class: 'count', id: freshId('count'), hidden: '' });
    control.setAttribute('aria-describedby', `${host.adviceId} ${this.#count.id}`);
    this.element = make('div', { class: 'field' }, control, this.#count);
    control.addEventListener('input', (event) => !event.isComposing && this.#written());
    control.addEventListener('compositionend', () => this.#written());
    control.addEventListener('keydown', (event) => this.#keyDown(event));
  }

  get text() {
    return clean(this.control.value, this.#maxChars);
  }

  set text(text) {
    this.control.value = clean(text, this.#maxChars);
    this.#showCount();
  }

  /** Writes at the caret, in place of what is selected; the caret goes back by so many characters. */
  insert(text, back = 0) {
    const { control } = this;
    if (control.readOnly) {
      return;
    }
    control.setRangeText(text, control.selectionStart, control.selectionEnd, 'end');
    control.setSelectionRange(control.selectionStart - back, control.selectionStart - back);
    control.focus();
    this.#written();
  }

  lock({ isSent }) {
    this.control.readOnly = isSent;
    setLocked(this.control, isSent);
  }

  #written() {
    const { control } = this;
    const isFull = lengthOf(control.value) > this.#maxChars;
    const fit = this.text;
    if (fit !== control.value) {
      const caret = clean(control.value.slice(0, control.selectionStart), this.#maxChars).length;
      control.value = fit;
      control.setSelectionRange(caret, caret);
    }
    this.#showCount();
    if (isFull) {
      this.#host.announce('No more characters fit.');
    }
    this.#host.changed();
  }

  #showCount() {
    const left = this.#maxChars - lengthOf(this.text);
    this.#count.hidden = left > Math.max(FEW_LEFT, this.#maxChars * PART_LEFT);
    this.#count.textContent = this.#count.hidden ? '' : `${left} ${left === 1 ? 'character' : 'characters'} left`;
  }

  // In a text area Shift+Enter does what Enter does elsewhere, but answers have no lines.
  #keyDown(event) {
    if (event.key !== 'Enter' || event.isComposing) {
      return;
    }
    event.preventDefault();
    if (event.shiftKey) {
      this.insert(' ');
    } else if (!event.repeat) {
      this.#host.submit();
    }
  }
}
