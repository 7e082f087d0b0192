// Reading the fields of a request body.

import { SOURCE_SYSTEM } from '../protocol.js';
import { failures } from './reply.js';

// What no name may hold: control and format characters, among them those that turn the direction of
// writing, halves of characters, and line and paragraph separators. Some scripts and emoji are written
// with the two joiners.
const UNFIT_FOR_NAMES = /(?![\u200c\u200d])[\p{Cc}\p{Cf}\p{Cs}\p{Zl}\p{Zp}]/u;

// Nothing of such a name would be seen; U+2800 is a braille cell without dots.
const BLANK = /^[\s\u2800\p{Default_Ignorable_Code_Point}]*$/u;

/** A field that has to be there and be a non-empty text, of at most so many characters. */
export function field(json, name, maxChars = Infinity) {
  const value = json[name];
  if (typeof value !== 'string' || value === '') {
    throw failures.missingField();
  }
  if (value.length > maxChars && [...value].length > maxChars) {
    throw failures.wrongValue();
  }
  return value;
}

/** A field that has to be one of the given texts. */
export function choice(json, name, values) {
  const value = field(json, name);
  if (!values.includes(value)) {
    throw failures.wrongValue();
  }
  return value;
}

/** A field that people get to see as the name of somebody or something. */
export function label(json, name, maxChars) {
  const value = field(json, name, maxChars);
  if (UNFIT_FOR_NAMES.test(value) || BLANK.test(value)) {
    throw failures.wrongValue();
  }
  return value;
}

export function checkSourceSystem(json) {
  choice(json, 'sourceSystem', [SOURCE_SYSTEM]);
}
