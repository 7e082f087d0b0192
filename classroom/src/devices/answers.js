// What simulated learners answer: pure functions of the question and a number, the pick, so that tests
// can foretell every answer. An option question is answered with the option number pick modulo the
// count of options; the other kinds take the word or number that the pick selects.

const WORDS = ['river', 'cloud', 'stone', 'meadow', 'harbour', 'ember', 'willow'];

// Kinds in which several options make up one answer.
const MANY_PICKS = {
  'multiple': (options, pick, question) => {
    const count = Math.min(options.length, Math.max(1, question.numberOfCorrectOptions ?? 1));
    const first = pick % options.length;
    return options.filter((option, i) => (i - first + options.length) % options.length < count);
  },
  'sort': (options, pick) => {
    const first = pick % options.length;
    return [...options.slice(first), ...options.slice(0, first)];
  },
};

const FREE_ANSWERS = {
  'text': (question, pick) => limited(`The answer is ${word(pick)}.`, question.maxChars),
  'word-seed': (question, pick) => word(pick),
  'number': (question, pick) => (pick * 1.25).toFixed(question.noOfDecimals ?? 0),
  'creative': (question, pick) => `${word(pick)} and ${word(pick + 1)}`,
  'math formula': (question, pick) => `x=\\frac{${pick + 1}}{2}`,
};

/**
 * The answer to a question object: {answer, optionAnswers}, as a "questionResponse" carries it. Options
 * are answered by their ids alone, as pupils' devices do: written as one text, ids of several characters
 * could not be told apart.
 */
export function answerQuestion(question, pick) {
  const options = question.activityOptions ?? [];
  if (options.length === 0) {
    return { answer: freeAnswer(question, pick), optionAnswers: [] };
  }
  const ids = pickedOptions(question, options, pick).map((option) => String(option.id));
  return { answer: '', optionAnswers: ids.map((activityOptionId) => ({ activityOptionId })) };
}

/**
 * The "pick" of a "pollResponse" to a poll in the fixed form, whose options are plain numbers: a list
 * in "blob" where an answer has parts, otherwise a text in "input".
 */
export function answerPoll(poll, pick) {
  const options = poll.metadata?.options ?? [];
  if (poll.type === 'creative') {
    return { blob: [word(pick), word(pick + 1)] };
  }
  if (poll.type in FREE_ANSWERS || options.length === 0) {
    return { input: freeAnswer(poll, pick) };
  }
  const picked = pickedOptions(poll, options, pick).map(String);
  return poll.type in MANY_PICKS ? { blob: picked } : { input: picked[0] };
}

function pickedOptions(question, options, pick) {
  const many = MANY_PICKS[question.type];
  return many ? many(options, pick, question) : [options[pick % options.length]];
}

function freeAnswer(question, pick) {
  const answer = FREE_ANSWERS[question.type];
  return answer ? answer(question, pick) : '';
}

function word(pick) {
  return WORDS[pick % WORDS.length];
}

function limited(text, maxChars) {
  return maxChars > 0 ? text.slice(0, maxChars) : text;
}
