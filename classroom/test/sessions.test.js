// The life of sessions and of their users, with times made short.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { limitsWith } from '../src/limits.js';
import { Sessions } from '../src/state/sessions.js';
import { until } from './support/service.js';

const LONG = 60_000;
const SHORT = 30;

/** A session that runs; all times are long but those that the test shortens. */
function startSession(bounds = {}) {
  const sessions = new Sessions({ limits: limitsWith({ joiningMs: LONG, awayMs: LONG, presenterAwayMs: LONG, ...bounds }) });
  const session = sessions.create('teacher');
  sessions.start(session);
  const join = (mode = 'learner', secret = null) => sessions.join(session, { userName: mode, mode, deviceName: 'n', deviceType: 't' }, secret);
  return { sessions, session, join };
}

const stays = () => new Promise((resolve) => { setTimeout(resolve, 4 * SHORT); });

test('a user who is waited for or connected is listed, one who is away only keeps its token', () => {
  const { sessions, session, join } = startSession();
  const [one, two] = [join(), join('controller')];
  assert.deepEqual(sessions.users(session), [one, two]);
  sessions.connected(session, one);
  sessions.connected(session, one); // on a new line
  assert.deepEqual(sessions.users(session), [one, two]);
  sessions.disconnected(session, one);
  assert.deepEqual(sessions.users(session), [two]);
  assert.equal(sessions.user(session, one.userToken), one);
  sessions.connected(session, one);
  assert.deepEqual(sessions.users(session), [one, two]);
  sessions.remove(session, one);
  assert.deepEqual([sessions.users(session), sessions.user(session, one.userToken)], [[two], null]);
  assert.equal(sessions.user(session, 'nobody'), null);
});

for (const mode of ['learner', 'controller']) {
  test(`a ${mode} who joined and never connected goes, one who did connect stays`, async () => {
    const { sessions, session, join } = startSession({ joiningMs: SHORT });
    const [never, connected] = [join(mode), join(mode)];
    sessions.connected(session, connected);
    await until(() => sessions.user(session, never.userToken) === null);
    await stays();
    assert.deepEqual(sessions.users(session), [connected]);
  });
}

test('a presenter who never connected is waited for as long as its session', async () => {
  const { sessions, session, join } = startSession({ joiningMs: 1, presenterAwayMs: 500 });
  const presenter = join('presenter');
  await stays();
  assert.equal(sessions.user(session, presenter.userToken), presenter);
  sessions.connected(session, join('presenter'));
  await until(() => sessions.user(session, presenter.userToken) === null);
  assert.ok(sessions.isRunning(session.token));
});

test('a token outlives its line for a while', async () => {
  const { sessions, session, join } = startSession({ awayMs: SHORT });
  const [gone, back] = [join(), join()];
  [gone, back].forEach((user) => {
    sessions.connected(session, user);
    sessions.disconnected(session, user);
  });
  sessions.connected(session, back);
  await until(() => sessions.user(session, gone.userToken) === null);
  await stays();
  assert.equal(sessions.user(session, back.userToken), back);
});

test('whoever joins once more and does not connect is away as it was', async () => {
  const { sessions, session, join } = startSession({ joiningMs: SHORT });
  const user = join('learner', 'secret');
  sessions.connected(session, user);
  assert.equal(join('learner', 'secret'), user);
  sessions.disconnected(session, user);
  assert.deepEqual(sessions.users(session), []);
  assert.equal(join('learner', 'secret'), user);
  assert.deepEqual(sessions.users(session), [user]);
  await until(() => sessions.users(session).length === 0);
  assert.equal(sessions.user(session, user.userToken), user);
});

test('joining once more does not make a token live longer', async () => {
  const { sessions, session, join } = startSession({ awayMs: 4 * SHORT });
  const user = join('learner', 'secret');
  sessions.connected(session, user);
  sessions.disconnected(session, user);
  await until(() => join('learner', 'secret') !== user, 40 * SHORT);
  assert.equal(sessions.user(session, user.userToken), null);
});

test('a session ends that was never started, or whose presenter never came', async () => {
  const sessions = new Sessions({ limits: limitsWith({ presenterAwayMs: SHORT }) });
  const stopped = [];
  sessions.on('stopped', (session) => stopped.push(session));
  const [created, started] = [sessions.create('teacher'), sessions.create('teacher')];
  sessions.start(started);
  sessions.connected(started, sessions.join(started, { mode: 'learner' }));
  await until(() => stopped.length === 2);
  assert.deepEqual(stopped, [created, started]);
  assert.deepEqual([sessions.withCode(created.code), sessions.withToken(started.token), sessions.running], [null, null, []]);
});

test('a session outlives its presenters for a while, and goes on when one comes back', async () => {
  const { sessions, session, join } = startSession({ presenterAwayMs: SHORT });
  const [one, two] = [join('presenter'), join('presenter')];
  sessions.connected(session, one);
  sessions.connected(session, two);
  await stays();
  sessions.disconnected(session, one);
  await stays();
  assert.ok(sessions.isRunning(session.token));
  sessions.disconnected(session, two);
  sessions.connected(session, one);
  await stays();
  assert.ok(sessions.isRunning(session.token));
  sessions.disconnected(session, one);
  await until(() => !sessions.isRunning(session.token));
  assert.equal(sessions.user(session, one.userToken), null);
});

test('a session that is stopped twice is stopped once', () => {
  const { sessions, session } = startSession();
  let count = 0;
  sessions.on('stopped', () => { count += 1; });
  sessions.stop(session);
  sessions.stop(session);
  assert.equal(count, 1);
});

test('the oldest session of a teacher who has too many ends', () => {
  const sessions = new Sessions({ limits: limitsWith({ sessionsOfTeacher: 2 }) });
  const foreign = sessions.create('other');
  const mine = [1, 2, 3].map(() => sessions.create('teacher'));
  assert.deepEqual(mine.map(({ code }) => sessions.withCode(code)), [null, mine[1], mine[2]]);
  assert.equal(sessions.withCode(foreign.code), foreign);
});
