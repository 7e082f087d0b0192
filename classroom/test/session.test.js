// Whole class sessions over the real SockJS client: learners, polls, assessments, the remote.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { test } from 'node:test';

import { Presenter, RestClient, startService, until } from './support/service.js';

const QUESTION = JSON.stringify({
  id: 'Q1',
  questionSetMode: 'Poll',
  type: 'multiple',
  numberOfCorrectOptions: 1,
  activityOptions: ['A', 'B', 'C'].map((id) => ({ id, optionText: id })),
});

/** A service with a signed-in teacher, a session and the presenter's channel. */
async function startClass(t, transport, ...args) {
  const service = await startService(t, '--join-every', '0', '--think', '0', ...args);
  const rest = new RestClient(service.url);
  await rest.signIn();
  const session = await rest.startSession();
  const presenter = await Presenter.open(service.url, session, transport);
  t.after(() => presenter.close());
  return { service, rest, session, presenter };
}

// The journal's entries that match, once there are `count` of them.
async function journalOf(rest, count, query) {
  const { entries } = await rest.control('GET', `journal?wait=20000&count=${count}&${query}`);
  assert.equal(entries.length, count, query);
  return entries;
}

for (const transport of ['websocket', 'xhr-streaming', 'xhr-polling']) {
  test(`a class runs from joining to leaving over ${transport}`, async (t) => {
    const { rest, session, presenter } = await startClass(t, transport, '--learners', '3');
    const joins = await presenter.received('join', 3);
    assert.deepEqual(joins.map(({ payload }) => payload), [
      { userName: 'Ada', deviceType: 'tablet' },
      { userName: 'Ben', deviceType: 'phone' },
      { userName: 'Cleo', deviceType: 'laptop' },
    ]);
    const { users } = (await rest.postJson('/vantora/session/getusers', session)).json.data;
    assert.deepEqual(users.slice(1).map(({ userToken, mode }) => [userToken, mode]), joins.map(({ from }) => [from, 'learner']));

    presenter.publish('', 'questionStart', QUESTION);
    const answers = await presenter.received('questionResponse', 3);
    assert.deepEqual(answers.map(({ from, payload }) => [from, payload]), joins.map(({ from }, i) => [from, {
      questionId: 'Q1',
      studentAssessmentToken: '',
      questionSetMode: 'Poll',
      responseTime: 0,
      answer: '',
      optionAnswers: [{ activityOptionId: 'ABC'[i] }],
    }]));

    presenter.publish('', 'disconnect', '""');
    const gone = await presenter.received('unregister', 3);
    assert.deepEqual(gone.map(({ client }) => client), joins.map(({ from }) => ({ token: from, type: 'user' })));
    const left = (await rest.postJson('/vantora/session/getusers', session)).json.data.users;
    assert.deepEqual(left.map(({ mode }) => mode), ['presenter']);
  });
}

test('a poll in the fixed form is answered with input or blob, in every payload form', async (t) => {
  const { presenter } = await startClass(t, 'websocket', '--learners', '3');
  await presenter.received('join', 3);
  presenter.publish('', 'poll', '{"type":"word-seed","metadata":{"ordinalType":"generic","options":[0,1]},"id":"p1"}');
  const first = await presenter.received('pollResponse', 3);
  assert.deepEqual(first.map(({ payload }) => payload), ['river', 'cloud', 'stone']
    .map((input) => ({ pollId: 'p1', responseTime: 0, pick: { input } })));
  presenter.publish('', 'poll', '{"type":"creative","metadata":{"ordinalType":"generic","options":[0,1]},"id":"p2"}');
  const second = (await presenter.received('pollResponse', 6)).slice(3);
  assert.deepEqual(second.map(({ payload }) => payload.pick), [
    { blob: ['cloud', 'stone'] }, { blob: ['stone', 'meadow'] }, { blob: ['meadow', 'harbour'] },
  ]);
  assert.deepEqual(second.map(({ data }) => (Array.isArray(data) ? typeof data[0] : typeof data)), ['string', 'number', 'string']);
  assert.equal(typeof second[2].data, 'string');
});

test('the seed shifts the answers, one payload form can be asked for', async (t) => {
  const { presenter } = await startClass(t, 'websocket', '--learners', '2', '--seed', '1', '--payload-form', 'integers');
  await presenter.received('join', 2);
  presenter.publish('', 'questionStart', QUESTION);
  const answers = await presenter.received('questionResponse', 2);
  assert.deepEqual(answers.map(({ payload }) => payload.optionAnswers), [[{ activityOptionId: 'B' }], [{ activityOptionId: 'C' }]]);
  assert.deepEqual(answers.map(({ data }) => typeof data[0]), ['number', 'number']);
});

