// What a learner's device sends is looked at before it goes on to the presenters: it has to be readable
// and short, the name in a "join" is the one that was given at the door, and a question is answered once.

import { isWithinDepth } from './envelope.js';

/** What no text of a learner's may hold. */
export const CONTROL_CHARACTER = /\p{Cc}/u;

/**
 * What is wrong with the unpacked payload of a learner's message, or null. limits: {answerChars, envelopeDepth}.
 */
export function faultOf({ data, tooLarge }, { answerChars, envelopeDepth }) {
  if (tooLarge) {
    return 'too long';
  }
  if (typeof data !== 'object' || data === null || !isWithinDepth(data, envelopeDepth)) {
    return 'not readable';
  }
  return faultIn(data, answerChars);
}

/** The id of the question that a payload answers, or null for what is no answer. */
export function answeredQuestion(type, { questionId, pollId }) {
  switch (type) {
    case 'questionResponse': return idFrom(questionId);
    case 'pollResponse': return idFrom(pollId);
    default: return null;
  }
}

// Ids are texts or numbers. What stands in their place besides is one that no question has.
function idFrom(value) {
  return ['string', 'number'].includes(typeof value) ? String(value) : '';
}

/** Whether a "join" says of its user what the user's entry says. */
export function saysTheTruth({ userName, deviceType }, user) {
  return userName === user.userName && deviceType === user.deviceType;
}

function faultIn(value, maxChars) {
  if (typeof value === 'string') {
    return faultOfText(value, maxChars);
  }
  if (typeof value !== 'object' || value === null) {
    return null;
  }
  for (const part of Object.values(value)) {
    const fault = faultIn(part, maxChars);
    if (fault) {
      return fault;
    }
  }
  return null;
}

function faultOfText(text, maxChars) {
  // A character is one unit or two.
  if (text.length > maxChars && [...text.slice(0, 2 * maxChars + 1)].length > maxChars) {
    return 'too long';
  }
  return CONTROL_CHARACTER.test(text) ? 'control characters' : null;
}
