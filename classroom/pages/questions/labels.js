// Finds an option by what is typed: its label, which may have several characters, or how its text begins.

const PAUSE_MS = 1_000; // what is typed after it begins anew

export class LabelSearch {
  #labels;
  #texts;
  #now;
  #typed = '';
  #typedAt = -Infinity;

  constructor(options, now = () => performance.now()) {
    this.#labels = options.map(({ label, text }) => folded(label || text));
    this.#texts = options.map(({ text }) => folded(text));
    this.#now = now;
  }

  /** The index of the option that is meant once this character is typed, too, or -1. */
  find(character) {
    const typedBefore = this.#now() - this.#typedAt < PAUSE_MS ? this.#typed : '';
    this.#typedAt = this.#now();
    this.#typed = folded(typedBefore + character);
    const index = this.#indexOfTyped();
    if (index >= 0 || typedBefore === '') {
      return index;
    }
    this.#typed = folded(character);
    return this.#indexOfTyped();
  }

  #indexOfTyped() {
    const isBegun = (text) => text.startsWith(this.#typed);
    const places = [this.#labels.indexOf(this.#typed), this.#labels.findIndex(isBegun), this.#texts.findIndex(isBegun)];
    return places.find((place) => place >= 0) ?? -1;
  }
}

/** Whether a key writes a character, alone or with the shift key. */
export function isCharacter({ key, ctrlKey, metaKey, altKey }) {
  return [...key].length === 1 && key !== ' ' && !ctrlKey && !metaKey && !altKey;
}

function folded(text) {
  return text.toLowerCase();
}
