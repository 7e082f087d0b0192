// The meter of web-socket frames, byte by byte.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { FrameMeter } from '../src/bus/frames.js';

const TEXT = 0x1;
const CONTINUATION = 0x0;
const PING = 0x9;
const PONG = 0xa;

function frame(opcode, payload = '', { final = true, masked = true } = {}) {
  const body = Buffer.from(payload);
  const mask = masked ? 0x80 : 0;
  let length = Buffer.from([mask | body.length]);
  if (body.length > 65_535) {
    length = Buffer.alloc(9, mask | 127);
    length.writeBigUInt64BE(BigInt(body.length), 1);
  } else if (body.length > 125) {
    length = Buffer.from([mask | 126, body.length >> 8, body.length & 0xff]);
  }
  return Buffer.concat([Buffer.from([(final ? 0x80 : 0) | opcode]), length, Buffer.alloc(masked ? 4 : 0, 0x55), body]);
}

function message(fragments) {
  const frames = Array.from({ length: fragments }, (_, i) => (
    frame(i === 0 ? TEXT : CONTINUATION, '', { final: i === fragments - 1 })));
  return Buffer.concat(frames);
}

function meter(limits = {}, clock = { now: 0 }) {
  return new FrameMeter({ framesOfMessage: 4, controlFramesPerSecond: 3, ...limits }, () => clock.now);
}

// How many bytes are taken before the meter says no; all of them if it never does.
function takenBy(target, bytes) {
  for (let i = 0; i < bytes.length; i += 1) {
    if (!target.take(bytes.subarray(i, i + 1))) {
      return i;
    }
  }
  return bytes.length;
}

test('frames of every kind and length pass, wherever their bytes are cut', () => {
  const bytes = Buffer.concat([
    frame(TEXT, 'short'), frame(TEXT, 'm'.repeat(126)), frame(PING, 'p'.repeat(125)), frame(TEXT, 'x', { masked: false }),
    frame(TEXT, 'begun', { final: false }), frame(PONG), frame(CONTINUATION, 'ended'), frame(TEXT), frame(PING),
  ]);
  for (let cut = 0; cut <= bytes.length; cut += 1) {
    const target = meter();
    assert.ok(target.take(bytes.subarray(0, cut)) && target.take(bytes.subarray(cut)), `cut at ${cut}`);
    assert.equal(target.take(frame(PING)), false, `cut at ${cut}`);
  }
  assert.equal(takenBy(meter(), bytes), bytes.length);
});

test('payloads are never read as frames', () => {
  const pings = Buffer.concat(Array(20).fill(frame(PING)));
  for (const payload of [pings, Buffer.alloc(70_000, 0x89), message(40)]) {
    const target = meter();
    assert.ok(target.take(Buffer.concat([frame(TEXT, payload), frame(PING), frame(PING), frame(PING)])));
    assert.equal(target.take(frame(PING)), false);
  }
});

test('a message has so many fragments and no more, wherever they are cut', () => {
  const allowed = message(4);
  assert.equal(takenBy(meter(), Buffer.concat([allowed, allowed, allowed])), 3 * allowed.length);
  const tooMany = message(5);
  assert.equal(takenBy(meter(), tooMany), tooMany.length - 1);
  for (let cut = 0; cut <= tooMany.length; cut += 1) {
    const target = meter();
    assert.ok(!(target.take(tooMany.subarray(0, cut)) && target.take(tooMany.subarray(cut))), `cut at ${cut}`);
  }
});

test('control frames between the fragments do not begin the count anew', () => {
  const begun = frame(TEXT, '', { final: false });
  const more = frame(CONTINUATION, '', { final: false });
  assert.equal(meter().take(Buffer.concat([begun, more, frame(PONG), more, more])), true);
  assert.equal(meter().take(Buffer.concat([begun, more, frame(PONG), more, more, more])), false);
});

test('a second has so many control frames and no more; the next one has its own', () => {
  const clock = { now: 5_000 };
  const target = meter({}, clock);
  assert.ok(target.take(Buffer.concat([frame(PING), frame(PONG), frame(PING)])));
  clock.now += 1_000;
  assert.ok(target.take(Buffer.concat([frame(PING), frame(PONG), frame(0x8)])));
  clock.now += 999;
  assert.equal(target.take(frame(PONG)), false);
});

test('a length beyond all measure is waited for and nothing else', () => {
  const target = meter();
  const header = Buffer.concat([Buffer.from([0x81, 0xff]), Buffer.alloc(8, 0xff), Buffer.alloc(4)]);
  assert.ok(target.take(header));
  assert.ok(target.take(Buffer.concat(Array(100).fill(frame(PING)))));
});
