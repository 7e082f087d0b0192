// Which texts are envelopes, and what becomes of whoever sends others.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { readEnvelope } from '../src/bus/envelope.js';
import { LIMITS } from '../src/limits.js';
import { connect, connectTest, enter, setUpBus } from './support/bus.js';

const deep = (count) => '['.repeat(count) + ']'.repeat(count);

const ENVELOPES = [
  ['{"type":"ping"}', { type: 'ping' }],
  ['{"type":"ping","address":7}', { type: 'ping' }],
  ['{"type":"register","address":"t.learner","extra":1}', { type: 'register', address: 't.learner' }],
  ['{"type":"publish","address":"t","body":{"type":"pause"}}', { type: 'publish', address: 't', body: { type: 'pause' } }],
  [`{"type":"publish","address":"t","body":{"x":${deep(30)}}}`, { type: 'publish', address: 't', body: { x: JSON.parse(deep(30)) } }],
  [`{"type":"register","address":"${'t'.repeat(200)}"}`, { type: 'register', address: 't'.repeat(200) }],
];
for (const [text, envelope] of ENVELOPES) {
  test(`an envelope: ${text.slice(0, 80)}`, () => {
    assert.deepEqual(readEnvelope(text, LIMITS), envelope);
  });
}

const OTHERS = [
  '', '{', '1', 'null', '[]', '"register"', '{"type":"dance"}', '{"address":"x"}', '{"type":["ping"]}',
  '{"type":"register"}', '{"type":"register","address":{"toString":0}}', '{"type":"register","address":["t"]}',
  '{"type":"register","address":null}', '{"type":"publish","address":7,"body":{}}',
  `{"type":"register","address":"${'t'.repeat(201)}"}`,
  ...['null', '"text"', '7', '["list"]', 'true'].map((body) => `{"type":"publish","address":"t","body":${body}}`),
  '{"type":"publish","address":"t"}',
  `{"type":"publish","address":"t","body":{"x":${deep(31)}}}`,
  `{"type":"register","address":${deep(20_000)}}`,
  `{"type":"publish","address":"t","body":${deep(20_000)}}`,
  deep(20_000), '{"type":"ping","x":' + deep(20_000) + '}',
];
for (const text of OTHERS) {
  test(`no envelope: ${text.slice(0, 80)}`, async () => {
    assert.equal(readEnvelope(text, LIMITS), null);
    const place = setUpBus();
    const [learner, unknown] = [enter(place, 'learner'), connect(place.bus)];
    [learner, unknown].forEach(({ connection }) => connection.receive(text));
    assert.deepEqual([learner.hungUp, unknown.hungUp], Array(2).fill([[3002, 'Not an envelope']]));
    await place.journal.settled();
    assert.deepEqual(place.journal.find(0, { kind: 'unknown' }).map((entry) => entry.text), [text, text]);
  });
}

for (const value of [null, undefined, 7, true, ['{"type":"ping"}'], { type: 'ping' }]) {
  test(`what is no text is no envelope: ${JSON.stringify(value)}`, () => {
    assert.equal(readEnvelope(value, LIMITS), null);
  });
}

test("a presenter's broken message is refused and the class goes on", () => {
  const place = setUpBus();
  const presenter = enter(place, 'presenter');
  presenter.connection.receive('{"type":"publish","address":"t","body":{"name":"he said "no""}}');
  assert.deepEqual([presenter.errors, presenter.hungUp], [['not an envelope'], []]);
});

test('an address of an unknown shape is refused', () => {
  const { bus, token } = setUpBus();
  const addresses = ['', '.', '.learner', `${token}.`, `${token}.user`, `${token}.user.a.b`, `${token}.learner.x`, `${token}.teacher`,
    `${token} .learner`, `${token}.user.${'x'.repeat(65)}`, `${token}.user.<b>`, `${token}\n.learner`, `${token}.learner\n`];
  const device = connectTest(bus);
  addresses.forEach((address) => device.send({ type: 'register', address }));
  assert.deepEqual(device.errors, addresses.map(() => 'unknown address'));
});

// Small changes to real envelopes, from a fixed seed: whatever comes, nothing is thrown, and the others
// of the class are served as before.
test('no text does more than end its own connection', async () => {
  const place = setUpBus();
  const presenter = enter(place, 'presenter');
  const samples = ENVELOPES.map(([text]) => text.replaceAll('"t', `"${place.token}`)).concat(OTHERS.filter((text) => text.length < 300));
  const random = seeded(14);
  for (let i = 0; i < 5_000; ++i) {
    const device = random(2) === 0 ? connect(place.bus) : enter(place, 'learner');
    await device.connection.receive(mutated(samples[random(samples.length)], random));
    device.connection.closed();
    if (device.user) {
      place.sessions.remove(place.session, device.user);
    }
  }
  const learner = enter(place, 'learner');
  presenter.send({ type: 'publish', address: place.token, body: { type: 'pause' } });
  assert.deepEqual(learner.bodies.at(-1), { type: 'pause', from: 'presenter' });
});

const PIECES = ['"', '{', '}', '[', ']', ':', ',', '\\', '\u0000', '\ud800', '__proto__', 'toString', 'null', '1e999', '"type":', '.user.', '.', deep(40)];

function mutated(text, random) {
  let result = text;
  for (let i = random(4); i >= 0; --i) {
    const at = random(result.length + 1);
    result = result.slice(0, at) + PIECES[random(PIECES.length)] + result.slice(at + random(3));
  }
  return result;
}

function seeded(seed) {
  let state = seed;
  return (count) => {
    state = (Math.imul(state, 1_664_525) + 1_013_904_223) >>> 0;
    return Math.floor(state / 2 ** 32 * count);
  };
}
