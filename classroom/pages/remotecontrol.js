// The remote's side of a class, without a page: it sends commands over a line, hears what the presenter
// shows it, and tells in words what has become of both.

import { COMMANDS, whatIsOn } from './commands.js';

// A presenter that is there answers at once; one that cannot be reached never does.
const ANSWER_MS = 5_000;

const NOT_SENT = 'Not sent: the connection is down. Press again when it is back.';

const REFUSED = 'That was not taken. Press again. If it does not help, load this page again.';

// By the code that a line is closed with for good: what there is to do.
const ENDINGS = {
  3001: 'The class has ended.',
  3004: 'Another window has taken over this remote.',
  3008: 'The teacher has removed this remote.',
  3009: 'The class does not know this remote any more.',
};

/**
 * Emits 'change' when one of the properties has changed, 'said' {sentence} for what a person should hear,
 * and 'ended' {code, sentence}. presenter: 'unknown', 'there' or 'silent'; connection: 'opening', 'open',
 * 'lost' or 'ended'. Whoever makes it opens the line.
 */
export class RemoteControl extends EventTarget {
  connection = 'opening';
  presenter = 'unknown';
  #line;
  #answerMs;
  #answerTimer = null;
  #lesson = null;
  #card = null;

  constructor(line, { answerMs = ANSWER_MS } = {}) {
    super();
    this.#line = line;
    this.#answerMs = answerMs;
    line.addEventListener('open', () => this.#opened());
    line.addEventListener('lost', () => this.#lost());
    line.addEventListener('ended', ({ detail }) => this.#ended(detail));
    line.addEventListener('refused', () => this.#say(REFUSED));
    line.addEventListener('message', ({ detail }) => this.#heard(detail));
  }

  /** What is on, in words. */
  get lesson() {
    return whatIsOn(this.#lesson, this.#card);
  }

  /** Sends one command, or says why not. A promise of whether it has left. */
  async send(command, data = {}) {
    const isSent = this.#line.isOpen && await this.#line.publish(command, data);
    if (isSent && command === 'presenterActive') {
      this.#awaitPresenter();
    }
    this.#say(isSent ? COMMANDS[command].said : NOT_SENT);
    return isSent;
  }

  // What is on may have changed while nobody listened.
  async #opened() {
    if (this.connection === 'lost') {
      this.#say('The connection is back.');
    }
    this.connection = 'open';
    this.#changed();
    await this.#line.publish('requestLessonInfo', {});
    if (await this.#line.publish('presenterActive', {})) {
      this.#awaitPresenter();
    }
  }

  #lost() {
    clearTimeout(this.#answerTimer);
    this.presenter = 'unknown';
    if (this.connection !== 'lost') {
      this.connection = 'lost';
      this.#say('The connection is lost. It is being opened again.');
    }
    this.#changed();
  }

  #ended({ code, reason }) {
    clearTimeout(this.#answerTimer);
    this.connection = 'ended';
    this.presenter = 'unknown';
    this.#changed();
    this.#tell('ended', { code, sentence: ENDINGS[code] ?? reason });
  }

  #heard({ body, data }) {
    switch (body.type) {
      case 'currentLesson': this.#lesson = data ?? {}; break;
      case 'currentCard': this.#card = data ?? {}; break;
      case 'presenterIsActive': break;
      default: return;
    }
    this.#presenterIsThere();
    this.#say(body.type === 'presenterIsActive' ? 'The presenter is there.' : `${this.lesson}.`);
  }

  #presenterIsThere() {
    clearTimeout(this.#answerTimer);
    this.presenter = 'there';
    this.#changed();
  }

  #awaitPresenter() {
    clearTimeout(this.#answerTimer);
    this.#answerTimer = setTimeout(() => {
      this.presenter = 'silent';
      this.#changed();
      this.#say('The presenter does not answer.');
    }, this.#answerMs);
  }

  #say(sentence) {
    this.#tell('said', { sentence });
  }

  #changed() {
    this.#tell('change', {});
  }

  #tell(name, detail) {
    this.dispatchEvent(new CustomEvent(name, { detail }));
  }
}
