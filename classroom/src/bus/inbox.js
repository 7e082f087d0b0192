// What a line has said and the bus has not taken yet: handed over in order, one message at a time, and
// no faster than the line may speak. A line that goes on speaking faster than that is given up.

export class Inbox {
  #texts = [];
  #line;
  #perSecond;
  #behindMs;
  #tokens;
  #filledAt = Date.now();
  #behindSince = null; // when a message had to wait first, since the line last kept to its rate
  #isBusy = false;
  #timer = null;
  #isClosed = false;

  /**
   * line: {isRated(), receive(text), emptied(), fellBehind(), failed(error)}. A promise from receive()
   * holds back the next message.
   */
  constructor(line, { messagesPerSecond, behindMs }) {
    this.#line = line;
    this.#perSecond = messagesPerSecond;
    this.#behindMs = behindMs;
    this.#tokens = messagesPerSecond;
  }

  get isEmpty() {
    return this.#texts.length === 0 && !this.#isBusy;
  }

  put(texts) {
    if (!this.#isClosed) {
      this.#texts.push(...texts);
      this.#handOver();
    }
  }

  close() {
    this.#isClosed = true;
    this.#texts = [];
    clearTimeout(this.#timer);
    this.#line.emptied();
  }

  #handOver() {
    while (this.#texts.length > 0 && !this.#isBusy && this.#timer === null) {
      if (this.#line.isRated() && !this.#takeToken()) {
        this.#wait();
        return;
      }
      this.#hand(this.#texts.shift());
    }
    if (this.isEmpty) {
      this.#line.emptied();
    }
  }

  #hand(text) {
    try {
      const taken = this.#line.receive(text);
      if (taken !== undefined) {
        this.#isBusy = true;
        taken.catch((error) => this.#line.failed(error)).then(() => this.#goOn());
      }
    } catch (error) {
      this.#line.failed(error);
    }
  }

  #goOn() {
    this.#isBusy = false;
    this.#handOver();
  }

  // The line may say at once what it may say in a second; it keeps to its rate again when all of that
  // has come back.
  #takeToken() {
    const now = Date.now();
    this.#tokens = Math.min(this.#perSecond, this.#tokens + (now - this.#filledAt) * this.#perSecond / 1_000);
    this.#filledAt = now;
    if (this.#tokens === this.#perSecond) {
      this.#behindSince = null;
    }
    if (this.#tokens < 1) {
      return false;
    }
    this.#tokens -= 1;
    return true;
  }

  #wait() {
    this.#behindSince ??= Date.now();
    if (Date.now() - this.#behindSince >= this.#behindMs) {
      this.#line.fellBehind();
      return;
    }
    this.#timer = setTimeout(() => {
      this.#timer = null;
      this.#handOver();
    }, Math.ceil((1 - this.#tokens) * 1_000 / this.#perSecond)).unref();
  }
}
