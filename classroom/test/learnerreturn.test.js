// A learner's device that comes back: what has happened meanwhile, and what still counts.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { comeOnline, goOffline } from './support/browser.js';

import { question, startClass } from './support/learnerclass.js';
import { until } from './support/service.js';

const textOf = (tab) => tab.lesson.question?.question.text ?? null;

/** A class with a learner who has a question and has lost the line. */
async function loseLine(t, { args = [], options = {} } = {}) {
  const place = await startClass(t, ...args);
  t.after(comeOnline);
  const ada = await place.arrive('Ada', options);
  place.say('questionStart', question('Q1', { instructions: 'First' }));
  await until(() => textOf(ada) === 'First');
  goOffline();
  await place.cutTabs();
  await until(() => !ada.connection.isOpen);
  return { ...place, ada };
}

/** Waits until the service has been told so many messages of a type. */
function reached(rest, type, count) {
  return rest.control('GET', `journal?kind=publish&type=${type}&wait=30000&count=${count}`);
}

test('an answer to a question that is over does not count for another one with the same id', async (t) => {
  const place = await loseLine(t);
  const { ada, say, presenter } = place;
  ada.lesson.answer(['B']);
  say('pollStop', 'p');
  say('questionStart', question('Q1', { instructions: 'Second' }));
  await reached(place.rest, 'questionStart', 2);
  comeOnline();
  await until(() => textOf(ada) === 'Second');
  assert.equal(ada.lesson.question.state, 'open');
  ada.lesson.answer(['A']);
  await until(() => ada.lesson.question.state === 'confirmed');
  const answers = await presenter.received('questionResponse');
  assert.deepEqual(answers.map(({ payload }) => payload.optionAnswers), [[{ activityOptionId: 'A' }]]);
});

test('who joined anew keeps the question that is asked from then on', async (t) => {
  const { rest, ada, say, presenter } = await loseLine(t, { args: ['--limit', 'awayMs=1'], options: { unsureMs: 300 } });
  say('pollStop', 'p');
  await reached(rest, 'pollStop', 1);
  comeOnline();
  await presenter.received('join', 2);
  say('questionStart', question('Q2', { instructions: 'Second' }));
  await until(() => textOf(ada) === 'Second');
  await new Promise((resolve) => { setTimeout(resolve, 400); }); // when nothing would have been told
  assert.equal(textOf(ada), 'Second');
});

test('who cannot join anew because the class is full is told so at the entrance', async (t) => {
  const { ada, rest, session } = await loseLine(t, { args: ['--limit', 'usersOfSession=1'] });
  await rest.postJson('/vantora/classroom/session/join', {
    userName: 'Ben', sessionCode: session.sessionCode, mode: 'learner', deviceName: 'phone', deviceType: 'phone',
  });
  comeOnline();
  await until(() => ada.phase === 'entrance');
  assert.equal(ada.failure.key, 'session.error.full');
  assert.equal(textOf(ada), null);
});

test('who presses twice joins once', async (t) => {
  const { openTab, session, presenter, rest } = await startClass(t);
  const tab = openTab();
  tab.join({ code: session.sessionCode, name: 'Ada' });
  tab.join({ code: session.sessionCode, name: 'Ada' });
  await presenter.received('join');
  const { list: [{ users }] } = await rest.control('GET', 'sessions');
  assert.equal(users.length, 2); // with the presenter
});
