// What the presenter has put before a learner: the question, the card, the pause, a text, an assessment.
// It goes by the messages, and by what the service tells of who comes late or back.

import { Answering, identityOf } from './answering.js';
import { Assessment } from './assessment.js';
import { reachable } from './picture.js';
import { normalise, pictureOf, valueOf } from './questions/normal.js';
import { objectOf, textOf } from './values.js';

// By the type of the message: what it does. The others are for other devices, or tell nothing.
const REACTIONS = {
  poll: 'ask',
  questionStart: 'ask',
  pollStop: 'stopQuestion',
  pause: 'pause',
  resume: 'resume',
  showCard: 'showCard',
  assessmentStart: 'startAssessment',
  assessmentStop: 'stopAssessment',
  dialogShow: 'showDialog',
  questionSetReview: 'showReview',
};

const OF_ALL = 'all';
const OF_ASSESSMENT = 'assessment';

export class Lesson {
  isPaused = false;
  card = null; // {picture: address or ''}
  dialog = null; // {text, isDismissible, isReview}
  assessment = null;
  #questions = { [OF_ALL]: null, [OF_ASSESSMENT]: null }; // the Answering of each
  #latest = OF_ALL;
  #isCardLatest = false;
  #identity;
  #say;
  #changed;

  /** say(type, payload) tells the presenter; changed(): something is new; identity: what the tab remembers. */
  constructor({ identity, say, changed }) {
    this.#identity = identity;
    this.#say = say;
    this.#changed = changed;
  }

  /** The Answering on the screen, or null. What came last covers what was there. */
  get question() {
    const { [OF_ALL]: ofAll, [OF_ASSESSMENT]: ofAssessment } = this.#questions;
    const asked = this.assessment?.isAwaited ? null : ofAssessment;
    return this.#latest === OF_ALL ? ofAll ?? asked : asked ?? ofAll;
  }

  /** Whether there is a card to be seen: one that came before the question is covered by it. */
  get isCardShown() {
    const isCovered = this.question !== null || this.assessment !== null;
    return this.card !== null && (this.#isCardLatest || !isCovered);
  }

  /** Where the learner may go from the question on the screen: see Assessment. */
  get ways() {
    const { question, assessment } = this;
    return assessment && question?.question.isAssessment ? assessment.ways(question) : {};
  }

  answer(value) {
    if (!this.isPaused) {
      this.question?.give(value);
    }
  }

  /** On or back in the assessment. */
  go(steps) {
    this.assessment.go(steps);
    this.#identity.keepPlace(this.assessment.token, this.assessment.number);
    this.#changed();
  }

  closeDialog() {
    this.dialog = null;
    this.#changed();
  }

  /** A message of the presenter's. */
  take(body, data) {
    this.#react(body, data);
    this.#changed();
  }

  /** What is going on, told by the service: all of it, so that what is not among it is over. */
  takeState({ paused, messages, answers }) {
    const types = messages.map(({ body: { type } }) => type);
    const identities = messages.map(({ body }) => identityOf(body));
    const isToldOf = ({ identity }) => identities.includes(identity);
    if (this.#questions[OF_ALL] && !isToldOf(this.#questions[OF_ALL])) {
      this.stopQuestion();
    }
    if (!types.includes('assessmentStart') && (this.assessment ?? this.#questions[OF_ASSESSMENT])) {
      this.stopAssessment();
    }
    this.card = types.includes('showCard') ? this.card : null;
    messages.forEach(({ body, data }) => this.#react(body, data));
    this.#isCardLatest = types.at(-1) === 'showCard';
    this.#setPaused(paused);
    this.#each((answering) => isToldOf(answering) && this.#restore(answering, answers));
    this.#changed();
  }

  /** A presenter has got the answer to a question. */
  confirm(questionId) {
    this.#each((answering) => {
      if (answering.question.id === questionId && answering.state === 'sending') {
        this.#settle(answering, answering.prior);
      }
    });
    this.#changed();
  }

  /** The service has something against what was said last. */
  refuse(message) {
    this.#each((answering) => answering.refuse(message));
  }

  /** Says again what nobody has heard yet: there is a new line. */
  repeat() {
    this.#each((answering) => answering.repeat());
    this.assessment?.repeat();
  }

  end() {
    this.#each((answering) => answering.end());
    this.assessment?.end();
  }

  // ---- What the messages do ---------------------------------------------------------------------

  #react(body, data) {
    if (Object.hasOwn(REACTIONS, body.type)) {
      this[REACTIONS[body.type]](objectOf(data), body);
    }
  }

