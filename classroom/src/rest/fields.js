// Reading the fields of a request body.

import { SOURCE_SYSTEM } from '../protocol.js';
import { failures } from './reply.js';

/** A field that has to be there and be a non-empty text. */
export function field(json, name) {
  const value = json[name];
  if (typeof value !== 'string' || value === '') {
    throw failures.missingField();
  }
  return value;
}

/** A field that has to be one of the given texts. */
export function oneOf(json, name, values) {
  const value = field(json, name);
  if (!values.includes(value)) {
    throw failures.wrongValue();
  }
  return value;
}

export function checkSourceSystem(json) {
  oneOf(json, 'sourceSystem', [SOURCE_SYSTEM]);
}
