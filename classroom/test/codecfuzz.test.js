// Unpacking what nobody would send: blocks, lists and values, changed at random from one seed. Whatever it
// is, it comes back settled, within its bounds, and the next message is read.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Codec } from '../src/codec/codec.js';
import { limitsWith } from '../src/limits.js';

const SEED = 20_261;
const ROUNDS = 3_000;
const MAX_MS = 6_000;
const MAX_BYTES = 256 * 1024;
const MAX_GROWTH = 400 * 1024 * 1024;

// Numbers that repeat from run to run: a linear congruential generator.
function generator(seed) {
  let state = seed;
  return (below) => {
    state = (Math.imul(state, 1_664_525) + 1_013_904_223) >>> 0;
    return Math.floor(state / 2 ** 32 * below);
  };
}

const codec = new Codec({ limits: limitsWith({ presenterBytes: MAX_BYTES }) });
const blocks = ['', '{}', '"\u{1f600}"', 'x'.repeat(60_000), '0123456789'.repeat(9_000), 'zero\0byte'.repeat(100)]
  .map((text) => Buffer.from(codec.pack(text, 'integers')));

const NUMBERS = [0, 1, 93, 255, 256, -128, -129, 1.5, 1e300, -0, NaN, Infinity];
const TEXTS = ['', 'text', ',', '1,2', '[1,2,3]', '[', '[1,,2]', '-,-', ' 1 , 2 ', '====', '\0', '\ud800', '\u{1f600}', '9'.repeat(400)];

function mutated(random, original) {
  const bytes = Buffer.from(original);
  for (let count = random(4); count > 0; --count) {
    // Half of the changes are in the header, where the lengths are.
    bytes[random(2) ? random(13) : random(bytes.length)] = random(256);
  }
  return [bytes, bytes, bytes.subarray(0, random(bytes.length + 1)), Buffer.concat([bytes, original])][random(4)];
}

function inSomeForm(random, bytes) {
  const base64 = bytes.toString('base64');
  switch (random(6)) {
    case 0: return base64;
    case 1: return [base64];
    case 2: return [...bytes.subarray(0, 2_000)];
    case 3: return `[${bytes.subarray(0, 2_000).join(', ')}]`;
    case 4: return [...new Int8Array(bytes.subarray(0, 2_000))];
    default: return base64.slice(random(4));
  }
}

function value(random, depth = 0) {
  switch (random(depth > 4 ? 4 : 8)) {
    case 0: return NUMBERS[random(NUMBERS.length)];
    case 1: return TEXTS[random(TEXTS.length)];
    case 2: return [null, true, false, undefined][random(4)];
    case 3: return inSomeForm(random, mutated(random, blocks[random(blocks.length)]));
    case 4: return { [TEXTS[random(TEXTS.length)]]: value(random, depth + 1) };
    default: return Array.from({ length: random(6) }, () => value(random, depth + 1));
  }
}

function message(random) {
  const block = () => mutated(random, blocks[random(blocks.length)]);
  switch (random(4)) {
    case 0: return value(random);
    case 1: return Array.from({ length: random(300) }, () => block().subarray(0, 300).toString('base64'));
    default: return inSomeForm(random, block());
  }
}

function checkResult(result) {
  assert.ok(['none', 'plain', 'base64', 'integers', 'string'].includes(result.form), result.form);
  assert.ok(result.text === null || typeof result.text === 'string');
  assert.ok((result.text?.length ?? 0) <= MAX_BYTES);
  if (result.tooLarge) {
    assert.deepEqual([result.form, result.text, typeof result.error], ['plain', null, 'string']);
  }
}

test('whatever comes is settled within its bounds', async (t) => {
  t.after(() => codec.close());
  const random = generator(SEED);
  const before = process.memoryUsage().rss;
  const deadline = performance.now() + MAX_MS;
  const seen = { read: 0, plain: 0, tooLarge: 0 };
  for (let round = 0; round < ROUNDS && performance.now() < deadline; round += 30) {
    const results = await Promise.all(Array.from({ length: 30 }, () => codec.unpack(message(random))));
    results.forEach(checkResult);
    results.forEach(({ form, tooLarge }) => { ++seen[tooLarge ? 'tooLarge' : form === 'plain' ? 'plain' : 'read']; });
    assert.equal((await codec.unpack(blocks[1].toString('base64'))).text, '{}');
  }
  assert.ok(Object.values(seen).every((count) => count >= 20), JSON.stringify(seen));
  const growth = process.memoryUsage().rss - before;
  assert.ok(growth < MAX_GROWTH, `${growth} bytes more than before`);
});
