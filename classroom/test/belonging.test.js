// Who may register where and publish what to whom: every cell of the table, over the bus itself.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { enter, packed, setUpBus } from './support/bus.js';
import { until } from './support/service.js';

const ROLES = ['presenter', 'learner', 'controller'];

// By place: who may register there (p, l, c), and who may publish anything there.
const REGISTERS = {
  '': 'pl',
  '.presenter': 'p',
  '.presenter.OWN': 'p',
  '.presenter.OTHER': '',
  '.learner': 'l',
  '.controller': 'c',
  '.user.OWN': 'lc',
  '.user.OTHER': '',
  '.user.': '',
};
const PRESENTER_ALONE = Object.keys(REGISTERS).filter((place) => place !== '.user.OWN');

const LEARNERS_TYPES = ['join', 'pollResponse', 'questionResponse', 'questionGet'];
const REMOTES_TYPES = ['requestLessonInfo', 'requestLesson', 'presenterActive', 'pause', 'resume', 'lockAll', 'unlockAll',
  'nextCard', 'previousCard', 'pushCurrentCard', 'addImageCard', 'stopSession'];
const PRESENTERS_TYPES = ['poll', 'questionStart', 'pollStop', 'disconnect', 'showCard', 'assessmentStart', 'wave'];

// A class with one of each role, and a device of the role in question; address(place) in its session.
function classWith(role) {
  const place = setUpBus();
  const presenter = enter(place, 'presenter', 'Teacher');
  const other = enter(place, 'learner', 'Ben');
  const device = enter(place, role);
  const address = (text) => place.token + text.replace('OWN', device.user.userToken).replace('OTHER', other.user.userToken);
  return { place, presenter, device, address };
}

for (const role of ROLES) {
  for (const [place, letters] of Object.entries(REGISTERS)) {
    const isAllowed = letters.includes(role[0]);
    test(`a ${role} ${isAllowed ? 'registers' : 'does not register'} on "${place}"`, () => {
      const { device, address } = classWith(role);
      device.send({ type: 'register', address: address(place) });
      assert.equal(device.connection.addresses.has(address(place)), isAllowed);
      assert.deepEqual(device.errors, isAllowed ? [] : ['not allowed']);
    });
  }
}

for (const place of PRESENTER_ALONE) {
  test(`a presenter publishes anything to "${place}"`, () => {
    const { device, address } = classWith('presenter');
    [...PRESENTERS_TYPES, ...LEARNERS_TYPES, ...REMOTES_TYPES]
      .forEach((type) => device.send({ type: 'publish', address: address(place), body: { type } }));
    assert.deepEqual(device.errors, []);
  });
}

for (const role of ['learner', 'controller']) {
  for (const place of Object.keys(REGISTERS).filter((text) => text !== '.presenter')) {
    test(`a ${role} publishes nothing to "${place}"`, () => {
      const { device, address, presenter } = classWith(role);
      const before = presenter.messages.length;
      const types = [...PRESENTERS_TYPES, ...LEARNERS_TYPES, ...REMOTES_TYPES];
      types.forEach((type) => device.send({ type: 'publish', address: address(place), body: { type } }));
      assert.deepEqual(device.errors, types.map(() => 'not allowed'));
      assert.equal(presenter.messages.length, before);
    });
  }
}

test("learners publish learners' messages to the presenters and nothing else", async () => {
  const { device, presenter, place } = classWith('learner');
  const address = `${place.token}.presenter`;
  for (const type of [...LEARNERS_TYPES, ...REMOTES_TYPES, ...PRESENTERS_TYPES, 'unregister']) {
    await device.send({ type: 'publish', address, body: { type, data: packed({ userName: 'Ada', deviceType: 'tablet', questionId: type, pollId: type }) } });
  }
  await until(() => presenter.bodies.filter(({ type }) => type).length >= 4);
  assert.deepEqual(presenter.bodies.filter(({ type }) => type).map(({ type }) => type), LEARNERS_TYPES);
  assert.equal(device.errors.length, REMOTES_TYPES.length + PRESENTERS_TYPES.length + 1);
});

test("remotes publish remotes' commands to the presenters and nothing else", () => {
  const { device, presenter, place } = classWith('controller');
  const address = `${place.token}.presenter`;
  [...REMOTES_TYPES, ...LEARNERS_TYPES, ...PRESENTERS_TYPES].forEach((type) => device.send({ type: 'publish', address, body: { type } }));
  assert.deepEqual(presenter.bodies.filter(({ type }) => type).map(({ type }) => type), REMOTES_TYPES);
});

