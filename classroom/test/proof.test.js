// A connection is one user: what it may say before that is known, and how it becomes known.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { connect, enter, packed, setUpBus } from './support/bus.js';
import { until } from './support/service.js';

function join(sessions, session, mode) {
  return sessions.join(session, { userName: 'Ada', mode, deviceName: 'd', deviceType: 'tablet' });
}

test('what comes before the user token waits for it and is let through in order', async () => {
  const { bus, journal, sessions, session, token } = setUpBus();
  const { userToken } = join(sessions, session, 'presenter');
  const device = connect(bus);
  device.send({ type: 'register', address: token });
  device.send({ type: 'register', address: `${token}.presenter` });
  assert.deepEqual([device.connection.role, [...device.connection.addresses]], [null, []]);
  device.send({ type: 'register', address: `${token}.presenter.${userToken}` });
  assert.deepEqual(device.roles, ['presenter']);
  await journal.settled();
  assert.deepEqual(journal.find(0, { kind: 'register' }).map(({ address, accepted }) => [address, accepted]), [
    [token, true], [`${token}.presenter`, true], [`${token}.presenter.${userToken}`, true],
  ]);
});

test("a device's join that comes before its token reaches the presenter behind it", async () => {
  const place = setUpBus();
  const presenter = enter(place, 'presenter');
  const user = join(place.sessions, place.session, 'learner');
  const device = connect(place.bus);
  const data = packed({ userName: 'Ada', deviceType: 'tablet' });
  device.send({ type: 'publish', address: `${place.token}.presenter`, body: { type: 'join', data } });
  assert.deepEqual(presenter.bodies, []);
  device.send({ type: 'register', address: `${place.token}.user.${user.userToken}` });
  await until(() => presenter.bodies.length === 2);
  assert.deepEqual(presenter.bodies, [
    { action: 'register', client: { token: user.userToken, type: 'user' } },
    { from: user.userToken, type: 'join', data },
  ]);
});

test('a connection that does not say who it is, is hung up on after its time', async () => {
  const { bus, token } = setUpBus({ proofMs: 30 });
  const device = connect(bus);
  device.send({ type: 'register', address: token });
  device.send({ type: 'ping' });
  await until(() => device.hungUp.length > 0);
  assert.deepEqual(device.hungUp, [[3003, 'Nobody said who this is']]);
});

test('a connection that has said who it is, stays', async () => {
  const place = setUpBus({ proofMs: 30 });
  const learner = enter(place, 'learner');
  const other = connect(place.bus);
  await until(() => other.hungUp.length > 0);
  assert.deepEqual(learner.hungUp, []);
});

test('no more waits for the token than a device has to say', () => {
  const { bus, token } = setUpBus({ waitingForProof: 3 });
  const device = connect(bus);
  for (let i = 0; i < 3; ++i) {
    device.send({ type: 'register', address: token });
  }
  assert.deepEqual(device.hungUp, []);
  device.send({ type: 'register', address: token });
  assert.deepEqual(device.hungUp, [[3003, 'Nobody said who this is']]);
});

for (const [what, mode, place] of [
  ["a learner's token on a presenter's address", 'learner', 'presenter'],
  ["a remote's token on a presenter's address", 'controller', 'presenter'],
  ["a presenter's token on a user's address", 'presenter', 'user'],
]) {
  test(`${what} proves nothing`, () => {
    const { bus, sessions, session, token } = setUpBus();
    const device = connect(bus);
    device.send({ type: 'register', address: `${token}.${place}.${join(sessions, session, mode).userToken}` });
    assert.deepEqual([device.hungUp, device.connection.role], [[[3009, 'The token is not valid']], null]);
  });
}

test("another session's token proves nothing", () => {
  const { bus, sessions, session, token } = setUpBus();
  const other = sessions.create('teacher');
  sessions.start(other);
  const device = connect(bus);
  device.send({ type: 'register', address: `${token}.user.${join(sessions, other, 'learner').userToken}` });
  assert.deepEqual(device.hungUp, [[3009, 'The token is not valid']]);
  const own = connect(bus);
  own.send({ type: 'register', address: other.token });
  own.send({ type: 'register', address: `${token}.user.${join(sessions, session, 'learner').userToken}` });
  assert.deepEqual([own.connection.role, own.errors], ['learner', ['not allowed']]);
});

test('a connection stays who it is', () => {
  const place = setUpBus();
  const [learner, other] = [enter(place, 'learner'), enter(place, 'learner', 'Ben')];
  learner.send({ type: 'register', address: `${place.token}.user.${other.user.userToken}` });
  assert.deepEqual([learner.errors, learner.connection.user], [['not allowed'], learner.user]);
});

test('a device registers on as many addresses as it needs', () => {
  const place = setUpBus({ addresses: 2 });
  const learner = enter(place, 'learner');
  assert.deepEqual([learner.errors, learner.connection.addresses.size], [['too many addresses'], 2]);
});
