// A class as one learner's device knows it: from the way in to the end. No page is touched here; the page
// shows what the properties say, and hears 'change' when they say something else.

import { cleanCode, cleanName } from './identity.js';
import { Lesson } from './lesson.js';
import { Line } from './line.js';
import { canBeTriedAgain, failureOf, join } from './service.js';
import { textOf } from './values.js';

// Where a learner is. ENTRANCE: not in a class; REPLACED: another tab of this browser took over.
export const PHASES = {
  ENTRANCE: 'entrance',
  JOINING: 'joining',
  IN: 'in',
  REMOVED: 'removed',
  ENDED: 'ended',
  REPLACED: 'replaced',
};

const { ENTRANCE, JOINING, IN, REMOVED, ENDED, REPLACED } = PHASES;

// Until a device that the service does not know any more asks once more: at least so long, and at most half
// as long again, so that a class does not ask in one moment.
const JOIN_AGAIN_MS = 3_000;
const JITTER = 0.5;

// The first that a device hears on a new line is what goes on. One that the service has not known before
// hears nothing if nothing does, however large a picture may be that takes its time.
const UNSURE_MS = 10_000;
const NOTHING = { paused: false, messages: [], answers: [] };

const NO_NAME = { key: 'name', sentence: 'Type your name, so that your teacher knows you.' };
const NO_CODE = { key: 'code', sentence: 'Type the code that your teacher shows.' };

export class LearnerClass extends EventTarget {
  phase = ENTRANCE;
  failure = null; // {key, sentence, retrySeconds}: why joining failed
  connection = { isOpen: false, retryAt: null }; // retryAt: when it is tried again, as Date.now()
  code = '';
  name = '';
  lesson;
  #line = null;
  #identity;
  #options;
  #joinTimer = null;
  #isUnsure = false; // whether what is on the screen still goes on; until that is known, nothing is answered
  #unsureTimer = null;

  /** identity: what the tab remembers; options: {deviceType, transports, origin, unsureMs}. */
  constructor(identity, options = {}) {
    super();
    this.#identity = identity;
    this.#options = options;
    this.lesson = this.#emptyLesson();
  }

  /** Comes back to the class that this tab was in; says whether there is one. code: only to that one. */
  comeBack(code = '') {
    const { known } = this.#identity;
    if (!known || (code !== '' && code !== known.code)) {
      return false;
    }
    this.#join(known, (failure) => (isOver(failure) ? this.#end(ENDED) : this.#failed(failure)));
    return true;
  }

  /** Joins with what a learner has typed. Pressed twice, it is one join. */
  async join({ code, name }) {
    if (this.phase === JOINING) {
      return;
    }
    const typed = { code: cleanCode(code), name: cleanName(name) };
    const [missing] = [typed.code === '' && NO_CODE, typed.name === '' && NO_NAME].filter(Boolean);
    if (missing) {
      this.#failed(missing);
    } else {
      await this.#join(typed, (failure) => this.#failed(failure));
    }
  }

  /** Takes the line back from another tab. */
  useThis() {
    this.#isUnsure = true;
    this.#enter(JOINING);
    this.#line.open();
  }

  /** Back to the way in. */
  leave() {
    this.#end(ENTRANCE);
  }

  // ---- Joining ----------------------------------------------------------------------------------

  async #join({ code, name }, failed) {
    Object.assign(this, { code, name, failure: null });
    this.#enter(this.phase === IN ? IN : JOINING);
    try {
      const tokens = await join({ code, name, deviceType: this.#options.deviceType });
      this.#identity.remember(code, name);
      this.#openLine(tokens);
    } catch (error) {
      failed(failureOf(error));
    }
  }

  #failed(failure) {
    this.failure = failure;
    this.#enter(ENTRANCE);
  }

