// What the accounts remember, and how long, on a clock that the test moves.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { limitsWith } from '../src/limits.js';
import { Accounts } from '../src/state/accounts.js';

function accountsWith(bounds = {}, changes = {}) {
  const clock = { time: 0 };
  const accounts = new Accounts({
    accounts: [{ user: 'teacher', password: 'secret' }, { user: 'other', password: 'secret' }],
    signInLifetimeMs: 1_000,
    limits: limitsWith(bounds),
    now: () => clock.time,
    ...changes,
  });
  return { clock, accounts };
}

test('a password is right or wrong, and nobody has none', () => {
  const { accounts } = accountsWith();
  assert.deepEqual(['secret', 'secreT', 'secret ', ''].map((password) => accounts.hasPassword('teacher', password)), [true, false, false, false]);
  assert.equal(accounts.hasPassword('nobody', ''), false);
  accounts.finishRegistration(accounts.startRegistration('new-tom'));
  assert.equal(accounts.hasPassword('new-tom', ''), false);
});

test('a sign-in lasts for as long as it is used', () => {
  const { clock, accounts } = accountsWith();
  const cookie = accounts.signIn('teacher');
  for (const time of [1_000, 2_000]) {
    clock.time = time;
    assert.equal(accounts.signedInUser(cookie), 'teacher');
  }
  clock.time = 3_001;
  assert.equal(accounts.signedInUser(cookie), null);
});

test('of too many sign-ins of a teacher, the one unused for longest ends', () => {
  const { accounts } = accountsWith({ signInsOfTeacher: 2 });
  const foreign = accounts.signIn('other');
  const [one, two] = [accounts.signIn('teacher'), accounts.signIn('teacher')];
  accounts.signedInUser(one);
  const three = accounts.signIn('teacher');
  assert.deepEqual([one, two, three, foreign].map((cookie) => accounts.signedInUser(cookie)), ['teacher', null, 'teacher', 'other']);
});

test('device tokens end after their time, and the oldest of a teacher who has too many', () => {
  const { clock, accounts } = accountsWith({ deviceTokensOfTeacher: 2, deviceTokenMs: 1_000 });
  const foreign = accounts.issueDeviceToken('other', 'd');
  const tokens = [1, 2, 3].map(() => accounts.issueDeviceToken('teacher', 'd'));
  assert.deepEqual(tokens.map((token) => accounts.hasDeviceToken('teacher', 'd', token)), [false, true, true]);
  assert.equal(accounts.hasDeviceToken('other', 'd', foreign), true);
  assert.equal(accounts.hasDeviceToken('teacher', 'd', foreign), false);
  clock.time = 1_000;
  assert.equal(accounts.hasDeviceToken('teacher', 'd', tokens[2]), true);
  clock.time = 1_001;
  assert.equal(accounts.hasDeviceToken('teacher', 'd', tokens[2]), false);
});

test('a registration has to be finished in time, and only so many are kept', () => {
  const { clock, accounts } = accountsWith({ registrations: 2, registrationMs: 1_000 });
  const tokens = ['new-a', 'new-b', 'new-c'].map((user) => accounts.startRegistration(user));
  clock.time = 1_000;
  assert.deepEqual([tokens[0], tokens[1]].map((token) => accounts.finishRegistration(token)), [null, 'new-b']);
  assert.equal(accounts.finishRegistration(tokens[1]), null);
  clock.time = 1_001;
  assert.equal(accounts.finishRegistration(tokens[2]), null);
});

test('only so many used codes and registered users are remembered', () => {
  const { accounts } = accountsWith({ usedCodes: 1, registrations: 1 }, { oauthSingleUse: true });
  const redeem = (code) => accounts.redeemCode('google', code);
  assert.deepEqual([redeem('teacher'), redeem('teacher'), redeem('made-up')], [{ userId: 'teacher' }, null, null]);
  assert.deepEqual([redeem('other'), redeem('teacher')], [{ userId: 'other' }, { userId: 'teacher' }]);
  accounts.finishRegistration(accounts.startRegistration('new-a'));
  accounts.finishRegistration(accounts.startRegistration('new-b'));
  assert.deepEqual([redeem('new-a'), redeem('new-b')], [{ registration: 'new-a' }, { userId: 'new-b' }]);
});
