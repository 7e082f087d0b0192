// The brake for guessing: on a clock that the test moves, and on the interface.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { limitsWith } from '../src/limits.js';
import { Attempts, networkOf } from '../src/rest/attempts.js';
import { failures } from '../src/rest/reply.js';
import { errorText, join, startRest, startSignedIn } from './support/rest.js';
import { RestClient } from './support/service.js';

/** A clock that stands until the test moves it; whoever pauses is woken when the time has come. */
class Clock {
  time = 0;
  #sleepers = [];

  now = () => this.time;

  pause = (ms) => new Promise((wake) => { this.#sleepers.push({ time: this.time + ms, wake }); });

  async moveTo(time) {
    this.time = time;
    this.#sleepers.filter((sleeper) => sleeper.time <= time).forEach(({ wake }) => wake());
    this.#sleepers = this.#sleepers.filter((sleeper) => sleeper.time > time);
    await new Promise((resolve) => { setImmediate(resolve); });
  }
}

function braked(bounds = {}) {
  const clock = new Clock();
  return { clock, attempts: new Attempts({ limits: limitsWith(bounds), clock }) };
}

const wrong = () => { throw failures.wrongCredentials(); };
const right = () => 'in';

/** The status of an attempt, and after how many seconds it may be made again. */
async function statusOf(attempt) {
  try {
    return [await attempt === 'in' ? 200 : 0];
  } catch ({ status, headers }) {
    return status === 429 ? [status, headers['Retry-After']] : [status];
  }
}

test('an address that failed too often is refused until one failure has aged out', async () => {
  const { clock, attempts } = braked({ failedAttempts: 3 });
  for (const time of [0, 10_000, 20_500]) {
    await clock.moveTo(time);
    assert.deepEqual(await statusOf(attempts.make('192.0.2.1', wrong)), [403]);
  }
  assert.deepEqual(await statusOf(attempts.make('192.0.2.1', right)), [429, '40']);
  assert.deepEqual(await statusOf(attempts.make('192.0.2.2', right)), [200]);
  await clock.moveTo(59_999);
  assert.deepEqual(await statusOf(attempts.make('192.0.2.1', right)), [429, '1']);
  await clock.moveTo(60_000);
  assert.deepEqual(await statusOf(attempts.make('192.0.2.1', wrong)), [403]);
  assert.deepEqual(await statusOf(attempts.make('192.0.2.1', right)), [429, '10']);
});

test('attempts that succeed or make no sense do not count', async () => {
  const { attempts } = braked({ failedAttempts: 1 });
  for (let i = 0; i < 3; ++i) {
    assert.deepEqual(await statusOf(attempts.make('192.0.2.1', right)), [200]);
    assert.deepEqual(await statusOf(attempts.make('192.0.2.1', () => { throw failures.missingField(); })), [400]);
  }
});

test('attempts that come together do not slip through together', async () => {
  const { attempts } = braked({ failedAttempts: 3 });
  const statuses = await Promise.all(Array.from({ length: 6 }, () => statusOf(attempts.make('192.0.2.1', wrong))));
  assert.deepEqual(statuses.map(([status]) => status), [403, 403, 403, 429, 429, 429]);
});

test('beyond a number of failures in all, attempts are looked at one after another', async () => {
  const { clock, attempts } = braked({ failedAttemptsOfAll: 2, attemptMs: 1_000, waitingAttempts: 3 });
  await statusOf(attempts.make('192.0.2.1', wrong));
  await statusOf(attempts.make('192.0.2.2', wrong));
  const looked = [];
  const made = [1, 2, 3].map((n) => attempts.make(`192.0.2.${10 + n}`, () => looked.push(n)));
  assert.deepEqual(await statusOf(attempts.make('192.0.2.20', right)), [429, '3']);
  const seen = [];
  for (const time of [0, 999, 1_000, 2_000]) {
    await clock.moveTo(time);
    seen.push([...looked]);
  }
  assert.deepEqual(seen, [[1], [1], [1, 2], [1, 2, 3]]);
  await Promise.all(made);
  await clock.moveTo(60_000);
  assert.deepEqual(await statusOf(attempts.make('192.0.2.20', right)), [200]);
});

test('in the long run, many addresses make one attempt a turn', async () => {
  const { clock, attempts } = braked();
  const failed = [0, 0, 0];
  const count = ({ status }) => { failed[Math.floor(clock.time / 60_000)] += status === 403 ? 1 : 0; };
  for (let n = 0; n < 180 * 100; ++n) {
    if (n % 100 === 0) {
      await clock.moveTo(10 * n);
    }
    attempts.make(`2001:db8:0:${n.toString(16)}::1`, wrong).catch(count);
  }
  await clock.moveTo(clock.time);
  assert.deepEqual(failed, [120, 60, 60]);
});

test('only so many addresses are remembered, those that failed last', async () => {
  const { attempts } = braked({ failedAttempts: 1, rememberedAddresses: 2 });
  for (const address of ['192.0.2.1', '192.0.2.2', '192.0.2.3']) {
    await statusOf(attempts.make(address, wrong));
  }
  assert.deepEqual(await statusOf(attempts.make('192.0.2.1', right)), [200]);
  assert.equal((await statusOf(attempts.make('192.0.2.2', right)))[0], 429);
});

test('an IPv6 address stands for its 64 bits, a mapped IPv4 address for itself', () => {
  for (const [address, network] of [
    ['127.0.0.1', '127.0.0.1'],
    ['::ffff:192.0.2.7', '192.0.2.7'],
    ['::FFFF:192.0.2.7', '192.0.2.7'],
    ['2001:db8:1:2:3:4:5:6', '2001:db8:1:2::/64'],
    ['2001:db8:1:2::6', '2001:db8:1:2::/64'],
    ['2001:DB8::6', '2001:db8:0:0::/64'],
    ['fe80::1%eth0', 'fe80:0:0:0::/64'],
    ['::1', '0:0:0:0::/64'],
    [undefined, ''],
  ]) {
    assert.equal(networkOf(address), network);
  }
});

test('wrong codes, passwords and device tokens make the interface refuse the address', async (t) => {
  const { url, services, teacher } = await startSignedIn(t, { failedAttempts: 4 });
  const { sessionCode } = await teacher.startSession();
  const known = new RestClient(url);
  const { userToken } = (await join(known, sessionCode)).json.data;
  const stranger = new RestClient(url);
  const noCode = sessionCode === '000000' ? '000001' : '000000';
  assert.equal((await join(stranger, noCode)).status, 404);
  assert.equal((await stranger.signIn('teacher', 'wrong')).status, 403);
  assert.equal((await stranger.signIn('nobody', 'secret')).status, 403);
  assert.equal((await stranger.postJson('/vantora/login/submit',
    { userId: 'teacher', deviceId: 'd', deviceAccessToken: 't', sourceSystem: 'Corvel' })).status, 403);
  for (const reply of [await join(stranger, sessionCode), await stranger.signIn()]) {
    assert.deepEqual([reply.status, reply.text], [429, errorText('request.error.tooManyAttempts')]);
    assert.match(reply.headers.get('retry-after'), /^(5\d|60)$/);
  }
  // Neither a device that was there nor the teacher is kept out of the lesson.
  assert.equal((await join(known, sessionCode)).json.data.userToken, userToken);
  assert.equal((await join(teacher, sessionCode, { mode: 'presenter' })).status, 200);
  assert.equal((await join(known, noCode)).status, 429);
  assert.equal(services.sessions.users(services.sessions.withCode(sessionCode)).length, 3);
});

test('OAuth codes and registrations that nobody issued count, too', async (t) => {
  const { url } = await startRest(t, { failedAttempts: 2 });
  const client = new RestClient(url);
  const callback = (code) => client.postJson('/vantora/login/oauth/google/callback', { code, callbackUrl: url, sourceSystem: 'Corvel' });
  assert.equal((await callback('made-up')).status, 403);
  assert.equal((await client.postJson('/vantora/register/oauth/submit', { registrationToken: 'x', sourceSystem: 'Corvel' })).status, 403);
  assert.equal((await callback('teacher')).status, 429);
});
