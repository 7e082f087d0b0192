// The teacher's remote: what is pressed there the host is told, and what the host shows stands there.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS as LEARNERS } from './support/learner.js';
import { SAYS } from './support/remote.js';

const ADDRESS = 'https://classroom.example/cards/7.png';

// The button, and the command that the host is told.
const BUTTONS = [
  ['Next', 'nextCard'],
  ['Previous', 'previousCard'],
  ['Push card', 'pushCurrentCard'],
  ['Lock', 'lockAll'],
  ['Unlock', 'unlockAll'],
  ['Pause', 'pause'],
  ['Resume', 'resume'],
  ['What is on?', 'requestLessonInfo'],
  ['Is the presenter there?', 'presenterActive'],
];

for (const transports of ['websocket', 'xhr-polling']) {
  test(`every command reaches the host, over ${transports}`, async (t) => {
    const { host, remote } = await openClass(t);
    const teacher = await remote({ transports });
    await teacher.sees('The presenter is there.');
    for (const [button, command] of BUTTONS) {
      const before = host.told('remoteCommand', { command }).length;
      await teacher.press('button', button);
      await host.tells('remoteCommand', { command }, before + 1);
    }
    await asksForALesson(host, teacher);
    await addsACard(host, teacher);
    await stops(host, teacher);
  });
}

async function asksForALesson(host, teacher) {
  await teacher.press('DisclosureTriangle', 'Another lesson');
  await teacher.write('Id of the lesson', 'l7');
  await teacher.press('button', 'Ask for the lesson');
  const { data } = await host.tells('remoteCommand', { command: 'requestLesson' });
  assert.deepEqual(data, { lessonId: 'l7' });
}

async function addsACard(host, teacher) {
  await teacher.press('DisclosureTriangle', 'A card with an image');
  await teacher.write('or its address', ADDRESS);
  await teacher.press('button', 'Add the card');
  const { data } = await host.tells('remoteCommand', { command: 'addImageCard' });
  assert.deepEqual(data, { url: ADDRESS });
}

async function stops(host, teacher) {
  await teacher.press('button', 'Stop the class');
  await teacher.finds('dialog', 'Stop the class?');
  await teacher.press('button', 'Stop the class');
  await host.tells('ended', { reason: 'EndedByRemote' });
  await teacher.sees(SAYS.isOver);
}

test('the lesson and the card that are up stand on the remote', async (t) => {
  const { host, remote } = await openClass(t);
  await host.call('showLesson', { lesson: 'l7', name: 'Prime numbers' });
  await host.call('showCard', { number: 2, total: 3 });
  const teacher = await remote();
  await teacher.sees('Prime numbers, card 2 of 3');
  await host.call('showCard', { number: 3, total: 3 });
  await teacher.sees('Prime numbers, card 3 of 3');
});

test('they stand there after a reload, too', async (t) => {
  const { host, remote } = await openClass(t);
  const teacher = await remote();
  await host.call('showLesson', { lesson: 'l7', name: 'Prime numbers' });
  await teacher.sees('Prime numbers');
  await teacher.reload();
  await teacher.sees('Prime numbers');
});

test('a pause from the remote is one on the learners\' pages', async (t) => {
  const { host, learner, remote } = await openClass(t);
  const ada = await learner('Ada');
  const teacher = await remote();
  await host.ask('TEXT', 'What do you see?');
  await ada.sees('What do you see?');
  await teacher.press('button', 'Pause');
  await ada.sees(LEARNERS.isPaused);
  await teacher.press('button', 'Resume');
  await ada.seesNoMore(LEARNERS.isPaused);
});

test('nobody gets in without the teacher\'s password', async (t) => {
  const { host, newRemote } = await openClass(t);
  const somebody = await newRemote();
  await somebody.openPath();
  await somebody.signIn('a guess');
  await somebody.sees('The name or the password is wrong.');
  assert.deepEqual(host.told('remoteChanged'), []);
});

test('the password is gone from the page as soon as it has been used', async (t) => {
  const { newRemote, host } = await openClass(t);
  const teacher = await newRemote();
  teacher.code = 'no code';
  await teacher.openPath();
  await teacher.signIn();
  await teacher.sees('No class has this code.');
  const kept = () => teacher.page.evaluate(() => [
    document.getElementById('password').value, JSON.stringify([{ ...globalThis.localStorage }, { ...globalThis.sessionStorage }]),
  ]);
  assert.deepEqual(await kept(), ['', '[{},{}]']);
  await teacher.write('Code of the class', host.code);
  await teacher.press('button', 'Open the remote');
  await teacher.sees(SAYS.isConnected);
  assert.deepEqual(await kept(), ['', '[{},{}]']);
});

test('a key that is held down is one command', async (t) => {
  const { host, remote } = await openClass(t);
  const teacher = await remote();
  await teacher.finds('button', 'Next');
  await teacher.page.focus('[data-command=nextCard]');
  for (let times = 0; times < 5; ++times) {
    await teacher.page.keyboard.down('Enter'); // which repeats itself from the second time on
  }
  await teacher.page.keyboard.up('Enter');
  await teacher.press('button', 'Pause');
  await host.tells('remoteCommand', { command: 'pause' });
  assert.equal(host.told('remoteCommand', { command: 'nextCard' }).length, 1);
});
