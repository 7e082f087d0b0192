// What is going on in a session, so that a device that comes late or comes back can be told: the card, the
// question, the pause, a learner's assessment, and the answers that have been given. It is read off the
// presenter's messages (bus/message.js) as they pass, without unpacking them: what is kept is what was sent.

/** The types of the messages that ask something. */
export const QUESTION_TYPES = ['poll', 'questionStart'];
const ASSESSMENT = 'Assessment';

// Answers to one question, by its id, as the JSON texts they take little room as. No more characters are
// kept than are allowed, and none is forgotten for another: whoever could make room would answer twice.
class Answers {
  #byQuestion = new Map();
  #chars = 0;

  has(questionId) {
    return this.#byQuestion.has(questionId);
  }

  hasRoomFor(answer, maxChars) {
    return this.#chars + JSON.stringify(answer).length <= maxChars;
  }

  add(questionId, answer) {
    const text = JSON.stringify(answer);
    this.#byQuestion.set(questionId, text);
    this.#chars += text.length;
  }

  clear() {
    this.#byQuestion.clear();
    this.#chars = 0;
  }

  get texts() {
    return [...this.#byQuestion.values()];
  }
}

// What is kept of one learner. Questions of one kind may share their id, so that an answer counts until
// the next question comes.
class Work {
  assessment = null; // the message that started it
  question = null; // that was sent to this learner alone: the message
  toAll = new Answers(); // to the question that everybody has
  toOne = new Answers(); // to the question that this learner has alone

  ask(message) {
    this.question = message;
    this.toOne.clear();
  }

  begin(message) {
    this.assessment = message;
    this.ask(null);
  }
}

/** One for each session. */
export class Lesson {
  #maxChars;
  #isPaused = false;
  #shown = new Map(); // what everybody has on the screen, the latest last: by 'card' and 'question'
  #work = new Map(); // by user token

  /** maxChars: how much is kept of one learner's answers. */
  constructor(maxChars) {
    this.#maxChars = maxChars;
  }

  /** Takes note of what a presenter has sent to a place of the session. */
  observe({ place, userToken }, message) {
    if (place === '') {
      this.#observeAll(message);
    } else if (place === '.learner' && message.body.type === 'showCard') {
      this.#show('card', message);
    } else if (place === '.user.*') {
      this.#observeOne(this.#workOf(userToken), message);
    }
  }

  /** Whether a learner's answer to a question has come already; answer: the unpacked payload. */
  isAnswered(userToken, questionId, answer) {
    return this.#answersOf(userToken, answer).has(questionId);
  }

  hasRoomFor(userToken, answer) {
    return this.#answersOf(userToken, answer).hasRoomFor(answer, this.#maxChars);
  }

  keepAnswer(userToken, questionId, answer) {
    this.#answersOf(userToken, answer).add(questionId, answer);
  }

  forget(userToken) {
    this.#work.delete(userToken);
  }

  /** What a learner who has just come is told: {paused, messages, answers: the own ones, as JSON texts}. */
  stateFor(userToken) {
    const { assessment, question, toAll, toOne } = this.#work.get(userToken) ?? new Work();
    return {
      paused: this.#isPaused,
      messages: [...this.#shown.values(), assessment, question].filter((message) => message !== null),
      answers: [...toAll.texts, ...toOne.texts],
    };
  }

  #observeAll(message) {
    switch (message.body.type) {
      case 'poll':
      case 'questionStart': this.#ask(message); break;
      case 'pollStop': this.#stopQuestion(); break;
      case 'pause': this.#isPaused = true; break;
      case 'resume': this.#isPaused = false; break;
      case 'assessmentStop': this.#work.forEach((work) => work.begin(null)); break;
      case 'disconnect': this.#shown.clear(); this.#work.clear(); break;
      default: break;
    }
  }

  #observeOne(work, message) {
    const { type } = message.body;
    if (QUESTION_TYPES.includes(type) && !this.#isRunning(message) && !isSame(message, work.question)) {
      work.ask(message);
    } else if (type === 'pollStop') {
      work.ask(null);
    } else if (type === 'assessmentStart') {
      work.begin(message);
    } else if (type === 'assessmentStop') {
      work.begin(null);
    }
  }

  // A host that has come back sends the running question again: the answers stand.
  #ask(message) {
    if (!this.#isRunning(message)) {
      this.#stopQuestion();
    }
    this.#show('question', message);
  }

  #stopQuestion() {
    this.#shown.delete('question');
    this.#work.forEach((work) => work.toAll.clear());
  }

  // Hosts send who comes late the running question once more.
  #isRunning(message) {
    return isSame(message, this.#shown.get('question') ?? null);
  }

  // What was shown last covers what was there.
  #show(what, message) {
    this.#shown.delete(what);
    this.#shown.set(what, message);
  }

  #answersOf(userToken, { questionSetMode }) {
    const work = this.#workOf(userToken);
    return questionSetMode === ASSESSMENT || !this.#shown.has('question') ? work.toOne : work.toAll;
  }

  #workOf(userToken) {
    let work = this.#work.get(userToken);
    if (!work) {
      work = new Work();
      this.#work.set(userToken, work);
    }
    return work;
  }
}

function isSame({ body }, other) {
  return other !== null && body.type === other.body.type && JSON.stringify(body.data) === JSON.stringify(other.body.data);
}
