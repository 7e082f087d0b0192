// A simulated learner's device: announces itself, answers every kind of poll and question, and follows
// the presenter's pause, resume, stop and disconnect.

import { MIXED_FORMS, PAYLOAD_FORMS } from '../codec/codec.js';
import { answerPoll, answerQuestion } from './answers.js';
import { Device } from './device.js';

const NAMES = ['Ada', 'Ben', 'Cleo', 'Dan', 'Eva', 'Finn', 'Gia', 'Hugo', 'Ida', 'Jon'];
const DEVICE_TYPES = ['tablet', 'phone', 'laptop'];

// Learners do not all think equally long: the slowest takes almost twice as long as the fastest.
const THINK_STEPS = 10;

// What is being answered; stopping the one leaves the other alone.
const POLL = 'poll';
const ASSESSMENT = 'assessment';

// By the type of the body: the learner's reaction. Types that only change what is on the screen
// ("heavy", "showCard", "dialogShow", "questionSetReview") need none; the journal has them.
const REACTIONS = {
  poll: 'startPoll',
  questionStart: 'startQuestion',
  pollStop: 'stopPoll',
  pause: 'pause',
  resume: 'resume',
  assessmentStart: 'startAssessment',
  assessmentStop: 'stopAssessment',
  disconnect: 'disconnect',
};

export class Learner extends Device {
  number;
  #thinkMs;
  #seed;
  #form;
  #questionsSeen = 0;
  #isPaused = false;
  #pending = new Map(); // by what is being answered: {send, timer}
  #assessment = null; // {token, nextNumber, remaining}
  #stayTimer = null;

  /**
   * user: as it has joined; number counts the session's learners from 0; behaviour: {thinkMs, seed,
   * payloadForm, stayMs}.
   */
  constructor(services, session, user, number, behaviour) {
    super(services, session, user);
    this.number = number;
    this.#thinkMs = Math.round(behaviour.thinkMs * (1 + (number % THINK_STEPS) / THINK_STEPS));
    this.#seed = behaviour.seed;
    this.#form = behaviour.payloadForm === MIXED_FORMS
      ? PAYLOAD_FORMS[number % PAYLOAD_FORMS.length]
      : behaviour.payloadForm;
    if (behaviour.stayMs > 0) {
      this.#stayTimer = setTimeout(() => this.leave('left'), behaviour.stayMs);
    }
  }

  join() {
    this.register();
    this.register('learner');
    this.register('user', this.deviceId);
    this.note('joined');
    const { userName, deviceType } = this.details;
    this.#tell('join', { userName, deviceType });
  }

  received(body, { data }) {
    const reaction = Object.hasOwn(REACTIONS, body.type) && REACTIONS[body.type];
    if (reaction) {
      this[reaction](data ?? {});
    }
  }

  startPoll(poll) {
    const pick = answerPoll(poll, this.#nextPick());
    this.#think(POLL, () => this.#tell('pollResponse', {
      pollId: poll.id,
      responseTime: this.#thinkMs,
      pick,
    }));
  }

  startQuestion(question) {
    const answer = answerQuestion(question, this.#nextPick());
    const isAssessment = question.questionSetMode === 'Assessment';
    this.#think(isAssessment ? ASSESSMENT : POLL, () => {
      this.#tell('questionResponse', {
        questionId: question.id,
        studentAssessmentToken: (isAssessment && this.#assessment?.token) || '',
        questionSetMode: question.questionSetMode,
        responseTime: this.#thinkMs,
        ...answer,
      });
      if (isAssessment) {
        this.#askForQuestion();
      }
    });
  }

  stopPoll() {
    this.#forget(POLL);
  }

  /** Answers wait while the presenter pauses; the time to think begins anew afterwards. */
  pause() {
    this.#isPaused = true;
    this.#pending.forEach(({ timer }) => clearTimeout(timer));
    this.note('paused');
  }

  resume() {
    this.#isPaused = false;
    this.note('resumed');
    [...this.#pending].forEach(([what, { send }]) => this.#think(what, send));
  }

  startAssessment({ assessmentToken = '', startingQuestionNumber = 0, questionCount = 1 }) {
    this.#assessment = { token: assessmentToken, nextNumber: startingQuestionNumber, remaining: questionCount };
    this.#askForQuestion();
  }

  stopAssessment() {
    this.#assessment = null;
    this.#forget(ASSESSMENT);
  }

  disconnect() {
    this.leave('disconnected');
  }

  ended() {
    clearTimeout(this.#stayTimer);
    [POLL, ASSESSMENT].forEach((what) => this.#forget(what));
  }

  #askForQuestion() {
    const assessment = this.#assessment;
    if (assessment && assessment.remaining > 0) {
      assessment.remaining -= 1;
      this.#tell('questionGet', { questionNumber: assessment.nextNumber++ });
    }
  }

  // The next question replaces one that has not been answered yet, as it does on the screen.
  #think(what, send) {
    this.#forget(what);
    const answer = () => {
      this.#pending.delete(what);
      send();
    };
    this.#pending.set(what, { send, timer: this.#isPaused ? null : setTimeout(answer, this.#thinkMs) });
  }

  #forget(what) {
    clearTimeout(this.#pending.get(what)?.timer);
    this.#pending.delete(what);
  }

  #nextPick() {
    return this.#seed + this.number + this.#questionsSeen++;
  }

  #tell(type, data) {
    this.tellPresenter(type, data, this.#form);
  }
}

/** What a learner says of itself at the door. */
export function describeLearner(number) {
  const round = Math.floor(number / NAMES.length);
  const userName = NAMES[number % NAMES.length] + (round > 0 ? ` ${round + 1}` : '');
  const deviceType = DEVICE_TYPES[number % DEVICE_TYPES.length];
  return { userName, mode: 'learner', deviceName: `${userName}'s ${deviceType}`, deviceType };
}
