// Learners' devices as pupils hold them: they reload, lose their line, take another transport, and find
// the class as it is.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { Device } from './support/device.js';
import { Presenter, RestClient, startService, until } from './support/service.js';

const QUESTION = { id: 'Q1', questionSetMode: 'Poll', type: 'multiple' };

async function startClass(t, ...args) {
  const service = await startService(t, ...args);
  const rest = new RestClient(service.url);
  await rest.signIn();
  const session = await rest.startSession();
  const presenter = await Presenter.open(service.url, session);
  t.after(() => presenter.close());
  const arrive = async (name, transport) => {
    const device = new Device(service.url);
    t.after(() => device.close());
    await device.join(session.sessionCode, name);
    await device.enter(transport);
    await presenter.meets(device);
    return device;
  };
  return { service, rest, session, presenter, arrive };
}

for (const transport of ['websocket', 'xhr-streaming', 'eventsource', 'xhr-polling']) {
  test(`a device that reloads over ${transport} is who it was and sees what is going on`, async (t) => {
    const { session, presenter, arrive } = await startClass(t);
    const ada = await arrive('Ada', transport);
    const { userToken } = ada;
    presenter.publish('', 'questionStart', JSON.stringify(QUESTION));
    await ada.heard('questionStart');
    ada.answer('Q1', 'A');
    assert.deepEqual((await ada.heard('confirmed'))[0], { action: 'confirmed', questionId: 'Q1' });
    presenter.publish('', 'pause', '"Q1"');
    await ada.heard('pause');

    const before = ada.socket;
    ada.bodies = [];
    await ada.join(session.sessionCode, 'Ada');
    assert.equal(ada.userToken, userToken);
    const replaced = new Promise((resolve) => { before.onclose = resolve; });
    await ada.enter(transport);
    const [state] = await ada.heard('state');
    assert.deepEqual([state.paused, state.messages.map(({ type }) => type), state.answers], [true, ['questionStart'], [
      { questionId: 'Q1', questionSetMode: 'Poll', answer: 'A', optionAnswers: [] },
    ]]);
    const { code, reason } = await replaced;
    assert.deepEqual([code, reason], [3004, 'Replaced by a new line']);
    assert.equal((await presenter.received('register')).length, 1);
    assert.equal(presenter.bodies.filter(({ action }) => action === 'unregister').length, 0);
  });

  test(`a learner whose line over ${transport} is gone comes back as who it was`, async (t) => {
    const { presenter, arrive } = await startClass(t, '--stock');
    const ada = await arrive('Ada', transport);
    ada.close();
    await presenter.received('unregister');
    await ada.enter('websocket');
    assert.deepEqual((await presenter.received('register', 2)).map(({ client }) => client.token), [ada.userToken, ada.userToken]);
  });
}

test('a token is dead when its time after the line has gone is over', async (t) => {
  const { session, arrive } = await startClass(t, '--limit', 'awayMs=50');
  const ada = await arrive('Ada', 'websocket');
  const { userToken } = ada;
  ada.close();
  await new Promise((resolve) => { setTimeout(resolve, 500); });
  await ada.join(session.sessionCode, 'Ada');
  assert.notEqual(ada.userToken, userToken);
  await ada.open('websocket');
  ada.send({ type: 'register', address: `${session.sessionToken}.user.${userToken}` });
  await until(() => ada.closing);
  assert.deepEqual(ada.closing, { code: 3009, reason: 'The token is not valid' });
});

test('who joins and never connects is gone after a while', async (t) => {
  const { rest, service, session } = await startClass(t, '--limit', 'joiningMs=50');
  await new Device(service.url).join(session.sessionCode, 'Ada');
  const names = async () => (await rest.postJson('/vantora/session/getusers', session)).json.data.users.map(({ userName }) => userName);
  await until(async () => (await names()).length === 1);
  assert.deepEqual(await names(), ['SessionStarter']);
});

test('a class whose presenter stays away ends, and the learners are told', async (t) => {
  const { rest, session, presenter, arrive } = await startClass(t, '--limit', 'presenterAwayMs=200');
  const ada = await arrive('Ada', 'websocket');
  presenter.close();
  await until(() => ada.closing);
  assert.deepEqual(ada.closing, { code: 3001, reason: 'The class has ended' });
  assert.equal(ada.bodies.at(-1).type, 'disconnect');
  assert.equal((await rest.postJson('/vantora/session/getusers', session)).json.errorMsgKeys[0], 'session.error.unknownSession');
});

test('a presenter who comes back in time goes on with the class', async (t) => {
  const { service, session, presenter, arrive } = await startClass(t, '--limit', 'presenterAwayMs=1000');
  const ada = await arrive('Ada', 'websocket');
  presenter.close();
  const again = await Presenter.open(service.url, session);
  t.after(() => again.close());
  await new Promise((resolve) => { setTimeout(resolve, 1_300); });
  again.publish('', 'questionStart', JSON.stringify(QUESTION));
  await ada.heard('questionStart');
});

test('the simulated devices of a full session stay out', async (t) => {
  const { rest } = await startClass(t, '--limit', 'usersOfSession=2');
  assert.equal((await rest.control('POST', 'learners', { count: 3 })).list.length, 2);
});
