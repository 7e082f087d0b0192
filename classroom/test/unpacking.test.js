// Unpacking what strangers send: the bounds of a message, the threads that do the work, and what is left
// for the messages behind one that takes long.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { test } from 'node:test';

import { Codec } from '../src/codec/codec.js';
import { Decoder } from '../src/codec/decoder.js';
import { patientCodec } from './support/codec.js';

const MIB = 1024 * 1024;

const TOO_LARGE = { form: 'plain', text: null, tooLarge: true };

const packer = new Codec();

// Packing it takes a second or two, unpacking it half a second.
const LARGE = block(packer, 'x'.repeat(8 * MIB));

function newCodec(t, limits) {
  const codec = patientCodec(limits);
  t.after(() => codec.close());
  return codec;
}

function newDecoder(t, options) {
  const decoder = new Decoder({ atOnceBytes: Infinity, heapBytes: 64 * MIB, ...options });
  t.after(() => decoder.close());
  return decoder;
}

function block(codec, text, declared = Buffer.byteLength(text)) {
  const bytes = Buffer.from(codec.pack(text, 'integers'));
  bytes.writeUInt32LE(declared, 5);
  bytes.writeUInt32LE(0, 9);
  return bytes.toString('base64');
}

// The results for a small message, a large one and a small one that come together.
function resultsOf(decoder) {
  const messages = [block(packer, 'before'), LARGE, block(packer, 'after')];
  return Promise.all(messages.map((data) => decoder.run({ data, maxBytes: 64 * MIB }, 1)));
}

// {error, plain}: how a message was refused.
async function refusal(codec, data, options) {
  const { error, ...plain } = await codec.unpack(data, options);
  return { error, plain };
}

// The same, at once: a busy machine may take its time once, but not each time.
async function promptRefusal(codec, data, limitMs) {
  const times = [];
  for (let tries = 0; tries < 5; ++tries) {
    const before = performance.now();
    const refused = await refusal(codec, data);
    times.push(performance.now() - before);
    if (times.at(-1) < limitMs) {
      return refused;
    }
  }
  return assert.fail(`refused after ${times.join(', ')} ms`);
}

test('what the blocks of a message declare is added up before one of them is decoded', async (t) => {
  const codec = newCodec(t);
  await codec.unpack('to start the thread');
  const nineKb = block(codec, randomBytes(7_000).toString('base64'), 60 * MIB);
  const { error, plain } = await promptRefusal(codec, [nineKb, nineKb, nineKb, nineKb], 500);
  assert.equal(error, 'the message declares 251658240 bytes');
  assert.deepEqual(plain, TOO_LARGE);
});

test('a message has 256 blocks at most', async (t) => {
  const codec = newCodec(t);
  const one = block(codec, '0');
  assert.deepEqual(await codec.unpack([...Array(256).fill(one), '']), { form: 'base64', text: '0'.repeat(256) });
  const zeros = block(codec, '\0'.repeat(64 * 1024));
  const { error, plain } = await promptRefusal(codec, Array(3_000).fill(zeros), 100);
  assert.equal(error, 'the message has 3000 blocks');
  assert.deepEqual(plain, TOO_LARGE);
});

for (const form of ['base64', 'integers', 'string']) {
  test(`a message in the form ${form} may be as large as its bound and no larger`, async (t) => {
    const codec = newCodec(t);
    const fits = codec.pack('x'.repeat(1_000), form);
    assert.deepEqual(await codec.unpack(fits, { maxBytes: 1_000 }), { form, text: 'x'.repeat(1_000) });
    const { error, ...plain } = await codec.unpack(fits, { maxBytes: 999 });
    assert.equal(error, 'the message declares 1000 bytes');
    assert.deepEqual(plain, TOO_LARGE);
  });
}

test('what is not compressed has the same bound', async (t) => {
  const codec = newCodec(t);
  for (const data of ['y'.repeat(1_001), ['y'.repeat(1_001)], { y: 'y'.repeat(1_001) }, Array(600).fill(1)]) {
    const { error, ...plain } = await codec.unpack(data, { maxBytes: 1_000 });
    assert.deepEqual(plain, TOO_LARGE);
    assert.match(error, /./);
  }
  assert.equal((await codec.unpack('y'.repeat(1_000), { maxBytes: 1_000 })).text, 'y'.repeat(1_000));
});

