// What strangers wrote, made fit for a terminal.

// Control characters, what has no form of its own (among it everything that turns the direction of a
// line), line and paragraph separators, lone surrogates, and code points that are nobody's or private.
const UNPRINTABLE = /[\p{Cc}\p{Cf}\p{Zl}\p{Zp}\p{Cs}\p{Cn}\p{Co}\u034f\u115f\u1160\u17b4\u17b5\u180b-\u180f\u2800\u3164\ufe00-\ufe0f\uffa0\u{e0000}-\u{e0fff}]/gu;

const HEX = 16;

/**
 * The text on one line of a terminal: what is not to be seen, or moves what is, stands there as an escape
 * (\x1b, \u202e, \u{e0041}), and what goes beyond `columns` code points is cut, with the whole number of
 * characters behind it. Other values than texts are taken as String() writes them. The result holds no line
 * break; a backslash stays as it is, as the result is for eyes and not for reading back.
 */
export function printable(text, { columns = Infinity } = {}) {
  const whole = String(text);
  const shown = cut(whole, columns);
  const rest = shown.length < whole.length ? `... (${whole.length} characters)` : '';
  return shown.replace(UNPRINTABLE, escaped) + rest;
}

// By code points, without looking at more of a long text than is shown.
function cut(text, columns) {
  if (text.length <= columns) {
    return text;
  }
  const start = Array.from(text.slice(0, 2 * columns));
  return start.slice(0, columns).join('');
}

function escaped(character) {
  const code = character.codePointAt(0);
  const digits = code.toString(HEX);
  if (code <= 0xff) {
    return `\\x${digits.padStart(2, '0')}`;
  }
  return code <= 0xffff ? `\\u${digits.padStart(4, '0')}` : `\\u{${digits}}`;
}
