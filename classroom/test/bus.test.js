// The bus's rules, with connections that are carried by nothing but the test.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { PROTOCOL_VERSION, SOURCE_SYSTEM } from '../src/protocol.js';
import { comeBack, connect, connectTest, enter, packed, setUpBus } from './support/bus.js';
import { until } from './support/service.js';

test('a message reaches every other connection that is registered on its address', () => {
  const { bus, token } = setUpBus();
  const [sender, first, second, elsewhere] = [connectTest(bus), connectTest(bus), connectTest(bus), connectTest(bus)];
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
  const { bus, token } = setUpBus();
  const [sender, receiver] = [connectTest(bus), connectTest(bus)];
  receiver.send({ type: 'register', address: token });
  receiver.send({ type: 'register', address: token });
  sender.send({ type: 'publish', address: token, body: { type: 'pause' } });
  assert.equal(receiver.messages.length, 1);
});

test('an address of no running session is refused and noted', async () => {
  const { bus, journal, sessions, session, token } = setUpBus();
  const device = connectTest(bus);
  device.send({ type: 'register', address: 'nobody.learner' });
  device.send({ type: 'publish', address: 'nobody', body: { type: 'pause' } });
  sessions.stop(session);
  device.send({ type: 'register', address: token });
  assert.deepEqual(device.messages, Array(3).fill({ type: 'error', message: 'unknown session' }));
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'register' }).map(({ address, accepted }) => [address, accepted]), [
    ['nobody.learner', false],
    [token, false],
  ]);
  assert.deepEqual(journal.find(0, { kind: 'refused' }).map(({ address, type, reason }) => [address, type, reason]), [
    ['nobody', 'pause', 'unknown session'],
  ]);
});

test('a ping is noted and answered with nothing, also before it is known who pings', async () => {
  const { bus, journal } = setUpBus();
  const device = connect(bus);
  device.send({ type: 'ping' });
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'ping' }).map(({ connection }) => connection), [1]);
  assert.deepEqual(device.messages, []);
  assert.equal(device.pings, 1);
});

test('presenters hear of a learner that comes and goes', () => {
  const place = setUpBus();
  const presenter = enter(place, 'presenter');
  const learner = enter(place, 'learner');
  learner.connection.closed();
  learner.connection.closed();
  const client = { token: learner.user.userToken, type: 'user' };
  assert.deepEqual(presenter.bodies, [{ action: 'register', client }, { action: 'unregister', client }]);
  assert.deepEqual(place.session.users, [presenter.user]);
});

test('presenters hear of a remote that comes and goes as of a controller', () => {
  const place = setUpBus();
  const presenter = enter(place, 'presenter');
  const remote = enter(place, 'controller');
  remote.connection.closed();
  const client = { token: remote.user.userToken, type: 'controller' };
  assert.deepEqual(presenter.bodies, [{ action: 'register', client }, { action: 'unregister', client }]);
});

test('nobody hears of a presenter or a test that goes', () => {
  const place = setUpBus();
  const [presenter, other, bystander] = [enter(place, 'presenter'), enter(place, 'presenter'), connectTest(place.bus)];
  bystander.send({ type: 'register', address: place.token });
  other.connection.closed();
  bystander.connection.closed();
  assert.deepEqual(presenter.messages, []);
});

test('a connection that is gone gets nothing and says nothing', () => {
  const { bus, token } = setUpBus();
  const [sender, receiver] = [connectTest(bus), connectTest(bus)];
  receiver.send({ type: 'register', address: token });
  receiver.connection.closed();
  sender.send({ type: 'publish', address: token, body: { type: 'pause' } });
  receiver.send({ type: 'register', address: token });
  sender.send({ type: 'publish', address: token, body: { type: 'resume' } });
  assert.deepEqual(receiver.messages, []);
});

test('hanging up tells the carrier and the journal why, once', async () => {
  const { bus, journal } = setUpBus();
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
  const { bus, sessions, session, token } = setUpBus();
  const other = sessions.create('teacher');
  sessions.start(other);
  const [sender, receiver] = [connectTest(bus), connectTest(bus)];
  [token, other.token].forEach((address) => receiver.send({ type: 'register', address }));
  sessions.stop(session);
  sender.send({ type: 'publish', address: token, body: { type: 'pause' } });
  sender.send({ type: 'publish', address: other.token, body: { type: 'resume' } });
  assert.deepEqual(receiver.bodies, [{ type: 'resume' }]);
});

test('learners are told when the session ends, and hung up on; the presenter is not', () => {
  const place = setUpBus();
  const [presenter, learner] = [enter(place, 'presenter'), enter(place, 'learner')];
  place.sessions.stop(place.session);
  assert.deepEqual(learner.bodies.at(-1), { from: '', type: 'disconnect', data: packed('""') });
  assert.deepEqual(learner.hungUp, [[3001, 'The class has ended']]);
  assert.deepEqual(presenter.hungUp, []);
  presenter.send({ type: 'publish', address: place.token, body: { type: 'disconnect' } });
  assert.deepEqual(presenter.errors, ['unknown session']);
});

test('a new line of the same user replaces the old at once, and presenters hear nothing of it', () => {
  const place = setUpBus();
  const presenter = enter(place, 'presenter');
  const learner = enter(place, 'learner');
  const again = comeBack(place, learner.user);
  assert.deepEqual(learner.hungUp, [[3004, 'Replaced by a new line']]);
  assert.equal(presenter.bodies.length, 1);
  presenter.send({ type: 'publish', address: place.token, body: { type: 'pause' } });
  assert.equal(again.bodies.at(-1).type, 'pause');
  assert.deepEqual(learner.bodies, []);
  const teacherAgain = comeBack(place, presenter.user);
  assert.deepEqual(presenter.hungUp, [[3004, 'Replaced by a new line']]);
  again.connection.closed();
  assert.deepEqual(teacherAgain.bodies, [{ action: 'unregister', client: { token: learner.user.userToken, type: 'user' } }]);
});

test('whoever the presenter sends away is hung up on and does not come back as who it was', () => {
  const place = setUpBus();
  const [presenter, learner] = [enter(place, 'presenter'), enter(place, 'learner')];
  const { userToken } = learner.user;
  presenter.send({ type: 'publish', address: `${place.token}.user.${userToken}`, body: { type: 'disconnect', data: packed('""') } });
  assert.deepEqual(learner.bodies.at(-1), { type: 'disconnect', data: packed('""'), from: 'presenter' });
  assert.deepEqual(learner.hungUp, [[3008, 'Removed by the teacher']]);
  assert.deepEqual(presenter.bodies.at(-1), { action: 'unregister', client: { token: userToken, type: 'user' } });
  assert.deepEqual(comeBack(place, learner.user).hungUp, [[3009, 'The token is not valid']]);
});

test('the journal has each message with its payload unpacked and the number of its receivers', async () => {
  const { bus, journal, token } = setUpBus();
  const [sender, receiver] = [connectTest(bus), connectTest(bus)];
  receiver.send({ type: 'register', address: token });
  const data = packed('{"lessonId":"l1"}');
  sender.send({ type: 'publish', address: token, body: { from: 'p', type: 'poll', version: PROTOCOL_VERSION, sourceSystem: SOURCE_SYSTEM, data } });
  await journal.settled();
  const [entry] = await until(() => journal.find(0, { kind: 'publish' }));
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
