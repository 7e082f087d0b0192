// One question that a learner has before them, and the answer to it: given once, and repeated until the
// service has confirmed that the teacher has it.

import { answerOf } from './questions/normal.js';

const REPEAT_MS = 3_000;

// By what the service has against an answer: what the learner is told.
const FAULTS = {
  'too long': 'Your answer is too long. Shorten it and send it again.',
  'not readable': 'Your answer could not be read. Write it anew and send it again.',
  'control characters': 'Your answer has characters that cannot be sent. Write it anew and send it again.',
  'too many answers': 'You have sent too many answers. Wait for the next question.',
};

/** Counts the time in which it runs. */
class Stopwatch {
  #countedMs = 0;
  #since = null;

  run(isRunning) {
    if (isRunning && this.#since === null) {
      this.#since = performance.now();
    } else if (!isRunning) {
      this.#countedMs = this.elapsedMs;
      this.#since = null;
    }
  }

  get elapsedMs() {
    return Math.round(this.#countedMs + (this.#since === null ? 0 : performance.now() - this.#since));
  }
}

export class Answering {
  state = 'open'; // then 'sending', then 'confirmed'
  fault = ''; // what the service has against the answer, for the learner
  question;
  identity; // tells whether it is this one that is sent once more
  prior; // the value that was given before, or null
  #isSettled; // from the beginning
  #stopwatch = new Stopwatch();
  #sent = null; // {type, payload}
  #timer = null;
  #assessmentToken;
  #send;
  #changed;

  /**
   * question: normalised; prior: the value given before; isSettled: that one counts. send(type, payload) says
   * it to the presenter; changed() is called when the state is another one.
   */
  constructor({ question, identity, prior = null, isSettled = false, assessmentToken = '' }, { send, changed }) {
    this.question = question;
    this.identity = identity;
    this.#isSettled = isSettled;
    this.prior = prior;
    this.state = isSettled ? 'confirmed' : 'open';
    this.#assessmentToken = assessmentToken;
    this.#send = send;
    this.#changed = changed;
  }

  /** The time counts as long as nothing is paused. */
  setPaused(isPaused) {
    this.#stopwatch.run(!isPaused);
  }

  /** The learner's answer; a question takes one. */
  give(value) {
    if (this.state !== 'open') {
      return;
    }
    const responseTime = this.#stopwatch.elapsedMs;
    this.#sent = answerOf(this.question, value, { responseTime, assessmentToken: this.#assessmentToken });
    this.prior = value;
    this.fault = '';
    this.#become('sending');
    this.repeat();
  }

  /** Says the answer again if nobody has confirmed it. */
  repeat() {
    clearTimeout(this.#timer);
    if (this.state === 'sending') {
      this.#send(this.#sent.type, this.#sent.payload);
      this.#timer = setTimeout(() => this.repeat(), REPEAT_MS);
    }
  }

  /** A presenter has an answer of this learner's; value: which, if that is known. */
  confirm(value = this.prior) {
    clearTimeout(this.#timer);
    this.prior = value;
    this.fault = '';
    this.#become('confirmed');
  }

  /** What has counted does not count any more: the question was asked anew. */
  reopen() {
    if (this.state === 'confirmed' && !this.#isSettled) {
      this.#become('open');
    }
  }

  /** The service has something against what was sent. */
  refuse(message) {
    if (this.state === 'sending' && Object.hasOwn(FAULTS, message)) {
      clearTimeout(this.#timer);
      this.fault = FAULTS[message];
      this.#become('open');
    }
  }

  end() {
    clearTimeout(this.#timer);
    this.#stopwatch.run(false);
  }

  #become(state) {
    this.state = state;
    this.#changed();
  }
}

/** What tells a question from others, of the body that it came in: one that is sent again as it was is the same. */
export function identityOf({ type, data }) {
  return `${type} ${JSON.stringify(data)}`;
}
