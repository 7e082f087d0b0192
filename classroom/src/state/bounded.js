// A map that does not grow without end: it keeps at most so many entries of one owner, each for so long
// after it was last set or touched. The one that was untouched for longest goes first.

export class BoundedMap {
  #entries = new Map(); // by key: {value, time}; whatever was touched last stands last
  #maxCount;
  #lifetimeMs;
  #ownerOf;
  #now;

  /** ownerOf(value) tells whose an entry is; without it, all are one owner's. */
  constructor({ maxCount, lifetimeMs = Infinity, ownerOf = () => null, now = Date.now }) {
    this.#maxCount = maxCount;
    this.#lifetimeMs = lifetimeMs;
    this.#ownerOf = ownerOf;
    this.#now = now;
  }

  set(key, value) {
    this.#put(key, value);
    this.#forgetOld();
    const owner = this.#ownerOf(value);
    const theirs = [...this.#entries].filter(([, entry]) => this.#ownerOf(entry.value) === owner);
    theirs.slice(0, Math.max(0, theirs.length - this.#maxCount)).forEach(([oldest]) => this.delete(oldest));
  }

  get(key) {
    this.#forgetOld();
    return this.#entries.get(key)?.value;
  }

  /** As get(), and lets the entry's time begin anew. */
  touch(key) {
    const value = this.get(key);
    if (value !== undefined) {
      this.#put(key, value);
    }
    return value;
  }

  delete(key) {
    this.#entries.delete(key);
  }

  clear() {
    this.#entries.clear();
  }

  values() {
    this.#forgetOld();
    return [...this.#entries.values()].map(({ value }) => value);
  }

  #put(key, value) {
    this.#entries.delete(key);
    this.#entries.set(key, { value, time: this.#now() });
  }

  #forgetOld() {
    const now = this.#now();
    for (const [key, { time }] of this.#entries) {
      if (now - time <= this.#lifetimeMs) {
        return;
      }
      this.#entries.delete(key);
    }
  }
}
