// Tells people who do not see the page what has changed, in sentences and in one place. What happens within
// a few seconds is told together, and of each topic only the newest.

const GAP_MS = 5_000;

// What happens in one moment is told in one go, the first thing as well.
const GATHERING_MS = 150;

export class Announcer {
  #tell;
  #gapMs;
  #sentences = new Map(); // by topic
  #isWaiting = false;
  #toldAt = -Infinity;

  /** tell(text) says it. */
  constructor(tell, { gapMs = GAP_MS } = {}) {
    this.#tell = tell;
    this.#gapMs = gapMs;
  }

  say(sentence, topic) {
    this.#sentences.delete(topic);
    this.#sentences.set(topic, sentence);
    if (!this.#isWaiting) {
      this.#isWaiting = true;
      setTimeout(() => this.#tellAll(), Math.max(GATHERING_MS, this.#toldAt + this.#gapMs - performance.now()));
    }
  }

  #tellAll() {
    this.#isWaiting = false;
    const text = [...this.#sentences.values()].join(' ');
    this.#sentences.clear();
    this.#tell(text);
    this.#toldAt = performance.now();
  }
}

/** Tells it in an element with aria-live. A paragraph of its own is read even if it says the same again. */
export function tellIn(region) {
  return (text) => {
    const paragraph = document.createElement('p');
    paragraph.textContent = text;
    region.replaceChildren(paragraph);
  };
}