for (const [role, type] of [['learner', 'join'], ['controller', 'nextCard']]) {
  test(`a ${role} sends no actions`, () => {
    const { device, presenter, place } = classWith(role);
    const before = presenter.messages.length;
    const body = { action: 'unregister', client: { token: 'x', type: 'user' }, type, data: packed({}) };
    device.send({ type: 'publish', address: `${place.token}.presenter`, body });
    assert.deepEqual([device.errors, presenter.messages.length], [['not allowed'], before]);
  });
}

test('nobody publishes or registers in another session', () => {
  const { place, device } = classWith('presenter');
  const other = place.sessions.create('teacher');
  place.sessions.start(other);
  device.send({ type: 'publish', address: other.token, body: { type: 'pause' } });
  device.send({ type: 'register', address: other.token });
  assert.deepEqual(device.errors, ['not allowed', 'not allowed']);
});

test('who a message is from, and whom it is about, the service says', async () => {
  const { place, presenter, device } = classWith('learner');
  const address = `${place.token}.presenter`;
  const body = { from: 'Ben', type: 'questionGet', client: { token: 'x' }, extra: 1, version: '3.0.0', sourceSystem: 'Corvel', data: packed({ questionNumber: 1 }) };
  await device.send({ type: 'publish', address, body });
  assert.deepEqual(presenter.bodies.at(-1), {
    from: device.user.userToken, type: 'questionGet', version: '3.0.0', sourceSystem: 'Corvel', data: body.data,
  });
  presenter.send({ type: 'publish', address: place.token, body: { from: 'nobody', type: 'pause', client: {} } });
  assert.deepEqual(device.bodies.at(-1), { from: 'presenter', type: 'pause' });
});

for (const unfit of ['x'.repeat(65), 'a\u001b[31m', 3, null, true, { deep: [1] }, ['3.0.0']]) {
  test(`a presenter does not get what a device writes for its version: ${JSON.stringify(unfit)}`, async () => {
    const { place, presenter, device } = classWith('learner');
    const body = { type: 'questionGet', version: unfit, sourceSystem: unfit, data: packed({ questionNumber: 1 }) };
    await device.send({ type: 'publish', address: `${place.token}.presenter`, body });
    assert.deepEqual(presenter.bodies.at(-1), { from: device.user.userToken, type: 'questionGet', data: body.data });
  });
}

test('nobody hears the token with which a presenter proves who it is', () => {
  const { place, presenter, device } = classWith('learner');
  const places = ['', '.learner', '.controller', '.presenter', `.user.${device.user.userToken}`, `.presenter.${presenter.user.userToken}`];
  const others = ['learner', 'controller', 'presenter'].map((mode) => enter(place, mode));
  for (const address of places.map((end) => place.token + end)) {
    presenter.send({ type: 'publish', address, body: { from: presenter.user.userToken, type: 'questionStart', data: packed({ id: '1' }) } });
  }
  const late = enter(place, 'learner');
  const heard = [device, ...others, late].map(({ bodies }) => bodies.filter((body) => body?.type).length);
  assert.deepEqual(heard, [3, 2, 1, 2, 0]);
  assert.equal(late.bodies[0].messages.length, 1);
  assert.ok(!JSON.stringify([device, ...others, late].map(({ messages }) => messages)).includes(presenter.user.userToken));
});

test('the journal says which presenter a message was from', async () => {
  const { place, presenter } = classWith('learner');
  presenter.send({ type: 'publish', address: place.token, body: { type: 'pause' } });
  const [{ from }] = await place.journal.waitFor(0, { kind: 'publish', type: 'pause' }, 1, 5_000);
  assert.equal(from, presenter.user.userToken);
});

test('a learner joins under the name that was given at the door', async () => {
  const { place, presenter, device } = classWith('learner');
  const join = (data) => device.send({ type: 'publish', address: `${place.token}.presenter`, body: { type: 'join', data } });
  await join(packed({ userName: 'Ben', deviceType: 'tablet' }));
  assert.deepEqual(presenter.bodies.at(-1), { from: device.user.userToken, type: 'join', data: packed({ userName: 'Ada', deviceType: 'tablet' }) });
});