  #openLine({ sessionToken, userToken }) {
    const { transports, origin } = this.#options;
    const places = ['', '.learner', `.user.${userToken}`];
    this.#line?.close();
    const line = new Line({ sessionToken, userToken, places, transports, origin });
    this.#line = line;
    const hear = (name, react) => line.addEventListener(name, ({ detail }) => this.#line === line && react(detail));
    hear('open', () => this.#opened());
    hear('message', (message) => this.#hear(message));
    hear('refused', ({ message }) => this.lesson.refuse(message));
    hear('lost', ({ waitMs }) => this.#lost(waitMs));
    hear('ended', ({ code }) => this.#ended(code));
    line.open();
  }

  #opened() {
    clearTimeout(this.#unsureTimer);
    this.connection = { isOpen: true, retryAt: null };
    this.#line.publish('join', { userName: this.name, deviceType: this.#options.deviceType });
    this.#unsureTimer = setTimeout(() => this.#nothingGoesOn(), this.#options.unsureMs ?? UNSURE_MS);
    this.#enter(IN);
  }

  #lost(waitMs) {
    clearTimeout(this.#unsureTimer);
    this.#isUnsure = true;
    this.connection = { isOpen: false, retryAt: Date.now() + waitMs };
    this.#enter(IN);
  }

  #hear({ address, body, data }) {
    if (body.action === 'state') {
      this.#takeState(data);
      return;
    }
    this.#nothingGoesOn();
    if (body.action === 'confirmed') {
      this.lesson.confirm(textOf(body.questionId));
    } else {
      this.#take(address, body, data);
    }
  }

  // What was answered while the line was lost goes out when it is known that it is still asked.
  #takeState(state) {
    clearTimeout(this.#unsureTimer);
    this.#isUnsure = false;
    this.lesson.takeState(state);
    this.lesson.repeat();
  }

  // The service would have said so by now.
  #nothingGoesOn() {
    if (this.#isUnsure) {
      this.#takeState(NOTHING);
    }
  }

  // Who is sent away alone hears it on an address of its own, and is hung up on.
  #take(address, body, data) {
    const isGoodbye = body.type === 'disconnect';
    if (isGoodbye && body.from !== '' && address.includes('.user.')) {
      this.#end(REMOVED);
    } else if (isGoodbye) {
      this.#end(ENDED);
    } else {
      this.lesson.take(body, data);
    }
  }

  // ---- The end ----------------------------------------------------------------------------------

  #ended(code) {
    switch (code) {
      case 3001: this.#end(ENDED); break;
      case 3004: this.#enter(REPLACED); break;
      case 3008: this.#end(REMOVED); break;
      default: this.#joinAgain(); break;
    }
  }

  // The service does not know this device any more, which was away for too long.
  #joinAgain() {
    this.connection = { isOpen: false, retryAt: null };
    this.#isUnsure = true;
    this.#enter(IN);
    this.#join(this, (failure) => this.#joinedNotAgain(failure));
  }

  #joinedNotAgain(failure) {
    if (isOver(failure)) {
      this.#end(ENDED);
    } else if (canBeTriedAgain(failure)) {
      const waitMs = (failure.retrySeconds * 1_000 || JOIN_AGAIN_MS) * (1 + JITTER * Math.random());
      this.#lost(waitMs);
      this.#joinTimer = setTimeout(() => this.#joinAgain(), waitMs);
    } else {
      this.failure = failure;
      this.#end(ENTRANCE);
    }
  }

  #end(phase) {
    clearTimeout(this.#joinTimer);
    clearTimeout(this.#unsureTimer);
    this.#isUnsure = false;
    this.#line?.close();
    this.#line = null;
    this.lesson.end();
    this.lesson = this.#emptyLesson();
    this.#identity.forget();
    this.#enter(phase);
  }

  #emptyLesson() {
    return new Lesson({
      identity: this.#identity,
      say: (type, payload) => !this.#isUnsure && this.#line?.publish(type, payload),
      changed: () => this.#changed(),
    });
  }

  #enter(phase) {
    this.phase = phase;
    this.#changed();
  }

  #changed() {
    this.dispatchEvent(new Event('change'));
  }
}

function isOver({ key }) {
  return key === 'session.error.unknownSession';
}
