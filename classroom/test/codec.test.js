// The payload codec: blocks of presenters are read, whatever form they come in, and devices' blocks
// come back as what they were made from.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { test } from 'node:test';

import { decompressBlock } from '../src/codec/block.js';
import { Codec } from '../src/codec/codec.js';

// "hello hello hello hello" as presenters compress it: dictionary of 16384, the length twice, an end
// marker behind the stream.
const HELLO = Buffer.from('5d00400000' + '17000000' + '17000000' + '00341949db855c67de87f95ffffff74200', 'hex');

function newCodec(t) {
  const codec = new Codec();
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
  assert.equal(decompressBlock(HELLO), 'hello hello hello hello');
});

test('a block whose length field is plain is read', () => {
  const block = Buffer.from(HELLO);
  block.writeUInt32LE(0, 9);
  assert.equal(decompressBlock(block), 'hello hello hello hello');
});

for (const [what, block, message] of [
  ['no bytes', Buffer.alloc(0), /holds no stream/],
  ['a header alone', HELLO.subarray(0, 13), /a block of 13 bytes holds no stream/],
  ['a length of 4 GB', withLength(0xffffffff), /declares 4294967295 bytes/],
  ['a length beyond the stream', withLength(24), /declares 24 bytes and holds 23/],
  ['a stream that ends early', HELLO.subarray(0, 20), /./],
  ['properties that do not exist', Buffer.concat([Buffer.from([0xff]), HELLO.subarray(1)]), /./],
]) {
  test(`a block with ${what} is an error`, () => {
    assert.throws(() => decompressBlock(block), message);
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
});

test('a large block is decoded while the event loop goes on', async (t) => {
  const codec = newCodec(t);
  const text = randomBytes(400_000).toString('base64');
  const data = codec.pack(text, 'base64');
  let turns = 0;
  const ticking = setInterval(() => { ++turns; }, 1);
  const unpacked = await codec.unpack(data);
  clearInterval(ticking);
  assert.equal(unpacked.text, text);
  assert.ok(turns >= 5, `the loop turned ${turns} times`);
});

test('a large block that is damaged is an error, and the next one is read', async (t) => {
  const codec = newCodec(t);
  const text = randomBytes(100_000).toString('base64');
  const block = Buffer.from(codec.pack(text, 'integers'));
  await assert.rejects(codec.decompress(block.subarray(0, 70_000)), /./);
  assert.equal(await codec.decompress(block), text);
});

test('closing the codec gives up what is being decoded', async () => {
  const codec = new Codec();
  const decoding = codec.decompress(Buffer.from(codec.pack(randomBytes(400_000).toString('base64'), 'integers')));
  const rejected = assert.rejects(decoding, /the decoder has ended/);
  await codec.close();
  await rejected;
});
