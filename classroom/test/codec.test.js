// The payload codec: blocks of presenters are read, whatever form they come in, and devices' blocks
// come back as what they were made from.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { test } from 'node:test';

import { decompressBlock } from '../src/codec/block.js';
import { Codec } from '../src/codec/codec.js';
import { patientCodec } from './support/codec.js';

// "hello hello hello hello" as presenters compress it: dictionary of 16384, the length twice, an end
// marker behind the stream.
const HELLO = Buffer.from('5d00400000' + '17000000' + '17000000' + '00341949db855c67de87f95ffffff74200', 'hex');

function newCodec(t) {
  const codec = patientCodec();
  t.after(() => codec.close());
  return codec;
}

function withLength(length) {
  const block = Buffer.from(HELLO);
  block.writeUInt32LE(length, 5);
  block.writeUInt32LE(length, 9);
  return block;
}

test('a block whose length is written twice is read', () => {
  assert.equal(decompressBlock(HELLO, 23), 'hello hello hello hello');
});

test('a block whose length field is plain is read', () => {
  const block = Buffer.from(HELLO);
  block.writeUInt32LE(0, 9);
  assert.equal(decompressBlock(block, 4096), 'hello hello hello hello');
});

for (const [what, block, message] of [
  ['no bytes', Buffer.alloc(0), /holds no stream/],
  ['a header alone', HELLO.subarray(0, 13), /a block of 13 bytes holds no stream/],
  ['a length of 4 GB', withLength(0xffffffff), /declares 4294967295 bytes/],
  ['a length beyond the stream', withLength(24), /declares 24 bytes and holds 23/],
  ['a stream that ends early', HELLO.subarray(0, 20), /./],
  ['a length beyond what is borne', withLength(4097), /declares 4097 bytes/],
  ['twelve bits of context', Buffer.concat([Buffer.from([44]), HELLO.subarray(1)]), /12 bits of context/],
  ['two lengths', Buffer.concat([HELLO.subarray(0, 9), Buffer.from([24, 0, 0, 0]), HELLO.subarray(13)]), /neither plain nor/],
  ['properties that do not exist', Buffer.concat([Buffer.from([0xff]), HELLO.subarray(1)]), /./],
]) {
  test(`a block with ${what} is an error`, () => {
    assert.throws(() => decompressBlock(block, 4096), message);
  });
}

for (const form of ['base64', 'integers', 'string']) {
  for (const text of ['', '{}', '{"userName":"Zoë €"}', '"\u{1f600} clef \u{1d11e}"', 'zero\0byte']) {
    test(`${JSON.stringify(text)} comes back from the form ${form}`, async (t) => {
      const codec = newCodec(t);
      assert.deepEqual(await codec.unpack(codec.pack(text, form)), { form, text });
    });
  }
}

test('the base64 form is a list of one text, the integer form a list of signed bytes', (t) => {
  const codec = newCodec(t);
  const [base64, ...rest] = codec.pack('"x"', 'base64');
  assert.equal(typeof base64, 'string');
  assert.deepEqual(rest, []);
  const integers = codec.pack('"x"', 'integers');
  assert.ok(integers.every((byte) => Number.isInteger(byte) && byte >= -128 && byte <= 127));
  assert.deepEqual(Buffer.from(integers), Buffer.from(base64, 'base64'));
});

test('the texts of a list of several blocks are joined and empty ones skipped', async (t) => {
  const codec = newCodec(t);
  const data = [...codec.pack('{"a":', 'base64'), '', ...codec.pack('1}', 'base64')];
  assert.deepEqual(await codec.unpack(data), { form: 'base64', text: '{"a":1}' });
});

test('the bracketed list of bytes is read', async (t) => {
  const codec = newCodec(t);
  assert.deepEqual(await codec.unpack(`[${[...HELLO].join(',')}]`), { form: 'string', text: 'hello hello hello hello' });
});

test('what is not compressed is passed on with the reason', async (t) => {
  const codec = newCodec(t);
  assert.deepEqual(await codec.unpack(undefined), { form: 'none', text: null });
  assert.deepEqual(await codec.unpack({ plain: true }), { form: 'plain', text: '{"plain":true}' });
  assert.deepEqual(await codec.unpack([]), { form: 'plain', text: '[]' });
  const plain = await codec.unpack('just text');
  assert.equal(plain.form, 'plain');
  assert.equal(plain.text, 'just text');
  assert.match(plain.error, /holds no stream/);
  const long = 'just a text that is longer than the header of a block';
  assert.deepEqual({ ...await codec.unpack(long), error: '' }, { form: 'plain', text: long, error: '' });
});

test('a list of anything else is passed on with what it is', async (t) => {
  const codec = newCodec(t);
  for (const data of [['text', 1], [1, 'text'], [1, 256], [1.5], [[93, 0]], [null], [{}], true, 5, null]) {
    assert.deepEqual(await codec.unpack(data), { form: 'plain', text: JSON.stringify(data) });
  }
});

test('a list of bytes that is no block comes back with its signs', async (t) => {
  const codec = newCodec(t);
  const { error, ...plain } = await codec.unpack([-1, 255, 7]);
  assert.deepEqual(plain, { form: 'plain', text: '[-1,255,7]' });
  assert.match(error, /3 bytes/);
});

test('a large block that is damaged is an error, and the next one is read', async (t) => {
  const codec = newCodec(t);
  const text = randomBytes(100_000).toString('base64');
  const [data] = codec.pack(text, 'base64');
  const damaged = await codec.unpack(data.slice(40_000));
  assert.equal(damaged.form, 'plain');
  assert.equal(damaged.text, data.slice(40_000));
  assert.deepEqual(await codec.unpack(data), { form: 'string', text });
});

test('a large text is packed while the event loop goes on, and is what pack gives', async (t) => {
  const codec = newCodec(t);
  const text = randomBytes(200_000).toString('base64');
  let turns = 0;
  const ticking = setInterval(() => { ++turns; }, 1);
  const data = await codec.packLater(text, 'string');
  clearInterval(ticking);
  assert.ok(turns >= 20, `the loop turned ${turns} times`);
  assert.equal(data, codec.pack(text, 'string'));
  assert.deepEqual(await codec.packLater('"x"', 'integers'), codec.pack('"x"', 'integers'));
});

test('closing the codec gives up what is being decoded and what comes later', async () => {
  const codec = new Codec();
  const data = codec.pack('x'.repeat(100_000), 'base64');
  const waiting = [codec.unpack(data), codec.unpack(data), codec.unpack('[1]'.padEnd(1_000))];
  const packing = assert.rejects(codec.packLater('y'.repeat(100_000), 'base64'), /the decoder has ended/);
  await codec.close();
  waiting.push(codec.unpack(data));
  const given = { form: 'plain', text: null, error: 'the decoder has ended', tooLarge: true };
  assert.deepEqual(await Promise.all(waiting), [given, given, given, given]);
  await packing;
});
