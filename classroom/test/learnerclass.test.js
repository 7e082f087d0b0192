// A learner's device in a class, from the way in to the end, against the real service.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { question, startClass } from './support/learnerclass.js';
import { Presenter, until } from './support/service.js';

const asked = (tab) => tab.lesson.question?.question.id ?? null;
const stateOf = (tab) => tab.lesson.question?.state ?? null;

test('a learner joins, waits, answers with one tap, and hears that the teacher has it', async (t) => {
  const { presenter, say, arrive } = await startClass(t);
  const ada = await arrive();
  const [join] = await presenter.received('join');
  assert.deepEqual(join.payload, { userName: 'Ada', deviceType: 'phone' });
  assert.deepEqual([asked(ada), ada.lesson.isPaused, ada.lesson.isCardShown], [null, false, false]);
  say('questionStart', question('Q1'));
  await until(() => asked(ada) === 'Q1');
  assert.equal(stateOf(ada), 'open');
  ada.lesson.answer(['B']);
  ada.lesson.answer(['A']);
  assert.equal(stateOf(ada), 'sending');
  await until(() => stateOf(ada) === 'confirmed');
  const responses = await presenter.received('questionResponse');
  assert.equal(responses.length, 1);
  const { responseTime, ...payload } = responses[0].payload;
  assert.ok(responseTime >= 0 && responseTime < 20_000);
  assert.deepEqual(payload, {
    questionId: 'Q1', studentAssessmentToken: '', questionSetMode: 'Poll', answer: '', optionAnswers: [{ activityOptionId: 'B' }],
  });
  say('pollStop', 'p');
  await until(() => asked(ada) === null);
});

for (const [name, code, key] of [['Ada', '000', 'session.error.unknownSession'], ['\u0007 \u202e', '1', 'name'], ['Ada', ' - ', 'code']]) {
  test(`who joins as "${name.trim()}" with the code "${code}" is told what to do`, async (t) => {
    const { openTab } = await startClass(t);
    const tab = openTab();
    await tab.join({ code, name });
    assert.deepEqual([tab.phase, tab.failure.key], ['entrance', key]);
    assert.match(tab.failure.sentence, /^[A-Z].*\.$/);
  });
}

test('a name is sent as the service takes it', async (t) => {
  const { presenter, arrive } = await startClass(t);
  await arrive(`  A\u0000d\u202ea\n${'x'.repeat(100)} `);
  const [{ payload }] = await presenter.received('join');
  assert.equal(payload.userName, `Ada ${'x'.repeat(60)}`);
});

test('what is paused takes no answer and counts no time', async (t) => {
  const { presenter, say, arrive } = await startClass(t);
  const ada = await arrive();
  say('pause', 'p');
  say('questionStart', question('Q1'));
  await until(() => ada.lesson.isPaused && asked(ada) === 'Q1');
  ada.lesson.answer(['A']);
  assert.equal(stateOf(ada), 'open');
  await new Promise((resolve) => { setTimeout(resolve, 300); });
  say('resume', 'p');
  await until(() => !ada.lesson.isPaused);
  const resumed = performance.now();
  ada.lesson.answer(['A']);
  const [{ payload }] = await presenter.received('questionResponse');
  assert.ok(payload.responseTime <= performance.now() - resumed + 1, `${payload.responseTime} ms`);
});

test('a question that is sent once more is the same one, and another one takes its place', async (t) => {
  const { say, arrive } = await startClass(t);
  const ada = await arrive();
  say('questionStart', question('Q1'));
  await until(() => asked(ada) === 'Q1');
  const first = ada.lesson.question;
  say('questionStart', question('Q1'));
  say('questionStart', question('Q1'), `.user.${ada.userToken}`);
  say('pause', 'p');
  await until(() => ada.lesson.isPaused);
  assert.equal(ada.lesson.question, first);
  say('questionStart', question('Q1', { instructions: 'Another' }));
  await until(() => ada.lesson.question !== first);
  say('poll', { id: 'P1', type: 'word-seed', metadata: { ordinalType: 'number', options: [0, 1] } });
  await until(() => asked(ada) === 'P1');
});

test('an answer that no presenter gets is said again until one has it', async (t) => {
  const { rest, presenter, session, say, arrive } = await startClass(t);
  const ada = await arrive();
  say('questionStart', question('Q1'));
  await until(() => asked(ada) === 'Q1');
  presenter.close();
  await presenter.closed;
  ada.lesson.answer(['A']);
  const back = await Presenter.open(rest.url, session);
  t.after(() => back.close());
  await until(() => stateOf(ada) === 'confirmed');
  const [{ payload }] = await back.received('questionResponse');
  assert.deepEqual(payload.optionAnswers, [{ activityOptionId: 'A' }]);
});

test('an answer that is given while the line is lost goes out when it is back', async (t) => {
  const { presenter, say, arrive, cutTabs } = await startClass(t);
  const ada = await arrive();
  say('questionStart', question('Q1'));
  await until(() => asked(ada) === 'Q1');
  const { question: before } = ada.lesson;
  await cutTabs();
  await until(() => !ada.connection.isOpen);
  assert.ok(ada.connection.retryAt > 0);
  assert.equal(ada.phase, 'in');
  ada.lesson.answer(['B']);
  assert.equal(stateOf(ada), 'sending');
  await until(() => stateOf(ada) === 'confirmed');
  assert.equal(ada.lesson.question, before);
  assert.equal((await presenter.received('questionResponse')).length, 1);
});

