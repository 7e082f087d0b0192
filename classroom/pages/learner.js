// The learner's page: the way in, what the class shows, and the way out.

import { codeInPath, transportsInQuery } from './address.js';
import { Announcer, tellIn } from './announcer.js';
import { LearnerClass, PHASES } from './class.js';
import { Identity } from './identity.js';
import { tooManyAttempts } from './service.js';
import { Stage } from './stage.js';

const { ENTRANCE, JOINING, IN, REMOVED, ENDED, REPLACED } = PHASES;

const TITLE = 'Classroom';

const SECOND_MS = 1_000;

// Screens that are narrower are phones'.
const TABLET_PX = 600;

// What went wrong with the name, and not with the code.
const ABOUT_NAME = ['name', 'request.error.wrongValue'];
const ABOUT_CODE = ['code', 'session.error.unknownSession'];

// By the state of the answer.
const QUESTION_STATES = { open: 'Question', sending: 'Sending your answer', confirmed: 'Answer received' };

const WAITING = ['You are in', 'Wait for your teacher. What comes next appears here by itself.'];
const NEXT = ['One moment', 'The next question is on its way.'];
const COVERED = ['Your teacher shows a picture', ''];

// By phase: the title, the text, and the button with what it does.
const MESSAGES = {
  [JOINING]: ['Joining the class', 'One moment.'],
  [ENDED]: ['The class has ended', 'Thank you for taking part. You can close this page.', 'Join another class'],
  [REMOVED]: ['You were removed from the class', 'Your teacher sent you away. Ask your teacher before you join again.', 'Join again'],
  [REPLACED]: ['This class is open in another tab', 'You can take part in one tab only.', 'Use this one'],
};

const find = (id) => document.getElementById(id);

class Page {
  #class;
  #announcer = new Announcer(tellIn(find('announcements')));
  #stage = new Stage(this.#announcer);
  #failure = null;
  #retryAt = null; // when a learner may try again to join
  #retryTimer = null;
  #message = null;
  #dialog = null;
  #ticking = null;
  #wasLost = false;

  constructor(learnerClass) {
    this.#class = learnerClass;
    learnerClass.addEventListener('change', () => this.#show());
    find('entrance').addEventListener('submit', (event) => this.#enter(event));
    find('message-button').addEventListener('click', () => this.#pressed());
    find('dialog').addEventListener('cancel', (event) => this.#keepDialog(event));
    find('dialog').addEventListener('close', () => this.#dialogClosed());
  }

  open(code) {
    find('code').value = code;
    if (this.#class.comeBack(code)) {
      find('code').value = this.#class.code;
      find('name').value = this.#class.name;
    } else {
      this.#show();
      find(code === '' ? 'code' : 'name').focus();
    }
  }

  #enter(event) {
    event.preventDefault();
    this.#class.join({ code: find('code').value, name: find('name').value });
  }

  #pressed() {
    if (this.#class.phase === REPLACED) {
      this.#class.useThis();
    } else {
      find('code').value = this.#class.phase === REMOVED ? this.#class.code : '';
      this.#class.leave();
      find('code').focus();
    }
  }

  #show() {
    const { phase, lesson } = this.#class;
    find('stage').hidden = phase !== IN;
    this.#stage.show(lesson);
    this.#showEntrance(phase === ENTRANCE);
    this.#showMessage(this.#messageNow());
    this.#showDialog(phase === IN ? lesson.dialog : null);
    this.#showLine();
    this.#showNames();
    document.title = `${this.#stateInWords()} \u2013 ${TITLE}`;
  }

  #showEntrance(isThere) {
    const { failure } = this.#class;
    find('entrance').hidden = !isThere;
    find('entrance-fault').hidden = failure === null;
    if (failure !== this.#failure) {
      markFault(find('name'), ABOUT_NAME.includes(failure?.key));
      markFault(find('code'), ABOUT_CODE.includes(failure?.key));
    }
    if (failure !== this.#failure && failure !== null) {
      this.#announcer.say(failure.sentence, 'entrance');
      find(ABOUT_NAME.includes(failure.key) ? 'name' : 'code').focus();
      this.#retryAt = failure.retrySeconds ? Date.now() + failure.retrySeconds * SECOND_MS : null;
      this.#showFailure(failure);
    }
    this.#failure = failure;
  }

  // Who has to wait sees for how long.
  #showFailure({ sentence }) {
    clearTimeout(this.#retryTimer);
    if (this.#retryAt === null) {
      find('entrance-fault').textContent = sentence;
      return;
    }
    const seconds = Math.ceil((this.#retryAt - Date.now()) / SECOND_MS);
    find('entrance-fault').textContent = tooManyAttempts(seconds);
    if (seconds > 0) {
      this.#retryTimer = setTimeout(() => this.#showFailure({ sentence }), SECOND_MS);
    }
  }

  // What stands in the place of a question, or null.
  #messageNow() {
    const { phase, lesson: { question, assessment, isCardShown } } = this.#class;
    if (phase !== IN) {
      return MESSAGES[phase] ?? null;
    }
    if (question !== null) {
      return null;
    }
    if (assessment?.isAwaited) {
      return NEXT;
    }
    return isCardShown ? COVERED : WAITING;
  }

  #showMessage(message) {
    find('message').hidden = message === null;
    const [title, text, button] = message ?? [''];
    if (message === this.#message) {
      return;
    }
    const { activeElement } = document;
    const hadFocus = find('message').contains(activeElement) || activeElement.offsetParent === null; // or nothing has
    this.#message = message;
    find('message').classList.toggle('caption', message === COVERED);
    find('message-title').textContent = title;
    find('message-text').textContent = text ?? '';
    find('message-button').textContent = button ?? '';
    find('message-button').hidden = button === undefined;
    if (message !== null && message !== COVERED) { // a picture is told of where it is shown
      this.#announcer.say(`${title}. ${text}`, 'question');
    }
    if (message !== null && hadFocus) {
      find('message-title').focus();
    }
  }

  #showDialog(shown) {
    const dialog = find('dialog');
    if (shown !== this.#dialog) {
      this.#dialog = shown;
      find('dialog-title').textContent = shown?.isReview ? 'Look at your answers again' : 'From your teacher';
      find('dialog-text').textContent = shown?.text ?? '';
      find('dialog-close').hidden = shown?.isDismissible === false;
    }
    if (shown === null) {
      dialog.close();
    } else if (!dialog.open) {
      dialog.showModal();
    }
  }

