// How learners get into a class.

import assert from 'node:assert/strict';
import test from 'node:test';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';

test('a learner joins by the address that the QR code holds', async (t) => {
  const { host, learner } = await openClass(t);
  await learner('Ada');
  assert.equal((await host.tells('learnerJoined')).name, 'Ada');
});

test('a learner joins by typing the code, with a blank in it too', async (t) => {
  const { url, host, newLearner } = await openClass(t);
  const ada = await newLearner('Ada');
  await ada.open(`${url}/`);
  await ada.write('Code', `${host.code.slice(0, 3)} ${host.code.slice(3)}`);
  await ada.introduce();
  await ada.sees(SAYS.isIn);
  await host.tells('learnerJoined', { name: 'Ada' });
});

test('a wrong code is told, and the right one then lets the learner in', async (t) => {
  const { host, newLearner } = await openClass(t);
  const ada = await newLearner('Ada');
  await ada.openPath(host.code === '123456' ? '654321' : '123456');
  await ada.introduce();
  await ada.sees('No class has this code.');
  await ada.write('Code', host.code);
  await ada.press('button', 'Join');
  await ada.sees(SAYS.isIn);
  await host.tells('learnerJoined', { name: 'Ada' });
});

const NAMES = [
  ['of markup', '<img src=x onerror=alert(1)>'],
  ['of an entity', '&lt;b&gt; &amp;'],
  ['in another script', '\u0627\u0644\u0639\u0631\u0628\u064a\u0629'],
  ['of a picture and a quotation mark', '\ud83d\ude80 "O\'Hara"'],
];
for (const [what, name] of NAMES) {
  test(`a name ${what} is the learner's name, and nothing else`, async (t) => {
    const { host, learner } = await openClass(t);
    const ada = await learner(name);
    assert.equal((await host.tells('learnerJoined')).name, name);
    assert.equal(await ada.page.$('img'), null);
  });
}

test('a device that loads the page again is who it was', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  const { device } = await host.tells('learnerJoined');
  await ada.reload();
  await ada.sees(SAYS.isIn);
  await host.ask('MULTIPLE', 'Who is there?', ['I', 'Nobody']);
  await ada.choose(/I$/);
  assert.equal((await host.tells('answered')).device, device);
  assert.equal((await host.call('learners')).length, 1);
});
