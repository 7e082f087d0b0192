// The bus's rules, with connections that are carried by nothing but the test.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Bus } from '../src/bus/bus.js';
import { Codec } from '../src/codec/codec.js';
import { Journal } from '../src/journal.js';
import { PROTOCOL_VERSION, SOURCE_SYSTEM } from '../src/protocol.js';
import { Sessions } from '../src/state/sessions.js';

function setUp() {
  const journal = new Journal();
  const sessions = new Sessions();
  const session = sessions.create('teacher');
  sessions.start(session);
  const bus = new Bus({ sessions, codec: new Codec(), journal });
  return { journal, sessions, session, token: session.token, bus };
}

// A connection with the messages it got, as parsed texts.
function connect(bus) {
  const messages = [];
  const hungUp = [];
  let pings = 0;
  const connection = bus.attach({
    transport: 'test',
    deliver: (message) => messages.push(JSON.parse(message.text)),
    hangUp: (code, reason) => hungUp.push([code, reason]),
    pinged: () => { ++pings; },
  });
  return {
    connection,
    messages,
    send: (envelope) => connection.receiveText(JSON.stringify(envelope)),
    get bodies() { return messages.map(({ body }) => body); },
    hungUp,
    get pings() { return pings; },
  };
}

test('a message reaches every other connection that is registered on its address', () => {
  const { bus, token } = setUp();
  const [sender, first, second, elsewhere] = [connect(bus), connect(bus), connect(bus), connect(bus)];
  [sender, first, second].forEach((device) => device.send({ type: 'register', address: token }));
  elsewhere.send({ type: 'register', address: `${token}.learner` });
  sender.send({ type: 'publish', address: token, body: { from: 'p', type: 'pause', data: ['x'] } });
  const expected = [{ type: 'message', address: token, body: { from: 'p', type: 'pause', data: ['x'] } }];
  assert.deepEqual(first.messages, expected);
  assert.deepEqual(second.messages, expected);
  assert.deepEqual(sender.messages, []);
  assert.deepEqual(elsewhere.messages, []);
});

test('registering twice brings a message once', () => {
  const { bus, token } = setUp();
  const [sender, receiver] = [connect(bus), connect(bus)];
  receiver.send({ type: 'register', address: token });
  receiver.send({ type: 'register', address: token });
  sender.send({ type: 'publish', address: token, body: { type: 'pause' } });
  assert.equal(receiver.messages.length, 1);
});

test('an address of no running session is refused and noted', async () => {
  const { bus, journal, sessions, session, token } = setUp();
  const device = connect(bus);
  device.send({ type: 'register', address: 'nobody.learner' });
  device.send({ type: 'publish', address: 'nobody', body: { type: 'pause' } });
  sessions.stop(session);
  device.send({ type: 'register', address: token });
  assert.deepEqual(device.messages, [
    { type: 'error', address: 'nobody.learner', message: 'unknown session' },
    { type: 'error', address: 'nobody', message: 'unknown session' },
    { type: 'error', address: token, message: 'unknown session' },
  ]);
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'register' }).map(({ address, accepted }) => [address, accepted]), [
    ['nobody.learner', false],
    [token, false],
  ]);
  assert.deepEqual(journal.find(0, { kind: 'refused' }).map(({ address, type }) => [address, type]), [['nobody', 'pause']]);
});

test('what is no envelope changes nothing and is noted', async () => {
  const { bus, journal, token } = setUp();
  const device = connect(bus);
  const receiver = connect(bus);
  receiver.send({ type: 'register', address: token });
  for (const text of ['', '{', '1', 'null', '[]', '"register"', '{"type":"dance"}', '{"address":"x"}']) {
    device.connection.receiveText(text);
  }
  for (const body of [null, undefined, 'text', 7, ['list']]) {
    device.send({ type: 'publish', address: token, body });
  }
  assert.deepEqual(receiver.messages, []);
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'unknown' }).map(({ text }) => text), [
    '', '{', '1', 'null', '[]', '"register"', '{"type":"dance"}', '{"address":"x"}',
    'null', undefined, '"text"', '7', '["list"]',
  ]);
});

test('a ping is noted and answered with nothing', async () => {
  const { bus, journal } = setUp();
  const device = connect(bus);
  device.send({ type: 'ping' });
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'ping' }).map(({ connection }) => connection), [1]);
  assert.deepEqual(device.messages, []);
  assert.equal(device.pings, 1);
});

