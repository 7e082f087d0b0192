// Tells devices that their answers have arrived, when there is time for it: in the moment in which a whole
// class answers, the teacher's bars come first. It waits for a pause in the answers, though not for ever.

// So many confirmations at a time hold nobody up.
const AT_ONCE = 200;

// How many pauses long a confirmation may wait.
const PAUSES = 10;

export class Confirmations {
  #say;
  #pauseMs;
  #waiting = []; // the connection and the question's id
  #timer = null;
  #latest = 0;

  /** say(connection, questionId) tells a device; pauseMs: without an answer, before devices are told. */
  constructor(say, pauseMs) {
    this.#say = say;
    this.#pauseMs = pauseMs;
  }

  add(connection, questionId) {
    this.#waiting.push([connection, questionId]);
    if (this.#waiting.length === 1) {
      this.#latest = Date.now() + PAUSES * this.#pauseMs;
      this.#waitFor(this.#pauseMs);
    } else if (Date.now() < this.#latest) {
      this.#timer.refresh();
    }
  }

  /** Tells at once who waits for it on one of these connections: isMeant(connection). */
  hurry(isMeant) {
    const meant = this.#waiting.filter(([connection]) => isMeant(connection));
    this.#waiting = this.#waiting.filter(([connection]) => !isMeant(connection));
    if (this.#waiting.length === 0) {
      clearTimeout(this.#timer);
    }
    meant.forEach(([connection, questionId]) => this.#say(connection, questionId));
  }

  #waitFor(ms) {
    this.#timer = setTimeout(() => this.#saySome(), ms).unref();
  }

  #saySome() {
    this.#waiting.splice(0, AT_ONCE).forEach(([connection, questionId]) => this.#say(connection, questionId));
    if (this.#waiting.length > 0) {
      this.#waitFor(0);
    }
  }
}
