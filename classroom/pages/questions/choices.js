// Options of which one is chosen, or several.
//
// One: a tap answers. So does everything else that clicks, as a screen reader does when it activates what it
// is on. The arrow keys only move, which is why they are handled here: the browser's own handling makes
// clicks, too. Enter and Space answer with the option that has the focus.
// Several: check boxes, then the button or Enter.

import { freshId, make, setLocked } from './dom.js';
import { isCharacter, LabelSearch } from './labels.js';
import { writeText } from './math.js';

const NOTHING_TO_CHOOSE = 'There is nothing to choose from. Please tell your teacher.';

const STEPS = { ArrowUp: -1, ArrowLeft: -1, ArrowDown: 1, ArrowRight: 1 };

export class Choices {
  isGroup = true;
  isList = true;
  element;
  #options;
  #picks;
  #isSingle;
  #host;
  #inputs;
  #search;
  #isLocked = false;

  /** host: {submit(), changed()} */
  constructor(question, host) {
    this.#options = question.options;
    this.#picks = Math.min(question.picks, question.options.length);
    this.#isSingle = question.picks === 1;
    this.#host = host;
    this.#search = new LabelSearch(question.options);
    const name = freshId('choice');
    const labels = question.options.map((option) => this.#labelOf(option, name));
    this.#inputs = labels.map((label) => label.querySelector('input'));
    this.element = make('div', { class: 'options' }, ...labels);
    if (labels.length === 0) {
      this.element.append(NOTHING_TO_CHOOSE);
    }
    this.element.addEventListener('click', (event) => this.#clicked(event));
  }

  get advice() {
    if (this.#options.length === 0) {
      return { touch: '', keys: '' };
    }
    return this.#isSingle
      ? { touch: 'One tap sends your answer.', keys: 'Keyboard: arrows or the first character choose, Enter sends.' }
      : { touch: `Choose ${this.#picks}, then send.`, keys: 'Keyboard: Space chooses, Enter sends.' };
  }

  /** Whether the button is of use: a tap needs none. */
  get hasButton() {
    return !this.#isSingle || this.draft() !== null;
  }

  draft() {
    const ids = this.#options.filter((option, i) => this.#inputs[i].checked).map(({ id }) => id);
    return ids.length > 0 ? ids : null;
  }

  value() {
    return this.draft();
  }

  complaint() {
    return this.#isSingle ? 'Choose an answer first.' : 'Choose at least one answer first.';
  }

  restore(ids) {
    const isFirst = (id, i) => i === this.#options.findIndex((option) => option.id === id);
    this.#options.forEach(({ id }, i) => {
      this.#inputs[i].checked = ids.includes(id) && isFirst(id, i);
    });
  }

  lock({ isSent, isPaused }) {
    this.#isLocked = isSent || (isPaused && this.#isSingle);
    this.#inputs.forEach((input) => setLocked(input, this.#isLocked));
  }

  keyDown(event) {
    const place = this.#inputs.indexOf(event.target);
    if (isCharacter(event)) {
      this.#goTo(this.#search.find(event.key));
    } else if (place >= 0 && event.key in STEPS) {
      event.preventDefault();
      this.#goTo((place + STEPS[event.key] + this.#inputs.length) % this.#inputs.length);
    } else if (place >= 0 && (event.key === 'Enter' || (event.key === ' ' && this.#isSingle))) {
      event.preventDefault();
      this.#send(place, event);
    }
  }

  #labelOf({ label, text, isFormula }, name) {
    const input = make('input', { type: this.#isSingle ? 'radio' : 'checkbox', name });
    const words = make('span', { class: 'option-text', dir: 'auto' });
    writeText(words, text, { isFormula });
    return make('label', { class: 'option' }, input,
      ...(label ? [make('span', { class: 'option-label' }, label), ' '] : []), words);
  }

  #clicked(event) {
    if (!this.#inputs.includes(event.target)) {
      return;
    }
    if (this.#isLocked) {
      event.preventDefault(); // which takes the choice back
    } else if (this.#isSingle) {
      this.#host.submit();
    } else {
      this.#host.changed();
    }
  }

  #goTo(place) {
    const input = this.#inputs[place];
    input?.focus();
    if (input && this.#isSingle && !this.#isLocked) {
      input.checked = true;
      this.#host.changed();
    }
  }

  // A key that is held down repeats itself; that is no second answer, and none to the next question.
  #send(place, { repeat }) {
    if (repeat || this.#isLocked) {
      return;
    }
    this.#inputs[place].checked ||= this.#isSingle;
    this.#host.submit();
  }
}
