// What others send may be anything. What is not of the kind that is asked for counts as nothing.

export function isObject(value) {
  return typeof value === 'object' && value !== null && !Array.isArray(value);
}

export function objectOf(value) {
  return isObject(value) ? value : {};
}

export function listOf(value) {
  return Array.isArray(value) ? value : [];
}

/** The text that a text or a number is. */
export function textOf(value) {
  return ['string', 'number'].includes(typeof value) ? String(value) : '';
}

/** A number of things. */
export function countOf(value) {
  return Number.isInteger(value) && value > 0 ? value : 0;
}
