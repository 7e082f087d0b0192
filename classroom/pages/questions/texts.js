// What learners write, made fit to be sent: the service refuses control characters and long texts.

/** The most characters (code points) that an answer may have. */
export const MAX_CHARS = 10_000;

const MAX_NUMBER_CHARS = 40;

const BREAKS = /\r\n|[\n\r\t\v\f\u0085\u2028\u2029]/g;
const UNFIT = /[\p{Cc}\p{Cs}]/gu; // with the flag u, only halves of characters that stand alone are Cs

const BLANKS = /[\s\u00a0\u2009\u202f]/g;
const MINUS = /^[-\u2212\u2013]/;
const NUMBER = /^(-?)(\d*)(?:[.,](\d*))?$/;

/** How many characters a text has, as the service counts them. */
export function lengthOf(text) {
  return Array.from(text).length;
}

/** The text on one line, without what cannot be sent, and not longer than `maxChars` characters. */
export function clean(text, maxChars = MAX_CHARS) {
  const fit = text.replace(BREAKS, ' ').replace(UNFIT, '');
  return fit.length <= maxChars ? fit : Array.from(fit).slice(0, maxChars).join('');
}

/** How long an answer to a question may be that asks for at most `maxChars`; 0 is for any length. */
export function limitOf(maxChars) {
  return maxChars > 0 ? Math.min(maxChars, MAX_CHARS) : MAX_CHARS;
}

/**
 * A number as it is sent, or null when the text is none: with a point for the decimal mark, no needless
 * zeros before it, and exactly `decimals` digits behind it. null: as many as were written.
 */
export function numberOf(text, decimals = null) {
  const compact = text.replace(BLANKS, '').replace(MINUS, '-').replace(/^\+/, '');
  const [, sign, whole, fraction = ''] = NUMBER.exec(compact) ?? [];
  if (!(whole || fraction) || compact.length > MAX_NUMBER_CHARS || isTooFine(fraction, decimals)) {
    return null;
  }
  const digits = decimals === null ? fraction : fraction.slice(0, decimals).padEnd(decimals, '0');
  const value = (whole.replace(/^0+(?=\d)/, '') || '0') + (digits && `.${digits}`);
  return /[1-9]/.test(value) ? sign + value : value;
}

// Zeros that are not asked for do no harm.
function isTooFine(fraction, decimals) {
  return decimals !== null && /[1-9]/.test(fraction.slice(decimals));
}
