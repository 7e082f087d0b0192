// The pages on a phone: the learner's, in light and dark colours, and the teacher's remote.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

import { newDevice } from '../../tests/browser/support/browser.js';
import { Learner } from '../../tests/browser/support/learner.js';
import { Remote } from '../../tests/browser/support/remote.js';
import { PASSWORD, startClassroom } from './lesson.js';
import { keep } from './picture.js';

const PROGRAM = fileURLToPath(new URL('../../build/run/examples/presenter/tarvo-presenter', import.meta.url));
const PHONE = { width: 390, height: 600, deviceScaleFactor: 2, isMobile: true, hasTouch: true };

test('a choice on the learner\'s page', async (t) => {
  const { say, newPage } = await openClass(t);
  const mia = await newPage(Learner, 'light', { name: 'Mia' });
  await mia.join();
  say('ask "Which of these planets has the most moons?" Jupiter Saturn Uranus Neptune');
  await mia.choose(/Saturn$/);
  await mia.isHeard();
  await shoot(mia, 'learner-choice');
});

test('things to sort on the learner\'s page', async (t) => {
  const { say, newPage } = await openClass(t);
  const mia = await newPage(Learner, 'dark', { name: 'Mia' });
  await mia.join();
  say('ask "Put these in order, the nearest to the sun first." sort Earth Mercury Mars Venus');
  await mia.press('button', 'Move Mercury up');
  await shoot(mia, 'learner-sort-dark');
});

test('a formula on the learner\'s page', async (t) => {
  const { say, newPage } = await openClass(t);
  const mia = await newPage(Learner, 'light', { name: 'Mia' });
  await mia.join();
  say('ask "How long does light need for the distance s?" math-formula');
  await mia.write('How long does light need for the distance s?', 't=\\frac{s}{c}');
  await shoot(mia, 'learner-formula');
});

test('the remote', async (t) => {
  const { say, newPage } = await openClass(t);
  say('lesson L-1 The solar system');
  say('current 3 12');
  const teacher = await newPage(Remote, 'light', { password: PASSWORD });
  await teacher.enter();
  await teacher.sees('card 3 of 12');
  await teacher.press('button', 'Push card');
  await teacher.sees('Push card: sent.');
  await teacher.page.setViewport({ ...PHONE, height: 710 });
  await shoot(teacher, 'remote');
});

// A class that tarvo-presenter leads: say(line) is what is typed at its prompt.
async function openClass(t) {
  const classroom = await startClassroom(t, 1);
  const host = spawn(PROGRAM, ['--server', classroom.url, '--user', 'teacher'],
    { env: { ...process.env, TARVO_PASSWORD: PASSWORD }, stdio: ['pipe', 'ignore', 'ignore'] });
  const ended = once(host, 'close');
  t.after(async () => {
    host.stdin.end();
    await ended;
  });
  const code = await classroom.code();
  const newPage = async (Page, colours, options) => {
    const page = await (await newDevice(t)).newPage();
    await page.setViewport(PHONE);
    await page.emulateMediaFeatures([{ name: 'prefers-color-scheme', value: colours }]);
    return new Page(page, { url: classroom.url, code, ...options });
  };
  return { newPage, say: (line) => host.stdin.write(`${line}\n`) };
}

async function shoot({ page }, name) {
  await page.evaluate(() => document.activeElement?.blur()); // no caret that may blink
  keep(name, await page.screenshot());
}