  #keepDialog(event) {
    if (this.#dialog?.isDismissible === false) {
      event.preventDefault();
    }
  }

  // Browsers close it at the second press of Escape, whatever they are told.
  #dialogClosed() {
    if (this.#dialog?.isDismissible === false) {
      find('dialog').showModal();
    } else if (this.#dialog !== null) {
      this.#class.lesson.closeDialog();
    }
  }

  #showLine() {
    const { phase, connection: { isOpen, retryAt } } = this.#class;
    const isLost = phase === IN && !isOpen;
    clearTimeout(this.#ticking);
    find('line').hidden = !isLost;
    if (isLost) {
      const seconds = Math.ceil((retryAt - Date.now()) / SECOND_MS);
      const again = seconds > 0 ? `in ${seconds} s` : 'now';
      find('line').textContent = `The connection is lost. Trying again ${again}.`;
      this.#ticking = setTimeout(() => this.#showLine(), SECOND_MS);
    }
    if (isLost !== this.#wasLost) {
      this.#announcer.say(isLost ? 'The connection is lost. It is tried again by itself.' : 'The connection is back.', 'line');
    }
    this.#wasLost = isLost;
  }

  #showNames() {
    const { phase, code, name } = this.#class;
    const isInside = [JOINING, IN, REPLACED].includes(phase);
    find('class-name').textContent = isInside ? `Class ${code}` : TITLE;
    find('who').textContent = isInside ? name : '';
    if (phase === IN && location.pathname !== pathTo(code)) {
      history.replaceState(null, '', pathTo(code) + location.search);
    }
  }

  #stateInWords() {
    const { phase, connection, lesson: { question, isPaused } } = this.#class;
    if (phase !== IN) {
      return MESSAGES[phase]?.[0] ?? 'Join the class';
    }
    if (!connection.isOpen) {
      return 'Connection lost';
    }
    if (isPaused) {
      return 'Paused';
    }
    return question === null ? this.#message[0] : QUESTION_STATES[question.state];
  }
}

// Whoever comes to the field hears what is wrong with it.
function markFault(field, isWrong) {
  const attributes = { 'aria-invalid': 'true', 'aria-describedby': 'entrance-fault' };
  for (const name in attributes) {
    if (isWrong) {
      field.setAttribute(name, attributes[name]);
    } else {
      field.removeAttribute(name);
    }
  }
}

function pathTo(code) {
  return `/join/${encodeURIComponent(code)}`;
}

// What the teacher's list shows beside the name.
function deviceType() {
  if (!matchMedia('(pointer: coarse)').matches) {
    return 'laptop';
  }
  return Math.min(screen.width, screen.height) < TABLET_PX ? 'phone' : 'tablet';
}

// Browsers may be set to refuse even the question for it.
function tabStorage() {
  try {
    return window.sessionStorage;
  } catch {
    return null;
  }
}

const options = { deviceType: deviceType(), transports: transportsInQuery() };
new Page(new LearnerClass(new Identity(tabStorage()), options)).open(codeInPath());
