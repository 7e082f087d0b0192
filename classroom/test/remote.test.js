// The remote's page without the page: the words for what is on, and every command over a real line.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import './support/browser.js';

import { COMMANDS, imageAddress, whatIsOn } from '../pages/commands.js';
import { Line } from '../pages/line.js';
import { RemoteControl } from '../pages/remotecontrol.js';
import { formAround } from '../pages/upload.js';
import { REMOTE_TYPES } from '../src/protocol.js';
import { parseUploadForm } from '../src/rest/multipart.js';
import { Presenter, RestClient, startService, until } from './support/service.js';

const LESSON = '{"lessonId":"l7", "name":"Prime numbers"}';
const CARD = '{"currentCard":"2", "cards": [{"name":"1"},{"name":"2"},{"name":"3"}], "totalCards":"3"}';

/** A class with a presenter and a remote, whose page would hear what is in `said`. */
async function startClass(t, { transports, answerMs } = {}) {
  const service = await startService(t);
  const rest = new RestClient(service.url);
  await rest.signIn();
  const session = await rest.startSession();
  const presenter = await Presenter.open(service.url, session);
  t.after(() => presenter.close());
  const { json } = await rest.postJson('/vantora/classroom/session/join', {
    userName: 'Remote', sessionCode: session.sessionCode, mode: 'controller', deviceName: 'controller', deviceType: 'controller',
  });
  const { userToken, sessionToken } = json.data;
  const places = ['.controller', `.user.${userToken}`];
  const line = new Line({ sessionToken, userToken, places, transports, origin: service.url });
  t.after(() => line.close());
  const control = new RemoteControl(line, { answerMs });
  const said = [];
  const ended = [];
  control.addEventListener('said', ({ detail }) => said.push(detail.sentence));
  control.addEventListener('ended', ({ detail }) => ended.push(detail));
  line.open();
  await until(() => control.connection === 'open');
  await presenter.received('presenterActive');
  return { rest, session, presenter, control, line, said, ended, userToken };
}

for (const transport of ['websocket', 'xhr-polling']) {
  test(`each command reaches the presenter once over ${transport}`, async (t) => {
    const { presenter, control, said, userToken } = await startClass(t, { transports: [transport] });
    presenter.bodies.length = 0; // what the remote asks by itself when it comes
    for (const command of REMOTE_TYPES) {
      assert.equal(await control.send(command, { of: command }), true);
    }
    await presenter.received('stopSession');
    const bodies = presenter.bodies.filter(({ type }) => type);
    assert.deepEqual(bodies.map(({ type, from }) => [type, from]), REMOTE_TYPES.map((type) => [type, userToken]));
    const [card] = await presenter.received('addImageCard');
    assert.deepEqual(card.payload, { of: 'addImageCard' });
    assert.deepEqual(said, REMOTE_TYPES.map((type) => COMMANDS[type].said));
  });
}

test('the page is there with a code and without', async (t) => {
  const { url } = await startService(t, '--serve');
  for (const path of ['/remote', '/remote/123456']) {
    const reply = await fetch(url + path);
    assert.deepEqual([reply.status, (await reply.text()).includes('<title>Remote</title>')], [200, true], path);
  }
});

test('the page has a button for every command', () => {
  assert.deepEqual(Object.keys(COMMANDS).sort(), [...REMOTE_TYPES].sort());
});

test('a remote shows and says what the presenter tells it', async (t) => {
  const { presenter, control, said } = await startClass(t);
  assert.equal(control.lesson, 'Nothing is known of the lesson yet.');
  presenter.publish('.controller', 'currentLesson', LESSON);
  presenter.publish('.controller', 'currentCard', CARD);
  presenter.publish('.controller', 'presenterIsActive', '"%0"');
  await until(() => said.length === 3);
  assert.deepEqual(said, ['Prime numbers.', 'Prime numbers, card 2 of 3.', 'The presenter is there.']);
  assert.deepEqual([control.lesson, control.presenter], ['Prime numbers, card 2 of 3', 'there']);
});

test('a presenter that does not answer is told', async (t) => {
  const { control, said } = await startClass(t, { answerMs: 20 });
  await until(() => control.presenter === 'silent');
  assert.deepEqual(said, ['The presenter does not answer.']);
});

test('a command is refused while the line is down, and not sent later', async (t) => {
  const { rest, presenter, control, said } = await startClass(t, { transports: ['xhr-polling'] });
  await rest.control('DELETE', 'connections?transport=xhr-polling');
  await until(() => control.connection === 'lost');
  assert.equal(await control.send('nextCard'), false);
  assert.deepEqual(said, ['The connection is lost. It is being opened again.', 'Not sent: the connection is down. Press again when it is back.']);
  await until(() => control.connection === 'open');
  assert.equal(said.at(-1), 'The connection is back.');
  assert.equal(await control.send('previousCard'), true);
  await presenter.received('previousCard');
  assert.deepEqual(presenter.bodies.filter(({ type }) => type === 'nextCard'), []);
});

test('a class that is stopped ends the remote, and says so', async (t) => {
  const { rest, session, control, ended } = await startClass(t);
  await rest.postJson('/vantora/session/stop', session);
  await until(() => ended.length === 1);
  assert.deepEqual([ended, control.connection], [[{ code: 3001, sentence: 'The class has ended.' }], 'ended']);
});

for (const [lesson, card, words] of [
  [null, null, 'Nothing is known of the lesson yet.'],
  [{ lessonId: 'l7', name: 'Primes' }, null, 'Primes'],
  [{ lessonId: 'l7', name: '' }, null, 'l7'],
  [{}, { currentCard: '1', totalCards: '2' }, 'A lesson whose name cannot be read, card 1 of 2'],
  [null, { currentCard: 3 }, 'card 3'],
  [{ name: { toString: 1 } }, { currentCard: [], totalCards: {} }, 'A lesson whose name cannot be read'],
]) {
  test(`${JSON.stringify(lesson)} and ${JSON.stringify(card)} is "${words}"`, () => {
    assert.equal(whatIsOn(lesson, card), words);
  });
}

test('an image is an address of the web and nothing else', () => {
  assert.equal(imageAddress(' https://school.example/a.png '), 'https://school.example/a.png');
  for (const text of ['', 'a.png', 'javascript:alert(1)', 'data:image/png;base64,AA', 'http://', 'file:///etc/passwd']) {
    assert.equal(imageAddress(text), '', text);
  }
});

test('an upload is written as the service reads it', async () => {
  const bytes = Buffer.from('\x89PNG\r\n------remote\r\n', 'latin1');
  const form = Buffer.from(await formAround(new Blob([bytes])).arrayBuffer());
  const { fileName, file, fields } = parseUploadForm('multipart/form-data; charset=UTF-8; boundary=----remote', form);
  assert.deepEqual([fileName, file, fields], ['image', bytes, { isTemporary: 'true', clientProvidedGUID: 'false' }]);
});
