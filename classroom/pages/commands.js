// What a remote can tell the presenter: by command, what its button says, and what the page says when the
// command has left.

import { textOf } from './values.js';

export const COMMANDS = {
  previousCard:      { label: 'Previous', said: 'Previous card: sent.' },
  nextCard:          { label: 'Next', said: 'Next card: sent.' },
  pushCurrentCard:   { label: 'Push card', said: 'Push card: sent.' },
  lockAll:           { label: 'Lock', said: 'Lock: sent.' },
  unlockAll:         { label: 'Unlock', said: 'Unlock: sent.' },
  pause:             { label: 'Pause', said: 'Pause: sent.' },
  resume:            { label: 'Resume', said: 'Resume: sent.' },
  requestLessonInfo: { label: 'What is on?', said: 'Asked what is on.' },
  presenterActive:   { label: 'Is the presenter there?', said: 'Asked whether the presenter is there.' },
  requestLesson:     { label: 'Ask for the lesson', said: 'Asked for the lesson.' },
  addImageCard:      { label: 'Add the card', said: 'Image card: sent.' },
  stopSession:       { label: 'Stop the class', said: 'Stop: sent.' },
};

/** What is on, in words: "Prime numbers, card 2 of 3"; lesson and card as the presenter sends them, or null. */
export function whatIsOn(lesson, card) {
  const parts = [nameOf(lesson), cardWords(card)].filter((words) => words !== '');
  return parts.length === 0 ? 'Nothing is known of the lesson yet.' : parts.join(', ');
}

/** The address of an image that devices can load, or '' for what is none. */
export function imageAddress(text) {
  const address = text.trim();
  return /^https?:\/\/[^\s/]/i.test(address) && URL.canParse?.(address) !== false ? address : '';
}

// Presenters write a name as it is; one with a quote in it makes the message unreadable.
function nameOf(lesson) {
  if (lesson === null) {
    return '';
  }
  return textOf(lesson?.name) || textOf(lesson?.lessonId) || 'A lesson whose name cannot be read';
}

function cardWords(card) {
  const [current, total] = [textOf(card?.currentCard), textOf(card?.totalCards)];
  if (current === '') {
    return '';
  }
  return total === '' ? `card ${current}` : `card ${current} of ${total}`;
}
