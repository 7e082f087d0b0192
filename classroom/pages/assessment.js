// A learner's way through a set of questions: which one is asked for, and where it may go from there.

import { countOf, textOf } from './values.js';

const REPEAT_MS = 3_000;

export class Assessment {
  token;
  title;
  isTimed;
  mayResubmit;
  #first;
  #count;
  #isFree; // to go back and forth
  #maySkip;
  #number;
  #isAwaited = true;
  #given = new Map(); // by question: the learner's answers
  #drafts = new Map(); // by question: what was written and not sent
  #timer = null;
  #ask;

  /** options: of "assessmentStart"; number: where the learner was, or null; ask(number): asks the presenter. */
  constructor(options, number, ask) {
    this.token = textOf(options.assessmentToken);
    this.title = typeof options.title === 'string' ? options.title : '';
    this.isTimed = options.allowedTime > 0;
    this.mayResubmit = options.allowResubmitResponse !== false;
    this.#first = countOf(options.startingQuestionNumber);
    this.#count = countOf(options.questionCount) || 1;
    this.#isFree = options.allowNavigateQuestionSet === true;
    this.#maySkip = options.allowSkipQuestion === true;
    this.#number = this.#holds(number) ? number : this.#first;
    this.#ask = ask;
  }

  get number() {
    return this.#number;
  }

  /** How far it is: {place, count}, for the learner. */
  get place() {
    return { place: this.#number - this.#first + 1, count: this.#count };
  }

  get isAwaited() {
    return this.#isAwaited;
  }

  /** Asks for the first question, unless it comes by itself: who comes back is told it. */
  begin() {
    this.#timer = setTimeout(() => this.repeat(), 0);
  }

  /** Asks until the question is there. */
  repeat() {
    clearTimeout(this.#timer);
    if (this.#isAwaited) {
      this.#ask(this.#number);
      this.#timer = setTimeout(() => this.repeat(), REPEAT_MS);
    }
  }

  /** A question has come. */
  came(number) {
    this.#isAwaited = false;
    clearTimeout(this.#timer);
    if (this.#holds(number)) {
      this.#number = number;
    }
  }

  keepAnswer(question, value) {
    this.#given.set(keyOf(question), value);
  }

  answerTo(question) {
    return this.#given.get(keyOf(question)) ?? null;
  }

  keepDraft(question, value) {
    this.#drafts.set(keyOf(question), value);
  }

  draftOf(question) {
    return this.#drafts.get(keyOf(question)) ?? null;
  }

  /** Where the learner may go from a question in a state: {back, on, byItself, isFinished}. */
  ways({ question, state }) {
    const isFree = this.#isFree || question.navigable;
    const hasNext = this.#holds(this.#number + 1);
    const isDone = state === 'confirmed';
    const on = hasNext && state !== 'sending' && (isDone || isFree || this.#maySkip);
    return {
      back: isFree && state !== 'sending' && this.#holds(this.#number - 1),
      on,
      byItself: on && isDone && !isFree,
      isFinished: isDone && !hasNext,
    };
  }

  /** Asks for the question that is so far from this one. */
  go(steps) {
    if (this.#holds(this.#number + steps)) {
      this.#number += steps;
      this.#isAwaited = true;
      this.repeat();
    }
  }

  end() {
    clearTimeout(this.#timer);
  }

  #holds(number) {
    return Number.isInteger(number) && number >= this.#first && number < this.#first + this.#count;
  }
}

// Questions that a host makes within a second share their id.
function keyOf({ id, number, kind, text }) {
  return JSON.stringify([id, number, kind, text]);
}
