// What strangers wrote, on a terminal: to be seen, on one line, and nothing that moves a cursor.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { printable } from '../src/printable.js';

test('what people write stays as it is', () => {
  for (const text of ['', 'Zoë says "5 € \\ 3"', '\u4f60\u597d', '\u05e9\u05dc\u05d5\u05dd', 'e\u0301', '\u{1f600}\u{1f1e9}\u{1f1ea}', '\u{20000}']) {
    assert.equal(printable(text), text);
  }
});

for (const [what, text, shown] of [
  ['a line break', 'one\r\ntwo', 'one\\x0d\\x0atwo'],
  ['a tab and a zero', 'a\tb\0c', 'a\\x09b\\x00c'],
  ['a colour', '\x1b[31mred', '\\x1b[31mred'],
  ['DEL', 'a\x7fb', 'a\\x7fb'],
  ['a C1 control sequence', '\x9b2J', '\\x9b2J'],
  ['the next line of C1', 'a\x85b', 'a\\x85b'],
  ['an override of the direction', '\u202egnp.exe', '\\u202egnp.exe'],
  ['isolates of the direction', '\u2066a\u2069', '\\u2066a\\u2069'],
  ['a mark of the direction', '\u200fa\u061c', '\\u200fa\\u061c'],
  ['line and paragraph separators', 'a\u2028b\u2029c', 'a\\u2028b\\u2029c'],
  ['a space of no width', 'a\u200bb\ufeff', 'a\\u200bb\\ufeff'],
  ['a soft hyphen', 'a\u00adb', 'a\\xadb'],
  ['fillers', '\u3164\u115f\u2800', '\\u3164\\u115f\\u2800'],
  ['selectors of variants', 'a\ufe0f\u{e0100}', 'a\\ufe0f\\u{e0100}'],
  ['lone surrogates', 'a\ud800b\udc00', 'a\\ud800b\\udc00'],
  ['tags', '\u{e0041}\u{e0002}', '\\u{e0041}\\u{e0002}'],
  ['private code points', '\ue000\u{f0000}', '\\ue000\\u{f0000}'],
  ['code points that are none', '\uffff\u{10ffff}', '\\uffff\\u{10ffff}'],
]) {
  test(`${what} stands there as an escape`, () => assert.equal(printable(text), shown));
}

test('a long text is cut between code points, and its length said', () => {
  assert.equal(printable('abcdef', { columns: 6 }), 'abcdef');
  assert.equal(printable('abcdefg', { columns: 6 }), 'abcdef... (7 characters)');
  assert.equal(printable('\u{1f600}'.repeat(3), { columns: 2 }), '\u{1f600}\u{1f600}... (6 characters)');
  assert.equal(printable('\u{1f600}'.repeat(3), { columns: 3 }), '\u{1f600}'.repeat(3));
  assert.equal(printable('\x1b'.repeat(9), { columns: 2 }), '\\x1b\\x1b... (9 characters)');
});

test('a text of megabytes is cut at once', () => {
  const text = Buffer.alloc(64 * 1024 * 1024, 0x1b).toString('latin1');
  const before = performance.now();
  assert.equal(printable(text, { columns: 1 }), '\\x1b... (67108864 characters)');
  assert.ok(performance.now() - before < 1_000);
});

test('what is no text is written as one', () => {
  assert.deepEqual([undefined, null, 5, new Error('a\nb')].map((value) => printable(value)), ['undefined', 'null', '5', 'Error: a\\x0ab']);
});

test('every code point is shown or escaped, and no line has two', () => {
  for (let code = 0; code <= 0x10ffff; ++code) {
    const shown = printable(String.fromCodePoint(code));
    assert.ok(!/[\x00-\x1f\x7f-\x9f\u2028\u2029]/.test(shown) && shown !== '', code.toString(16));
  }
});