test('presenters hear of a learner that comes and goes', () => {
  const { bus, sessions, session, token } = setUp();
  const presenter = connect(bus);
  presenter.send({ type: 'register', address: `${token}.presenter` });
  const { userToken } = sessions.join(session, { userName: 'Ada', mode: 'learner' });
  const learner = connect(bus);
  [token, `${token}.learner`, `${token}.user.${userToken}`].forEach((address) => learner.send({ type: 'register', address }));
  learner.connection.closed();
  learner.connection.closed();
  assert.deepEqual(presenter.bodies, [
    { action: 'register', client: { token: userToken, type: 'user' } },
    { action: 'unregister', client: { token: userToken, type: 'user' } },
  ]);
  assert.equal(session.users.size, 0);
});

test('presenters hear of a controller that goes, by the name it gave in its messages', () => {
  const { bus, token } = setUp();
  const presenter = connect(bus);
  presenter.send({ type: 'register', address: `${token}.presenter` });
  const controller = connect(bus);
  controller.send({ type: 'register', address: `${token}.controller` });
  controller.send({ type: 'publish', address: `${token}.presenter`, body: { from: 'c1', type: 'nextCard' } });
  controller.connection.closed();
  assert.deepEqual(presenter.bodies, [
    { action: 'register', client: { token: '', type: 'controller' } },
    { from: 'c1', type: 'nextCard' },
    { action: 'unregister', client: { token: 'c1', type: 'controller' } },
  ]);
});

test('nobody hears of a presenter or a bystander that goes', () => {
  const { bus, token } = setUp();
  const [presenter, other, bystander] = [connect(bus), connect(bus), connect(bus)];
  [presenter, other].forEach((device) => device.send({ type: 'register', address: `${token}.presenter` }));
  bystander.send({ type: 'register', address: token });
  other.connection.closed();
  bystander.connection.closed();
  assert.deepEqual(presenter.messages, []);
});

test('a connection that is gone gets nothing and says nothing', () => {
  const { bus, token } = setUp();
  const [sender, receiver] = [connect(bus), connect(bus)];
  receiver.send({ type: 'register', address: token });
  receiver.connection.closed();
  sender.send({ type: 'publish', address: token, body: { type: 'pause' } });
  receiver.send({ type: 'register', address: token });
  sender.send({ type: 'publish', address: token, body: { type: 'resume' } });
  assert.deepEqual(receiver.messages, []);
});

test('hanging up tells the carrier and the journal why, once', async () => {
  const { bus, journal } = setUp();
  const device = connect(bus);
  bus.closeAll();
  device.connection.close();
  assert.deepEqual(device.hungUp, [[1001, 'Going away']]);
  assert.deepEqual(bus.connections, []);
  const other = connect(bus);
  other.connection.close(3000, 'No ping for 10 s');
  assert.deepEqual(other.hungUp, [[3000, 'No ping for 10 s']]);
  connect(bus).connection.closed();
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'close' }).map(({ connection, code, reason }) => [connection, code, reason]), [
    [1, 1001, 'Going away'],
    [2, 3000, 'No ping for 10 s'],
    [3, undefined, undefined],
  ]);
});

test("a stopped session's addresses are gone, others stay", () => {
  const { bus, sessions, session, token } = setUp();
  const other = sessions.create('teacher');
  sessions.start(other);
  const [sender, receiver] = [connect(bus), connect(bus)];
  [token, other.token].forEach((address) => receiver.send({ type: 'register', address }));
  sessions.stop(session);
  sender.send({ type: 'publish', address: token, body: { type: 'pause' } });
  sender.send({ type: 'publish', address: other.token, body: { type: 'resume' } });
  assert.deepEqual(receiver.bodies, [{ type: 'resume' }]);
});

test('the journal has each message with its payload unpacked and the number of its receivers', async () => {
  const { bus, journal, token } = setUp();
  const [sender, receiver] = [connect(bus), connect(bus)];
  receiver.send({ type: 'register', address: token });
  const data = new Codec().pack('{"lessonId":"l1"}', 'base64');
  sender.send({ type: 'publish', address: token, body: { from: 'p', type: 'poll', version: PROTOCOL_VERSION, sourceSystem: SOURCE_SYSTEM, data } });
  await journal.settled();
  const [entry] = journal.find(0, { kind: 'publish' });
  assert.deepEqual({ ...entry, n: 0, time: '' }, {
    n: 0,
    time: '',
    kind: 'publish',
    connection: 1,
    transport: 'test',
    address: token,
    from: 'p',
    type: 'poll',
    action: undefined,
    version: PROTOCOL_VERSION,
    sourceSystem: SOURCE_SYSTEM,
    client: undefined,
    form: 'base64',
    text: '{"lessonId":"l1"}',
    data: { lessonId: 'l1' },
    receivers: 1,
  });
});