test('a tab that is loaded again comes back as who it was, with the question, the own answer and the pause', async (t) => {
  const { presenter, say, openTab, arrive, session } = await startClass(t);
  const ada = await arrive();
  say('questionStart', question('Q1'));
  say('showCard', { components: [{ type: 'image', blob: { url: '/picture' } }] }, '.learner');
  await until(() => ada.lesson.isCardShown);
  ada.lesson.answer(['B']);
  await until(() => stateOf(ada) === 'confirmed');
  say('pause', 'p');
  await until(() => ada.lesson.isPaused);
  const again = openTab(ada.storage);
  assert.equal(again.comeBack('another code'), false);
  assert.equal(again.comeBack(session.sessionCode), true);
  await until(() => stateOf(again) === 'confirmed' && again.lesson.isPaused);
  assert.deepEqual([asked(again), again.lesson.question.prior, again.lesson.card.picture], ['Q1', ['B'], '/picture']);
  assert.equal(again.lesson.isCardShown, true);
  assert.equal((await presenter.received('join', 2))[1].from, ada.userToken);

  await until(() => ada.phase === 'replaced');
  ada.useThis();
  await until(() => ada.phase === 'in' && again.phase === 'replaced');
  assert.equal(stateOf(ada), 'confirmed');
});

test('what was over while the line was lost leaves the screen', async (t) => {
  const { say, arrive, cutTabs } = await startClass(t);
  const ada = await arrive();
  say('questionStart', question('Q1'));
  say('showCard', { components: [{ type: 'image', blob: { url: '/picture' } }] }, '.learner');
  await until(() => ada.lesson.isCardShown);
  await cutTabs();
  say('pollStop', 'p');
  await until(() => !ada.connection.isOpen);
  await until(() => ada.connection.isOpen && asked(ada) === null);
  assert.equal(ada.lesson.card.picture, '/picture');
});

test('who is sent away stays away, and may join anew', async (t) => {
  const { say, arrive, openTab, session } = await startClass(t);
  const ada = await arrive();
  say('disconnect', '', `.user.${ada.userToken}`);
  await until(() => ada.phase === 'removed');
  assert.equal(openTab(ada.storage).comeBack(), false);
  await ada.join({ code: session.sessionCode, name: 'Ada' });
  await until(() => ada.phase === 'in' && ada.connection.isOpen);
});

test('the class ends for everybody', async (t) => {
  const { rest, session, arrive, openTab } = await startClass(t);
  const ada = await arrive();
  await rest.postJson('/vantora/session/stop', { sessionToken: session.sessionToken });
  await until(() => ada.phase === 'ended');
  assert.equal(openTab(ada.storage).comeBack(), false);
});

test('who comes back to a class that is over is told so', async (t) => {
  const { rest, session, arrive, openTab } = await startClass(t);
  const ada = await arrive();
  const known = ada.storage.getItem('tarvo.class');
  await rest.postJson('/vantora/session/stop', { sessionToken: session.sessionToken });
  await until(() => ada.phase === 'ended');
  ada.storage.setItem('tarvo.class', known);
  const again = openTab(ada.storage);
  assert.equal(again.comeBack(session.sessionCode), true);
  await until(() => again.phase === 'ended');
});

test('who has typed wrong codes too often is told for how long to wait', async (t) => {
  const { openTab } = await startClass(t, '--limit', 'failedAttempts=1');
  const tab = openTab();
  await tab.join({ code: '1', name: 'Ada' });
  await tab.join({ code: '2', name: 'Ada' });
  assert.equal(tab.failure.key, 'request.error.tooManyAttempts');
  assert.ok(tab.failure.retrySeconds > 0 && tab.failure.retrySeconds <= 60);
  assert.match(tab.failure.sentence, /^Too many attempts from this network have failed\. Try again in \d+ seconds?\.$/);
});

test('a device that the service has forgotten joins anew by itself and keeps its question', async (t) => {
  const { say, arrive, presenter, cutTabs } = await startClass(t, '--limit', 'awayMs=1');
  const ada = await arrive();
  say('questionStart', question('Q1'));
  await until(() => asked(ada) === 'Q1');
  const { question: before } = ada.lesson;
  await cutTabs();
  const [, { from }] = await presenter.received('join', 2);
  assert.notEqual(from, ada.userToken);
  await until(() => ada.connection.isOpen);
  assert.deepEqual([ada.phase, ada.lesson.question === before], ['in', true]);
});

test('who joins anew while nothing goes on any more sees no question', async (t) => {
  const { say, arrive, presenter, cutTabs } = await startClass(t, '--limit', 'awayMs=1');
  const ada = await arrive('Ada', { unsureMs: 100 });
  say('questionStart', question('Q1'));
  await until(() => asked(ada) === 'Q1');
  await cutTabs();
  say('pollStop', 'p');
  await presenter.received('join', 2);
  await until(() => asked(ada) === null);
});
