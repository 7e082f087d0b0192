// Questions as the pages know them, whichever of the two forms they came in, and answers as presenters
// expect them. Nothing here touches a page.
//
// A value is what a learner has chosen or written: a list of option ids (choices, scale, sort), a list of
// texts (creative without options), or a text.

import { countOf, isObject, listOf, objectOf, textOf } from '../values.js';

// By the type of what came: the form, and the maker of the question.
const FORMS = {
  questionStart: fromQuestion,
  poll: fromPoll,
};

const KINDS_WITH_OPTIONS = ['true-false', 'yes-no-other', 'multiple', 'scale', 'sort'];
const KINDS_IN_WORDS = ['text', 'word-seed', 'number', 'math formula'];

// What polls in the fixed form are answered with in a list, even if it is a list of one.
const KINDS_IN_LISTS = ['multiple', 'sort', 'creative'];

// The texts of a fixed poll's options by their labelling; others are letters or the numbers themselves.
const TEXTS = {
  'true-false': ['True', 'False', 'Don\'t know'],
  'yes-no': ['Yes', 'No', 'Don\'t know'],
  'yes-no-maybe': ['Yes', 'No', 'Maybe'],
  'yes-no-unsure': ['Yes', 'No', 'Unsure'],
  'yes-no-other': ['Yes', 'No', 'Other'],
};
const FIRST_LETTERS = { 'alpha-upper': 'A', 'alpha-lower': 'a' };
const LETTERS = 26;

const MAX_DECIMALS = 20;

// A list that is longer nobody reads, and a phone cannot show it.
const MAX_OPTIONS = 500;

// What the lowest and the highest number of a labelling mean.
const ENDS = {
  agreement: ['Strongly disagree', 'Strongly agree'],
  confidence: ['Not confident', 'Very confident'],
};

// Words that hosts write in capitals.
const WORDS = { 'TRUE': 'True', 'FALSE': 'False', 'YES': 'Yes', 'NO': 'No', 'DONTKNOW': 'Don\'t know' };

// A label is short and can be seen.
const LABEL = /^[\p{L}\p{N}]{1,3}$/u;

