// What the service keeps of a class for those who come late or come back, and that an answer counts once.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { comeBack, enter, packed, setUpBus } from './support/bus.js';
import { until } from './support/service.js';

const STATE = { paused: false, messages: [], answers: [] };

/** A class with a presenter; say(place, type, payload) publishes for it, arrive() brings a learner. */
function classroom(changes) {
  const place = setUpBus({ confirmingMs: 0, ...changes });
  const presenter = enter(place, 'presenter', 'Teacher');
  return {
    place,
    presenter,
    say: (address, type, payload) => presenter.send({ type: 'publish', address: place.token + address, body: { type, data: packed(payload) } }),
    body: (type, payload) => ({ type, data: packed(payload), from: 'presenter' }),
    arrive: (userName) => enter(place, 'learner', userName),
    answer: (device, payload, type = 'questionResponse') =>
      device.send({ type: 'publish', address: `${place.token}.presenter`, body: { type, data: packed(payload) } }),
    answers: () => presenter.bodies.filter((body) => body?.type),
  };
}

function stateOf(device) {
  const { paused, messages, answers } = device.bodies.find((body) => body.action === 'state') ?? STATE;
  return { paused, messages, answers };
}

// They are said a moment later.
async function confirmations(device) {
  await new Promise((resolve) => { setTimeout(resolve, 20); });
  return device.bodies.filter((body) => body?.action === 'confirmed').map(({ questionId }) => questionId);
}

test('a learner who comes back is told that nothing is going on, a new one nothing', () => {
  const { arrive, place } = classroom();
  const learner = arrive();
  assert.deepEqual(learner.messages, []);
  assert.deepEqual(comeBack(place, learner.user).messages, [
    { type: 'message', address: `${place.token}.user.${learner.user.userToken}`, body: { action: 'state', ...STATE } },
  ]);
});

test('who comes late gets the card, the question and the pause, the latest picture last', () => {
  const { say, body, arrive } = classroom();
  say('', 'questionStart', { id: 'Q1' });
  say('.learner', 'showCard', { segment: 1 });
  say('.learner', 'heavy', '"%0"');
  say('', 'pause', '"p"');
  assert.deepEqual(stateOf(arrive()), {
    paused: true,
    messages: [body('questionStart', { id: 'Q1' }), body('showCard', { segment: 1 })],
    answers: [],
  });
  say('', 'resume', '"p"');
  say('', 'poll', { id: 'P1' });
  assert.deepEqual(stateOf(arrive()), { ...STATE, messages: [body('showCard', { segment: 1 }), body('poll', { id: 'P1' })] });
  say('', 'pollStop', '"p"');
  assert.deepEqual(stateOf(arrive()), { ...STATE, messages: [body('showCard', { segment: 1 })] });
  say('', 'disconnect', '""');
  assert.deepEqual(stateOf(arrive()), STATE);
});

test('who comes back has the own answer and not those of others', async () => {
  const { place, say, body, arrive, answer } = classroom();
  say('', 'questionStart', { id: 'Q1' });
  const [ada, ben] = [arrive('Ada'), arrive('Ben')];
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  await answer(ben, { questionId: 'Q1', answer: 'B' });
  const state = { ...STATE, messages: [body('questionStart', { id: 'Q1' })], answers: [{ questionId: 'Q1', answer: 'A' }] };
  assert.deepEqual(stateOf(comeBack(place, ada.user)), state);
});

test('an answer counts once and is confirmed each time it comes', async () => {
  const { say, arrive, answer, answers } = classroom();
  say('', 'questionStart', { id: 'Q1' });
  const ada = arrive();
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  await answer(ada, { questionId: 'Q1', answer: 'B' });
  assert.deepEqual(answers().map(({ data }) => data), [packed({ questionId: 'Q1', answer: 'A' })]);
  assert.deepEqual(await confirmations(ada), ['Q1', 'Q1', 'Q1']);
});

test('a poll in the fixed form is answered by its poll id', async () => {
  const { say, arrive, answer, answers } = classroom();
  say('', 'poll', { id: 'P1' });
  const ada = arrive();
  await answer(ada, { pollId: 'P1', pick: { input: '1' } }, 'pollResponse');
  await answer(ada, { pollId: 'P1', pick: { input: '2' } }, 'pollResponse');
  assert.deepEqual([answers().length, await confirmations(ada)], [1, ['P1', 'P1']]);
});

test('the next question is answered anew, also when it has the same id', async () => {
  const { say, arrive, answer, answers } = classroom();
  const ada = arrive();
  for (const text of ['one', 'two']) {
    say('', 'questionStart', { id: 'Q1', text });
    await answer(ada, { questionId: 'Q1', answer: 'A' });
  }
  assert.equal(answers().length, 2);
  say('', 'pollStop', '"p"');
  say('', 'questionStart', { id: 'Q1', text: 'two' });
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  assert.equal(answers().length, 3);
});

test('a question that its host sends once more is still answered', async () => {
  const { say, arrive, answer, answers, place } = classroom();
  say('', 'questionStart', { id: 'Q1' });
  const ada = arrive();
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  say('', 'questionStart', { id: 'Q1' });
  say(`.user.${ada.user.userToken}`, 'questionStart', { id: 'Q1' });
  await answer(ada, { questionId: 'Q1', answer: 'B' });
  assert.equal(answers().length, 1);
  assert.equal(stateOf(comeBack(place, ada.user)).messages.length, 1);
});