  ask(data, body) {
    const question = normalise(body.type, data);
    if (question === null) {
      return;
    }
    const which = question.isAssessment ? OF_ASSESSMENT : OF_ALL;
    const isSame = this.#questions[which]?.identity === identityOf(body);
    // One that is asked for twice comes twice, and then late.
    if (question.isAssessment && (!isSame || question.number === this.assessment?.number)) {
      this.#arriveAt(question.number);
    }
    if (!isSame) {
      this.#put(which, question, identityOf(body));
    }
  }

  stopQuestion() {
    this.#end(OF_ALL);
  }

  pause() {
    this.#setPaused(true);
  }

  resume() {
    this.#setPaused(false);
  }

  showCard(data) {
    const picture = pictureOf(data);
    if (this.card?.picture !== picture) { // who comes back is told of the card that is there
      this.#makeRoom();
      this.card = { picture };
    }
    this.#isCardLatest = true;
  }

  // Hosts that come back start a running assessment once more.
  startAssessment(options) {
    const token = textOf(options.assessmentToken);
    if (this.assessment !== null && this.assessment.token === token) {
      return;
    }
    this.stopAssessment();
    const place = this.#identity.placeIn(token);
    this.assessment = new Assessment(options, place, (questionNumber) => this.#say('questionGet', { questionNumber }));
    this.#latest = OF_ASSESSMENT;
    this.assessment.begin();
  }

  stopAssessment() {
    this.assessment?.end();
    this.assessment = null;
    this.#end(OF_ASSESSMENT);
  }

  showDialog({ text, isDismissible }) {
    this.#showText(text, { isDismissible: isDismissible !== false, isReview: false });
  }

  showReview({ text }) {
    this.#showText(text, { isDismissible: true, isReview: true });
  }

  // -----------------------------------------------------------------------------------------------

  #put(which, question, identity) {
    this.#end(which);
    const { assessment } = this;
    const isOwn = question.isAssessment && assessment !== null;
    const prior = question.prior ?? (isOwn ? assessment.answerTo(question) : null);
    this.#questions[which] = new Answering({
      question: { ...question, picture: reachable(question.picture) },
      identity,
      prior,
      isSettled: isOwn && prior !== null && !assessment.mayResubmit,
      assessmentToken: assessment?.token,
    }, { send: this.#say, changed: this.#changed });
    this.#questions[which].setPaused(this.isPaused);
    this.#latest = which;
    this.#isCardLatest = false;
  }

  #end(which) {
    this.#makeRoom();
    this.#questions[which]?.end();
    this.#questions[which] = null;
  }

  #arriveAt(number) {
    if (this.assessment !== null) {
      this.assessment.came(number);
      this.#identity.keepPlace(this.assessment.token, this.assessment.number);
    }
  }

  // An answer that came before the line was lost, or before the page was loaded again.
  #restore(answering, answers) {
    const { question } = answering;
    const own = answers.find(({ questionId, pollId, questionSetMode }) => (
      textOf(questionId ?? pollId) === question.id && (questionSetMode === 'Assessment') === question.isAssessment));
    if (own) {
      this.#settle(answering, valueOf(question, own));
    } else {
      answering.reopen();
    }
  }

  #settle(answering, value) {
    answering.confirm(value);
    if (this.assessment !== null && answering.question.isAssessment) {
      this.assessment.keepAnswer(answering.question, value);
    }
    if (answering === this.question && this.ways.byItself) {
      this.go(1);
    }
  }

  #showText(text, { isDismissible, isReview }) {
    const isEmpty = typeof text !== 'string' || text.trim() === '';
    this.dialog = isEmpty ? null : { text: text.trim(), isDismissible, isReview };
  }

  // A text that learners cannot close goes when something else comes.
  #makeRoom() {
    if (this.dialog?.isDismissible === false) {
      this.dialog = null;
    }
  }

  #setPaused(isPaused) {
    this.isPaused = isPaused;
    this.#each((answering) => answering.setPaused(isPaused));
  }

  #each(use) {
    Object.values(this.#questions).filter((answering) => answering !== null).forEach(use);
  }
}