const PICTURE = /^url\(\s*(['"]?)(.*)\1\s*\)$/is;

/** The question in the data of a message of this type, or null when it holds none. */
export function normalise(bodyType, data) {
  const maker = Object.hasOwn(FORMS, bodyType) ? FORMS[bodyType] : null;
  const isQuestion = isObject(data) && textOf(data.id) !== '';
  return maker && isQuestion ? maker(data) : null;
}

/**
 * What is sent to the presenters: {type, payload}. The options are told by their ids alone, so that no text
 * of theirs is taken for another one's.
 */
export function answerOf(question, value, { responseTime, assessmentToken = '' }) {
  if (question.form === 'poll') {
    return { type: 'pollResponse', payload: { pollId: question.id, responseTime, pick: pickOf(question, value) } };
  }
  return {
    type: 'questionResponse',
    payload: {
      questionId: question.id,
      studentAssessmentToken: question.isAssessment ? assessmentToken : '',
      questionSetMode: question.isAssessment ? 'Assessment' : 'Poll',
      responseTime,
      ...choiceOf(question, value),
    },
  };
}

/**
 * The value in an answer: {answer, optionAnswers} of a question, also of its feedback, or {pick} of a poll.
 * null when there is none, or one that does not fit the question.
 */
export function valueOf(question, answer) {
  const parts = partsOf(objectOf(answer)).slice(0, MAX_OPTIONS);
  if (question.options.length > 0) {
    const ids = parts.filter((part) => question.options.some(({ id }) => id === part));
    return ids.length > 0 ? ids : null;
  }
  if (parts.join('') === '') {
    return null;
  }
  return question.kind === 'creative' ? parts.flatMap((part) => part.split(',')) : parts.join(',');
}

function fromQuestion(data) {
  const isAssessment = data.questionSetMode === 'Assessment';
  const question = {
    ...common(data),
    form: 'question',
    isAssessment,
    number: countOf(data.questionNumber),
    options: questionOptions(data),
    picks: data.type === 'multiple' ? Math.max(1, countOf(data.numberOfCorrectOptions)) : 1,
    maxChars: countOf(data.maxChars),
    decimals: decimalsOf(data, isAssessment),
    hasNext: data.hasNext === true,
    navigable: data.navigable === true,
  };
  return { ...question, prior: valueOf(question, data.feedBack) };
}

// The fixed form says nothing but the kind and how many options there are. Words, numbers and formulas
// have none, though it tells some for them, too.
function fromPoll(data) {
  const isChosen = KINDS_WITH_OPTIONS.includes(data.type);
  return {
    ...common(data),
    form: 'poll',
    isAssessment: false,
    number: 0,
    options: isChosen ? pollOptions(objectOf(data.metadata)) : [],
    picks: 1,
    maxChars: 0,
    decimals: null,
    hasNext: false,
    navigable: false,
    prior: null,
  };
}

function common(data) {
  return {
    id: textOf(data.id),
    kind: textOf(data.type),
    text: textOf(data.instructions).trim(),
    passage: textOf(data.passage).trim(),
    hint: textOf(data.hint).trim(),
    hasFormulas: data.math === true,
    ends: endsOf(data.metadata?.ordinalType),
    picture: pictureOf(data.card),
  };
}

function endsOf(labelling) {
  return Object.hasOwn(ENDS, textOf(labelling)) ? ENDS[labelling] : ['', ''];
}

function questionOptions({ type, activityOptions }) {
  if (KINDS_IN_WORDS.includes(type)) {
    return [];
  }
  const options = listOf(activityOptions)
    .filter(isObject)
    .slice(0, MAX_OPTIONS)
    .map(questionOption);
  return type === 'sort' ? options : withoutRepetitions(options);
}

// A text that says the same as the id is shown once. Ids such as "?" say nothing to a learner.
function questionOption({ id, optionText, math }, i) {
  const key = textOf(id);
  const text = textOf(optionText).trim() || key || String(i + 1);
  const isWord = Object.hasOwn(WORDS, text);
  const label = LABEL.test(key) ? key : String(i + 1);
  return { id: key, text: isWord ? WORDS[text] : text, label: isWord || key === text ? '' : label, isFormula: math === true };
}

function pollOptions({ ordinalType, options }) {
  return listOf(options).slice(0, MAX_OPTIONS).map((option, i) => (
    { id: textOf(option), text: pollText(ordinalType, option, i), label: '', isFormula: false }));
}

function pollText(ordinalType, option, i) {
  if (Object.hasOwn(TEXTS, ordinalType) && i < TEXTS[ordinalType].length) {
    return TEXTS[ordinalType][i];
  }
  if (Object.hasOwn(FIRST_LETTERS, ordinalType) && i < LETTERS) {
    return String.fromCharCode(FIRST_LETTERS[ordinalType].charCodeAt(0) + i);
  }
  return textOf(option);
}

// Hosts fill up a yes/no question with one answer more often than once.
function withoutRepetitions(options) {
  const isNew = ({ id, text }, i) => i === options.findIndex((other) => other.id === id && other.text === text);
  return options.filter(isNew);
}

// A poll's 0 is what hosts leave unsaid; in an assessment it asks for whole numbers.
function decimalsOf({ noOfDecimals }, isAssessment) {
  const decimals = Math.min(countOf(noOfDecimals), MAX_DECIMALS);
  return decimals === 0 && !isAssessment ? null : decimals;
}

/** Devices show the picture that stands behind a card, and the first one on it. */
export function pictureOf(card) {
  const [, , behind = ''] = PICTURE.exec(textOf(card?.styles?.backgroundImage).trim()) ?? [];
  const image = listOf(card?.components).find((component) => component?.type === 'image');
  return behind || textOf(image?.blob?.url);
}

function pickOf({ kind, options }, value) {
  if (Array.isArray(value)) {
    return KINDS_IN_LISTS.includes(kind) || options.length === 0 ? { blob: value } : { input: value[0] };
  }
  return { input: value };
}

// Presenters hear the parts of a poll's answer with commas between; so are the parts of this one sent.
function choiceOf({ options }, value) {
  if (options.length > 0) {
    return { answer: '', optionAnswers: value.map((activityOptionId) => ({ activityOptionId })) };
  }
  return { answer: Array.isArray(value) ? value.join(',') : value, optionAnswers: [] };
}

function partsOf({ answer, optionAnswers, pick }) {
  const ids = listOf(optionAnswers).map((option) => textOf(option?.activityOptionId));
  if (ids.length > 0) {
    return ids;
  }
  const parts = listOf(pick?.blob).map(textOf);
  return parts.length > 0 ? parts : [textOf(answer ?? pick?.input)].filter((part) => part !== '');
}