test('an answer that no presenter gets is not confirmed', async () => {
  const { presenter, place, say, arrive, answer } = classroom();
  say('', 'questionStart', { id: 'Q1' });
  const ada = arrive();
  presenter.connection.closed();
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  assert.deepEqual(await confirmations(ada), []);
  const again = comeBack(place, presenter.user);
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  assert.deepEqual(await confirmations(ada), ['Q1']);
  assert.equal(again.bodies.filter((body) => body?.type).length, 1);
});

test("an assessment is each learner's own", async () => {
  const { place, say, body, arrive, answer, answers } = classroom();
  const [ada, ben] = [arrive('Ada'), arrive('Ben')];
  const own = `.user.${ada.user.userToken}`;
  say(own, 'assessmentStart', { assessmentToken: 'T' });
  say(own, 'questionStart', { id: 'S1', questionSetMode: 'Assessment', text: 'one' });
  await answer(ada, { questionId: 'S1', questionSetMode: 'Assessment', answer: 'A' });
  assert.deepEqual(stateOf(comeBack(place, ada.user)), {
    paused: false,
    messages: [body('assessmentStart', { assessmentToken: 'T' }), body('questionStart', { id: 'S1', questionSetMode: 'Assessment', text: 'one' })],
    answers: [{ questionId: 'S1', questionSetMode: 'Assessment', answer: 'A' }],
  });
  assert.deepEqual(stateOf(comeBack(place, ben.user)), STATE);
  say(own, 'questionStart', { id: 'S1', questionSetMode: 'Assessment', text: 'two' });
  const again = comeBack(place, ada.user);
  await answer(again, { questionId: 'S1', questionSetMode: 'Assessment', answer: 'B' });
  assert.equal(answers().length, 2);
  say('', 'assessmentStop', { assessmentToken: 'T' });
  assert.deepEqual(stateOf(comeBack(place, ada.user)), STATE);
});

for (const [what, payload, fault] of [
  ['a long answer', { questionId: 'Q1', answer: 'x'.repeat(10_001) }, 'too long'],
  ['a long answer of characters outside the plane', { questionId: 'Q1', answer: '😀'.repeat(10_001) }, 'too long'],
  ['a control character', { questionId: 'Q1', answer: 'a\u001b[31m' }, 'control characters'],
  ['a zero byte deep inside', { questionId: 'Q1', optionAnswers: [{ activityOptionId: '\u0000' }] }, 'control characters'],
  ['a text instead of an object', '"text"', 'not readable'],
  ['lists in lists', `{"x":${'['.repeat(40)}${']'.repeat(40)}}`, 'not readable'],
  ['more than a message may hold', { questionId: 'Q1', answer: Array(20).fill('x'.repeat(9_000)) }, 'too long'],
]) {
  test(`an answer is refused for ${what}`, async () => {
    const { arrive, answer, answers } = classroom();
    const ada = arrive();
    await answer(ada, payload);
    assert.deepEqual([ada.errors, answers(), await confirmations(ada)], [[fault], [], []]);
  });
}

test('answers to questions that nobody asked make no room for a second answer', async () => {
  const { say, arrive, answer, answers, place } = classroom();
  say('', 'questionStart', { id: 'Q1' });
  const ada = arrive();
  await answer(ada, { questionId: 'Q1', answer: 'A' });
  for (let i = 0; i < 20; ++i) {
    await answer(ada, { questionId: `invented ${i}`, answer: 'x'.repeat(9_000) });
  }
  assert.deepEqual(ada.errors, Array(6).fill('too many answers'));
  await answer(ada, { questionId: 'Q1', answer: 'B' });
  assert.equal(answers().length, 1 + 14);
  assert.deepEqual(stateOf(comeBack(place, ada.user)).answers[0], { questionId: 'Q1', answer: 'A' });
});

for (const id of [{ toString: 1, valueOf: 1 }, ['Q1'], { __proto__: null }, null, true]) {
  test(`an answer to a question of the id ${JSON.stringify(id)} is one to a question without`, async () => {
    const { arrive, answer } = classroom();
    const ada = arrive();
    await answer(ada, { questionId: id, answer: 'A' });
    assert.deepEqual([await confirmations(ada), ada.hungUp], [[''], []]);
  });
}

test('nothing is kept of learners whose token is dead', async () => {
  const { say, body, arrive, place } = classroom({ awayMs: 1 });
  const ada = arrive();
  const { user } = ada;
  say(`.user.${user.userToken}`, 'questionStart', { id: 'S1' });
  assert.deepEqual(stateOf(comeBack(place, user)).messages, [body('questionStart', { id: 'S1' })]);
  const again = comeBack(place, user);
  again.connection.closed();
  await until(() => place.sessions.user(place.session, user.userToken) === null);
  // The user is put back to see what is left of it.
  place.session.places.set(user.userToken, { user, state: 'awaited' });
  assert.deepEqual(stateOf(comeBack(place, user)), STATE);
});

test('an answer of as many characters as are allowed passes', async () => {
  const { arrive, answer, answers } = classroom();
  await answer(arrive(), { questionId: 'Q1', answer: '😀'.repeat(10_000) });
  assert.equal(answers().length, 1);
});