test('paused learners answer only when the presenter resumes', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket', '--learners', '2');
  await presenter.received('join', 2);
  presenter.publish('', 'pause', '"p"');
  presenter.publish('', 'questionStart', QUESTION);
  presenter.publish('', 'heavy', '"%0"');
  await journalOf(rest, 2, 'kind=received&type=heavy');
  presenter.publish('', 'resume', '"p"');
  await presenter.received('questionResponse', 2);
  const [resumed] = await journalOf(rest, 2, 'kind=device&event=resumed');
  const [answered] = await journalOf(rest, 2, 'kind=publish&type=questionResponse');
  assert.ok(answered.n > resumed.n);
});

test('a question that was stopped or replaced is not answered any more', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket', '--learners', '1', '--think', '400');
  await presenter.received('join', 1);
  presenter.publish('', 'questionStart', QUESTION);
  presenter.publish('', 'pollStop', '"p"');
  presenter.publish('', 'questionStart', QUESTION.replace('Q1', 'Q2'));
  presenter.publish('', 'questionStart', QUESTION.replace('Q1', 'Q3'));
  assert.deepEqual((await presenter.received('questionResponse')).map(({ payload }) => payload.questionId), ['Q3']);
  presenter.publish('', 'disconnect', '""');
  await presenter.received('unregister');
  await journalOf(rest, 1, 'kind=publish&type=questionResponse');
});

test('an assessment asks for its questions one by one and ends when it is stopped', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket', '--learners', '1');
  const [{ from }] = await presenter.received('join', 1);
  presenter.publish(`.user.${from}`, 'assessmentStart', '{"assessmentToken":"T1","questionCount":3,"startingQuestionNumber":1}');
  assert.deepEqual((await presenter.received('questionGet')).map(({ payload }) => payload), [{ questionNumber: 1 }]);
  const question = QUESTION.replace('"Poll"', '"Assessment"');
  presenter.publish(`.user.${from}`, 'questionStart', question);
  presenter.publish('', 'pollStop', '"another"');
  const [answer] = await presenter.received('questionResponse');
  assert.deepEqual([answer.payload.studentAssessmentToken, answer.payload.questionSetMode], ['T1', 'Assessment']);
  assert.deepEqual((await presenter.received('questionGet', 2)).map(({ payload }) => payload.questionNumber), [1, 2]);
  presenter.publish('', 'assessmentStop', '{"assessmentToken":"T1"}');
  presenter.publish(`.user.${from}`, 'questionStart', question.replace('Q1', 'Q2'));
  assert.equal((await presenter.received('questionResponse', 2))[1].payload.studentAssessmentToken, '');
  presenter.publish(`.user.${from}`, 'disconnect', '""');
  await presenter.received('unregister');
  await journalOf(rest, 2, 'kind=publish&type=questionGet');
});

test('learners leave after their time', async (t) => {
  const { presenter } = await startClass(t, 'websocket', '--learners', '2', '--learner-stay', '0.2');
  const joins = await presenter.received('join', 2);
  const gone = await presenter.received('unregister', 2);
  assert.deepEqual(gone.map(({ client }) => client.token), joins.map(({ from }) => from));
});

test('learners come and go on request', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket');
  const added = (await rest.control('POST', 'learners', { count: 2 })).list;
  assert.deepEqual(added.map(({ number, userName, mode }) => [number, userName, mode]), [[0, 'Ada', 'learner'], [1, 'Ben', 'learner']]);
  await presenter.received('join', 2);
  assert.equal((await rest.control('DELETE', `learners/${added[0].deviceId}`)).status, 200);
  assert.deepEqual((await presenter.received('unregister')).map(({ client }) => client.token), [added[0].deviceId]);
  assert.deepEqual((await rest.control('GET', 'learners')).list, [added[1]]);
  assert.deepEqual(await rest.control('DELETE', 'learners/nobody'), { status: 404, error: 'no such learner' });
  assert.equal((await rest.control('POST', 'learners', { sessionToken: 'none' })).status, 404);
  await rest.control('DELETE', 'learners');
  await presenter.received('unregister', 2);
});

test('what each device received can be read field by field', async (t) => {
  const { rest, session, presenter } = await startClass(t, 'websocket', '--learners', '2');
  const joins = await presenter.received('join', 2);
  presenter.publish('.learner', 'showCard', '{"segment":{"id":"any"}}');
  const { entries } = await rest.control('GET', `received?wait=20000&type=showCard&deviceId=${joins[1].from}`);
  assert.deepEqual(entries.map((entry) => ({ ...entry, n: 0, time: '' })), [{
    n: 0,
    time: '',
    kind: 'received',
    role: 'learner',
    deviceId: joins[1].from,
    userName: 'Ben',
    address: `${session.sessionToken}.learner`,
    from: session.userToken,
    type: 'showCard',
    form: 'base64',
    text: '{"segment":{"id":"any"}}',
    data: { segment: { id: 'any' } },
  }]);
});

