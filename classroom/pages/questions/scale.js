// A scale: options in a row, of which one is chosen. Its ends say what they mean where that is known.

import { Choices } from './choices.js';
import { freshId, make } from './dom.js';

const SHORT_TEXT = 3;

/** The options of a scale: in a row if each is short, but for the ends, and otherwise one below the other. */
export function scale(question, host) {
  const { options } = question;
  const isShort = ({ label, text }) => (label || text).length <= SHORT_TEXT;
  const isRow = options.length > 0 && options.every(isShort) && options.slice(1, -1).every(({ label }) => label === '');
  const choices = new Choices(isRow ? { ...question, options: options.map(withoutMeaning) } : question, host);
  const [low, high] = isRow ? endsOf(question) : ['', ''];
  if (isRow) {
    choices.element.classList.add('scale');
  }
  if (low || high) {
    const ends = [[options[0], low], [options.at(-1), high]].map(([option, meaning]) => (
      make('span', { id: freshId('end'), dir: 'auto' }, `${shown(option)}: ${meaning}`)));
    choices.element.append(make('p', { class: 'scale-ends' }, ...ends));
    describe([...choices.element.querySelectorAll('input')], ends);
  }
  return choices;
}

// What the ends mean stands below the row.
function withoutMeaning(option) {
  return option.label ? { ...option, text: option.label, label: '' } : option;
}

function endsOf({ options, ends }) {
  return [options[0], options.at(-1)].map((option, i) => (option.label ? option.text : ends[i]));
}

// Who goes from option to option hears it there as well.
function describe(inputs, [low, high]) {
  inputs[0].setAttribute('aria-describedby', low.id);
  inputs.at(-1).setAttribute('aria-describedby', high.id);
}

function shown({ label, text }) {
  return label || text;
}
