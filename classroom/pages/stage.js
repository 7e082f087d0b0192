// What the presenter has put before the learner, on the page: the card, the question, the pause, the way
// through an assessment.

import { explainBrokenPictures, pictureFor } from './picture.js';
import { viewOf } from './questions/index.js';

const CARD = 'The picture that your teacher shows';

// Who has pressed a key in a field so shortly before is still typing, even if the field is gone.
const TYPING_MS = 2_000;
const LAST_KEYS = ['Enter', 'Tab'];

const find = (id) => document.getElementById(id);

export class Stage {
  #announcer;
  #lesson = null;
  #answering = null; // that the view is of
  #view = null;
  #card = null;
  #fault = '';
  #typedAt = -Infinity;

  constructor(announcer) {
    this.#announcer = announcer;
    explainBrokenPictures(find('stage'));
    document.addEventListener('keydown', ({ key }) => this.#takeKey(key), true);
    find('back').addEventListener('click', () => this.#lesson.go(-1));
    find('on').addEventListener('click', () => this.#lesson.go(1));
  }

  /** Shows what a lesson says now. */
  show(lesson) {
    this.#lesson = lesson;
    this.#showCard(lesson);
    this.#showQuestion(lesson.question);
    this.#showWays(lesson);
    const isSaid = lesson.question?.state === 'open'; // by the question itself
    find('pause').hidden = !lesson.isPaused || isSaid;
  }

  #showCard({ isCardShown, card }) {
    const shown = isCardShown ? card : null;
    find('card').hidden = shown === null;
    if (shown === this.#card) {
      return;
    }
    this.#card = shown;
    find('card').replaceChildren(...shown === null ? [] : [pictureFor(shown.picture, CARD)]);
    if (shown !== null) {
      this.#announcer.say('Your teacher shows a picture.', 'card');
    }
  }

  #showQuestion(answering) {
    find('question').hidden = answering === null;
    if (answering !== this.#answering) {
      this.#change(answering);
    }
    if (answering !== null && answering.state !== 'open') {
      this.#typedAt = -Infinity; // who has sent an answer has written it
    }
    if (answering !== null) {
      this.#view.state(answering.state === 'open' && this.#lesson.isPaused ? 'paused' : answering.state);
    }
    this.#showFault(answering?.fault ?? '');
  }

  #change(answering) {
    const isTyping = this.#isTyping();
    this.#dropView();
    this.#answering = answering;
    if (answering === null) {
      return;
    }
    const { question, prior } = answering;
    this.#view = viewOf({ ...question, number: 0 }, { // where it is in the set, the page says
      prior: prior ?? this.#lesson.assessment?.draftOf(question) ?? undefined,
      onAnswer: (value) => this.#lesson.answer(value),
      announce: (sentence) => this.#announcer.say(sentence, 'answer'),
    });
    find('question').replaceChildren(this.#view.element);
    this.#lead(isTyping);
  }

  #takeKey(key) {
    if (LAST_KEYS.includes(key)) {
      this.#typedAt = -Infinity;
    } else if (this.#isTyping()) {
      this.#typedAt = performance.now();
    }
  }

  #isTyping() {
    return this.#view?.isTyping() || performance.now() - this.#typedAt < TYPING_MS;
  }

  // Keys that were meant for what has gone would answer what has come.
  #lead(isTyping) {
    const place = this.#isInSet() ? ` ${describe(this.#lesson.assessment)}` : '';
    if (isTyping) {
      this.#announcer.say(`A new question: ${this.#view.focusTarget.textContent}${place}`, 'question');
    } else {
      this.#announcer.say(`A new question.${place}`, 'question');
      this.#view.focusTarget.focus();
    }
  }

  // What is written and not sent is there again when the learner comes back to the question.
  #dropView() {
    if (this.#view === null) {
      return;
    }
    const { state, question } = this.#answering;
    if (state === 'open' && question.isAssessment) {
      this.#lesson.assessment?.keepDraft(question, this.#view.value());
    }
    this.#view.destroy?.();
    this.#view = null;
  }

  #showFault(fault) {
    find('fault').hidden = fault === '';
    find('fault').textContent = fault;
    if (fault !== '' && fault !== this.#fault) {
      this.#announcer.say(fault, 'answer');
    }
    this.#fault = fault;
  }

  #isInSet() {
    return this.#lesson.assessment !== null && this.#answering?.question.isAssessment === true;
  }

  #showWays({ assessment, ways }) {
    const isInSet = this.#isInSet();
    find('set').hidden = !isInSet;
    find('set').textContent = isInSet ? describe(assessment) : '';
    if (ways.isFinished && find('finished').hidden) {
      this.#announcer.say(find('finished').textContent, 'finished');
    }
    find('finished').hidden = !ways.isFinished;
    find('back').hidden = !ways.back;
    find('on').hidden = !ways.on || ways.byItself;
    find('on').textContent = this.#answering?.state === 'open' ? 'Skip' : 'Next';
    find('ways').hidden = find('back').hidden && find('on').hidden;
  }
}

function describe({ title, place: { place, count }, isTimed }) {
  const set = title === '' ? '' : `${title}: `;
  return `${set}question ${place} of ${count}${isTimed ? '. The time is limited' : ''}.`;
}