test('a large image reaches every learner whole', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket', '--learners', '2');
  await presenter.received('join', 2);
  const text = `{"url":"data:image/png;base64,${randomBytes(700_000).toString('base64')}"}`;
  presenter.publish('.learner', 'showCard', text);
  const entries = await journalOf(rest, 2, 'kind=received&type=showCard');
  entries.forEach((entry) => assert.ok(entry.text === text));
});

test('a message that makes no sense is noted and the learner goes on', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket', '--learners', '1');
  await presenter.received('join', 1);
  for (const text of ['{"type":"multiple","activityOptions":5}', '{"type":"sort","activityOptions":{}}', '7', '"text"', 'null', 'no JSON', '[]']) {
    presenter.publish('', 'questionStart', text);
    presenter.publish('', 'poll', text);
    presenter.publish('', 'assessmentStart', text);
  }
  presenter.publish('', 'poll', '{"type":"scale","metadata":{"options":"x"},"id":"bad"}');
  presenter.publish('', 'questionStart', QUESTION);
  await until(async () => (await presenter.received('questionResponse')).some(({ payload }) => payload.questionId === 'Q1'));
  assert.equal((await rest.control('GET', 'learners')).list.length, 1);
});

test('the remote sends every command in turn and hears what concerns it', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket', '--remote', '--remote-every', '1');
  await presenter.received('stopSession');
  const commands = presenter.bodies.filter(({ type }) => type).map(({ type }) => type);
  assert.deepEqual(commands, ['requestLessonInfo', 'requestLesson', 'presenterActive', 'pause', 'resume', 'lockAll', 'unlockAll',
    'nextCard', 'previousCard', 'pushCurrentCard', 'addImageCard', 'stopSession']);
  const [{ from, payload }] = await presenter.received('requestLesson');
  assert.deepEqual(payload, { lessonId: 'lesson-1' });
  presenter.publish('.controller', 'currentLesson', '{"lessonId":"l1", "name":"Rivers"}');
  const [entry] = await journalOf(rest, 1, 'kind=received&type=currentLesson');
  assert.deepEqual([entry.role, entry.deviceId, entry.data], ['controller', from, { lessonId: 'l1', name: 'Rivers' }]);
  await rest.control('DELETE', 'remote');
  assert.deepEqual((await presenter.received('unregister'))[0].client, { token: from, type: 'controller' });
});

test('the remote joins and speaks on request, only what it was asked for', async (t) => {
  const { rest, presenter } = await startClass(t, 'websocket', '--remote-commands', 'nextCard');
  const { deviceId } = await rest.control('POST', 'remote', { command: 'addImageCard', data: { url: 'u' } });
  const [{ from, payload }] = await presenter.received('addImageCard');
  assert.deepEqual([from, payload], [deviceId, { url: 'u' }]);
  assert.deepEqual(presenter.bodies.filter(({ type }) => type).map(({ type }) => type), ['addImageCard']);
});

test('anything can be published to the presenter', async (t) => {
  const { rest, session, presenter } = await startClass(t, 'websocket');
  const own = `${session.sessionToken}.presenter.${session.userToken}`;
  assert.deepEqual(await rest.control('POST', 'publish', { address: own, body: { from: 'x', type: 'wave' }, text: '{"a":1}', form: 'integers' }),
    { status: 200, receivers: 1 });
  assert.deepEqual(await rest.control('POST', 'publish', { address: '.presenter', body: { from: 'x', type: 'bare', data: 'as it is' } }),
    { status: 200, receivers: 1 });
  assert.deepEqual(await rest.control('POST', 'publish', { body: {} }), { status: 400, error: 'address is missing' });
  assert.deepEqual(await rest.control('POST', 'faults', { status: 500 }), { status: 400, error: 'path is missing' });
  assert.deepEqual(await rest.control('DELETE', 'publish'), { status: 405, error: 'the path does not take this method' });
  const [wave] = await presenter.received('wave');
  assert.deepEqual([wave.payload, typeof wave.data[0]], [{ a: 1 }, 'number']);
  assert.equal((await presenter.received('bare'))[0].data, 'as it is');
});

test('devices go when the session stops', async (t) => {
  const { rest, session, presenter } = await startClass(t, 'websocket', '--learners', '2', '--remote');
  await presenter.received('join', 2);
  await rest.postJson('/vantora/session/stop', session);
  await journalOf(rest, 3, 'kind=device&event=session stopped');
  assert.deepEqual((await rest.control('GET', 'connections')).list.map(({ transport, addresses }) => [transport, addresses]), [['websocket', []]]);
  assert.equal(presenter.bodies.filter(({ action }) => action === 'unregister').length, 0);
});
