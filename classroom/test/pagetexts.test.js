// What learners write, made fit to be sent, and the option that is meant by what they type.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { LabelSearch } from '../pages/questions/labels.js';
import { clean, lengthOf, limitOf, numberOf } from '../pages/questions/texts.js';

for (const [text, maxChars, expected] of [
  ['one\r\ntwo\nthree\tfour', 100, 'one two three four'],
  ['a\u0000b\u001fc\u007fd\u0085e', 100, 'abcd e'],
  ['a\ud83dz', 100, 'az'],
  ['\ude00a', 100, 'a'],
  ['\u{1f600}\u{1f601}\u{1f602}', 2, '\u{1f600}\u{1f601}'],
  ['\u0645\u0631\u062d\u0628\u0627 \u200fabc', 100, '\u0645\u0631\u062d\u0628\u0627 \u200fabc'],
  ['x'.repeat(10_001), undefined, 'x'.repeat(10_000)],
]) {
  test(`${JSON.stringify(text.slice(0, 30))} is cleaned for at most ${maxChars} characters`, () => {
    assert.equal(clean(text, maxChars), expected);
  });
}

test('a character counts once, however many units it takes', () => {
  assert.equal(lengthOf('a\u{1f600}'), 2);
});

test('no answer may be longer than the service takes', () => {
  assert.deepEqual([0, 20, 20_000].map(limitOf), [10_000, 20, 10_000]);
});

for (const [text, decimals, expected] of [
  ['12', null, '12'],
  [' 2,5 ', null, '2.5'],
  ['2.50', null, '2.50'],
  ['-0,5', null, '-0.5'],
  ['\u22125', null, '-5'],
  ['+7', null, '7'],
  ['.5', null, '0.5'],
  ['5.', null, '5'],
  ['007', null, '7'],
  ['-0', null, '0'],
  ['1 000', null, '1000'],
  ['2,5', 2, '2.50'],
  ['2.500', 2, '2.50'],
  ['2.505', 2, null],
  ['2.5', 0, null],
  ['2.0', 0, '2'],
  ['1,000.5', null, null],
  ['1e5', null, null],
  ['', null, null],
  ['-', null, null],
  ['.', null, null],
  ['two', null, null],
  ['1'.repeat(41), null, null],
]) {
  test(`"${text}" with ${decimals ?? 'any'} decimals is ${expected === null ? 'no number' : expected}`, () => {
    assert.equal(numberOf(text, decimals), expected);
  });
}

function searchIn(labelsAndTexts) {
  const clock = { now: 0 };
  const options = labelsAndTexts.map(([label, text]) => ({ label, text }));
  return { clock, search: new LabelSearch(options, () => clock.now) };
}

test('every one of a hundred numbers is found by its digits', () => {
  const { clock, search } = searchIn([...Array(100).keys()].map((i) => ['', String(i)]));
  for (let i = 0; i < 100; ++i) {
    clock.now += 5_000;
    assert.equal([...String(i)].map((digit) => search.find(digit)).at(-1), i);
  }
});

test('a label counts before how a text begins, in either case', () => {
  const { search } = searchIn([['A', 'Berlin'], ['B', 'Athens']]);
  assert.equal(search.find('b'), 1);
});

test('a word is found by how it begins', () => {
  const { search } = searchIn([['', 'True'], ['', 'False']]);
  assert.equal(search.find('f'), 1);
});

test('what is typed after a pause, or does not go on, begins anew', () => {
  const { clock, search } = searchIn([['', '1'], ['', '2'], ['', '12']]);
  assert.deepEqual([search.find('1'), search.find('2')], [0, 2]);
  assert.equal(search.find('1'), 0);
  clock.now += 1_000;
  assert.equal(search.find('2'), 1);
  assert.equal(search.find('x'), -1);
});
