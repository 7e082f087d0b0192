// Options that are put in order: with the buttons of each, with the arrow keys on one of them, or by
// dragging. The element that is moved never leaves the page, its neighbours go round it, so that it keeps
// the focus and the pointer.

import { make, setLocked } from './dom.js';
import { makeDraggable } from './drag.js';
import { isCharacter, LabelSearch } from './labels.js';
import { writeText } from './math.js';

const STEPS = { ArrowUp: -1, ArrowDown: 1, Home: -Infinity, End: Infinity };
const DIRECTIONS = [['up', -1, '\u2191'], ['down', 1, '\u2193']];

export class Sort {
  isGroup = true;
  isList = true;
  hasButton = true;
  advice = { touch: 'Put them in order, then send.', keys: 'Keyboard: arrows on a button move its line.' };
  element = make('ol', { class: 'sort' });
  #options;
  #items;
  #search;
  #host;
  #isLocked = false;

  /** host: {changed(), announce(text)} */
  constructor({ options }, host) {
    this.#options = options;
    this.#host = host;
    this.#search = new LabelSearch(options);
    this.#items = options.map((option) => this.#itemOf(option));
    this.element.append(...this.#items);
    this.#mark();
    makeDraggable(this.element, {
      isAllowed: () => !this.#isLocked,
      moved: (item, place) => this.#put(item, place),
      dropped: (item) => this.#tellPlace(item),
    });
  }

  draft() {
    return [...this.element.children].map((item) => this.#optionOf(item).id);
  }

  value() {
    return this.#options.length > 0 ? this.draft() : null;
  }

  complaint() {
    return 'There is nothing to put in order.';
  }

  /** What is not among the ids comes behind those that are. */
  restore(ids) {
    const left = [...this.#items];
    const named = ids.flatMap((id) => {
      const place = left.findIndex((item) => this.#optionOf(item).id === id);
      return place < 0 ? [] : left.splice(place, 1);
    });
    this.element.append(...named, ...left);
    this.#mark();
  }

  lock({ isSent }) {
    this.#isLocked = isSent;
    this.element.classList.toggle('locked', isSent);
    this.#mark();
  }

  keyDown(event) {
    const item = event.target.closest('li');
    if (item && event.key in STEPS && !event.ctrlKey && !event.metaKey) {
      event.preventDefault();
      this.#step(item, STEPS[event.key]);
    } else if (isCharacter(event)) {
      this.#items[this.#search.find(event.key)]?.querySelector('button').focus();
    }
  }

  #itemOf({ label, text, isFormula }) {
    const words = make('span', { class: 'option-text', dir: 'auto' });
    writeText(words, text, { isFormula });
    const item = make('li', {}, make('span', { 'class': 'grip', 'aria-hidden': 'true' }),
      make('span', { class: 'sort-words' }, ...(label ? [make('span', { class: 'option-label' }, label), ' '] : []), words),
      make('span', { class: 'sort-buttons' }));
    item.lastChild.append(...DIRECTIONS.map(([name, step, sign]) => {
      const button = make('button', { 'type': 'button', 'aria-label': `Move ${text} ${name}` }, sign);
      button.addEventListener('click', () => this.#step(item, step));
      return button;
    }));
    return item;
  }

  #optionOf(item) {
    return this.#options[this.#items.indexOf(item)];
  }

  #placeOf(item) {
    return [...this.element.children].indexOf(item);
  }

  #step(item, step) {
    if (this.#isLocked) {
      return;
    }
    const last = this.#items.length - 1;
    this.#put(item, Math.max(0, Math.min(last, this.#placeOf(item) + step)));
    this.#tellPlace(item);
  }

  #put(item, place) {
    while (this.#placeOf(item) > place) {
      item.after(item.previousElementSibling);
    }
    while (this.#placeOf(item) < place) {
      item.before(item.nextElementSibling);
    }
    this.#mark();
    this.#host.changed();
  }

  #tellPlace(item) {
    this.#host.announce(`${this.#optionOf(item).text}, now ${this.#placeOf(item) + 1} of ${this.#items.length}`);
  }

  // The buttons that lead nowhere.
  #mark() {
    [...this.element.children].forEach((item, i) => {
      const [up, down] = item.querySelectorAll('button');
      setLocked(up, this.#isLocked || i === 0);
      setLocked(down, this.#isLocked || i === this.#items.length - 1);
    });
  }
}