test('without a bound of its own a message has that of presenters', async (t) => {
  const codec = newCodec(t, { presenterBytes: 100_000 });
  assert.equal((await codec.unpack(block(codec, 'x'.repeat(100_000)))).text.length, 100_000);
  assert.equal((await codec.unpack(block(codec, 'x'.repeat(100_001)))).error, 'the message declares 100001 bytes');
});

test('a block that declares nothing holds nothing, whatever its stream says', async (t) => {
  const codec = newCodec(t);
  const endless = Buffer.concat([Buffer.from('5d000040000000000000000000', 'hex'), Buffer.alloc(100)]);
  assert.deepEqual(await codec.unpack(endless.toString('base64')), { form: 'string', text: '' });
});

test('a dictionary of 4 GB costs no more than the text', async (t) => {
  const codec = newCodec(t);
  const bytes = Buffer.from(block(codec, 'hello'), 'base64');
  bytes.writeUInt32LE(0xffffffff, 1);
  assert.deepEqual(await codec.unpack([...bytes]), { form: 'integers', text: 'hello' });
});

test('values that are nested too deep to be written are too large', async (t) => {
  const codec = newCodec(t);
  let nested = {};
  for (let depth = 0; depth < 100_000; ++depth) {
    nested = { nested };
  }
  const { plain } = await refusal(codec, nested);
  assert.deepEqual(plain, TOO_LARGE);
});

test('a large message holds up neither the event loop nor the small ones', async (t) => {
  const codec = newCodec(t);
  const [small, large] = [block(codec, 'small'), LARGE];
  await codec.unpack(small);
  let longest = 0;
  let last = performance.now();
  const ticking = setInterval(() => {
    longest = Math.max(longest, performance.now() - last);
    last = performance.now();
  }, 1);
  const order = [];
  const readings = [large, large, small, small].map(async (data) => order.push((await codec.unpack(data)).text.length));
  await Promise.all(readings);
  clearInterval(ticking);
  assert.deepEqual(order, [5, 5, 8 * MIB, 8 * MIB]);
  assert.ok(longest < 250, `the event loop stood still for ${longest} ms`);
});

test('decoding that takes too long ends, and what came with it is read', async (t) => {
  const decoder = newDecoder(t, { decodingMs: 20, decodingMsPerMib: 0 });
  const results = await resultsOf(decoder);
  assert.deepEqual(results, [
    { form: 'string', text: 'before' },
    { broken: 'decoding takes too long' },
    { form: 'string', text: 'after' },
  ]);
});

test('decoding that needs too much memory ends its thread alone, and what came with it is read', async (t) => {
  const decoder = newDecoder(t, { heapBytes: 0 });
  const results = await resultsOf(decoder);
  assert.deepEqual([results[0].text, results[2].text], ['before', 'after']);
  assert.match(results[1].broken, /memory/);
});

test('two thousand messages at once come back each as itself', async (t) => {
  const codec = newCodec(t);
  const data = Array.from({ length: 50 }, (_, i) => block(codec, `"${i}"`));
  const texts = await Promise.all(Array.from({ length: 2_000 }, async (_, i) => (await codec.unpack(data[i % 50])).text));
  assert.deepEqual(texts, Array.from({ length: 2_000 }, (_, i) => `"${i % 50}"`));
});

test('more characters than a payload can have are not looked at, and lists as long as they may be are borne', async (t) => {
  const codec = newCodec(t, { presenterBytes: MIB });
  const longer = ['1,'.repeat(3 * MIB), Array(6 * MIB).fill(93), ['1,'.repeat(2 * MIB), '1,'.repeat(2 * MIB)]];
  for (const data of longer) {
    const { error, plain } = await refusal(codec, data);
    assert.match(error, /^the data has \d+ characters$/);
    assert.deepEqual(plain, TOO_LARGE);
  }
  for (const data of [`${'1,'.repeat(2.6 * MIB)}1`, Array(5 * MIB).fill(93), [`${'1,'.repeat(2.6 * MIB)}1`]]) {
    assert.deepEqual((await refusal(codec, data)).plain, TOO_LARGE);
  }
  assert.equal((await codec.unpack(block(codec, 'next'))).text, 'next');
});
