// How a question looks on a learner's page, and how it is answered there.

import { pictureFor } from '../picture.js';
import { Choices } from './choices.js';
import { Ideas } from './creative.js';
import { freshId, make, setLocked } from './dom.js';
import { Formula } from './formula.js';
import { writeText } from './math.js';
import { valueOf } from './normal.js';
import { NumberField } from './number.js';
import { scale } from './scale.js';
import { Sort } from './sort.js';
import { Text, WordSeed } from './text.js';

export { answerOf, normalise, valueOf } from './normal.js';

// By kind: what the learner answers with, and what stands for a question that was asked aloud.
const KINDS = {
  'true-false': [makerOf(Choices), 'True or false?'],
  'yes-no-other': [makerOf(Choices), 'Yes or no?'],
  'multiple': [makerOf(Choices), 'Choose an answer'],
  'scale': [scale, 'Where on the scale?'],
  'sort': [makerOf(Sort), 'Put these in order'],
  'text': [makerOf(Text), 'Write your answer'],
  'word-seed': [makerOf(WordSeed), 'Write a word'],
  'number': [makerOf(NumberField), 'Write a number'],
  'creative': [makerOf(Ideas), 'Write your ideas'],
  'math formula': [makerOf(Formula), 'Write a formula'],
};

const STATES = {
  open: '',
  sending: 'Sending\u2026',
  confirmed: 'Your teacher has your answer.',
  paused: 'Your teacher has paused. You can send your answer when the class goes on.',
};
const GOES_ON = 'You can answer again.';

/**
 * The view of a question that was made by normalise(): {element, focusTarget, isTyping(), value(),
 * restore(value), state(kind), destroy()}.
 * prior: what was answered before, a value or an answer as it was sent; without it, what the question says.
 * onAnswer(value) is called once for each answer; the view is "sending" from then on.
 * announce(text) tells people who do not see the page.
 */
export function viewOf(question, { prior = question.prior, onAnswer, announce = () => {} }) {
  const view = new View(question, { onAnswer, announce });
  const isValue = typeof prior !== 'object' || Array.isArray(prior);
  view.restore(isValue ? prior : valueOf(question, prior));
  return view;
}

class View {
  element;
  focusTarget;
  #kind;
  #button = make('button', { type: 'submit', class: 'send' }, 'Send answer');
  #note = make('p', { class: 'question-state' });
  #advice = make('p', { class: 'advice', id: freshId('advice') });
  #state = 'open';
  #onAnswer;
  #announce;

  constructor(question, { onAnswer, announce }) {
    this.#onAnswer = onAnswer;
    this.#announce = announce;
    const [maker, instead] = kindOf(question);
    this.focusTarget = make('h2', { class: 'question-text', id: freshId('question'), tabindex: '-1', dir: 'auto' });
    writeText(this.focusTarget, question.text || instead, question);
    this.#kind = maker(question, {
      headingId: this.focusTarget.id,
      adviceId: this.#advice.id,
      submit: () => this.#submit(),
      changed: () => this.#changed(),
      announce,
    });
    this.element = this.#formOf(question);
    this.#show();
  }

  /** Whether the learner is writing just now: nothing should take the focus away then. */
  isTyping() {
    const focused = document.activeElement;
    return this.element.contains(focused) && focused.matches('textarea, input[type=text]') && !focused.readOnly;
  }

  /** What is chosen or written, also if it cannot be sent yet; null when there is nothing. */
  value() {
    return this.#kind.draft();
  }

  /** Shows such a value again. */
  restore(value) {
    if (isFor(this.#kind, value)) {
      this.#kind.restore(value);
      this.#show();
    }
  }

  /** kind: open, sending, confirmed (nothing can be changed in both), or paused (nothing can be sent). */
  state(kind) {
    const before = this.#state;
    if (kind === before) {
      return;
    }
    this.#state = kind;
    this.#show();
    if (['confirmed', 'paused'].includes(kind)) {
      this.#announce(STATES[kind]);
    } else if (before === 'paused' && kind === 'open') {
      this.#announce(GOES_ON);
    }
  }

  destroy() {
    this.#onAnswer = () => {};
    this.#announce = () => {};
    this.element.remove();
  }

  #formOf(question) {
    const { isGroup } = this.#kind;
    const body = isGroup
      ? make('fieldset', { 'aria-describedby': this.#advice.id }, make('legend', {}, this.focusTarget))
      : make('div', {}, this.focusTarget);
    body.append(...hintOf(question), this.#kind.element);
    const form = make('form', { class: 'question', novalidate: '' }, ...introductionOf(question), body,
      this.#button, this.#note, this.#advice);
    form.addEventListener('submit', (event) => {
      event.preventDefault();
      this.#submit();
    });
    form.addEventListener('keydown', (event) => this.#kind.keyDown?.(event));
    return form;
  }

  #submit() {
    if (this.#state !== 'open') {
      return;
    }
    const value = this.#kind.value();
    if (value === null) {
      this.#note.textContent = this.#kind.complaint();
      this.#announce(this.#kind.complaint());
      return;
    }
    this.state('sending');
    this.#onAnswer(value);
  }

  #changed() {
    this.#note.textContent = STATES[this.#state];
    this.#showButton();
  }

  #show() {
    this.element.dataset.state = this.#state;
    this.#note.textContent = STATES[this.#state];
    this.#kind.lock({ isSent: ['sending', 'confirmed'].includes(this.#state), isPaused: this.#state === 'paused' });
    setLocked(this.#button, this.#state !== 'open');
    this.#showAdvice();
    this.#showButton();
  }

  // It would also be read where it is hidden, because it describes other parts.
  #showAdvice() {
    const { touch, keys } = this.#kind.advice;
    const parts = this.#state === 'open' ? [touch, ' ', make('span', { class: 'advice-keys' }, keys)] : [];
    this.#advice.replaceChildren(...parts);
  }

  // Once shown it stays: what has the focus must not go.
  #showButton() {
    const isUseful = this.#kind.hasButton && this.#state === 'open';
    this.#button.hidden = !isUseful && (this.#button.hidden || !this.#kind.hasButton);
  }
}

// A kind that is not known is answered with an option if it has any, and otherwise in words.
function kindOf({ kind, options }) {
  const isKnown = Object.hasOwn(KINDS, kind);
  if (options.length > 0 && (kind === 'creative' || !isKnown)) {
    return KINDS.multiple;
  }
  return isKnown ? KINDS[kind] : KINDS.text;
}

function isFor({ isList }, value) {
  return isList ? Array.isArray(value) : typeof value === 'string';
}

function makerOf(Kind) {
  return (question, host) => new Kind(question, host);
}

function introductionOf({ isAssessment, number, picture, passage, hasFormulas }) {
  const parts = [];
  if (isAssessment && number > 0) {
    parts.push(make('p', { class: 'question-number' }, `Question ${number}`));
  }
  if (picture) {
    parts.push(pictureFor(picture, 'The picture that goes with the question', 'question-picture'));
  }
  if (passage) {
    parts.push(make('p', { class: 'question-passage', dir: 'auto' }));
    writeText(parts.at(-1), passage, { hasFormulas });
  }
  return parts;
}

function hintOf({ hint, hasFormulas }) {
  const element = make('p', { class: 'question-hint', dir: 'auto' });
  writeText(element, hint, { hasFormulas });
  return hint ? [element] : [];
}