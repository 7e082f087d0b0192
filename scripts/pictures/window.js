// tarvo-desktop in a class of thirty.

import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import path from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

import { Display } from './display.js';
import { PASSWORD, startClassroom } from './lesson.js';

const PROGRAM = fileURLToPath(new URL('../../build/run/examples/desktop/window/tarvo-desktop', import.meta.url));
const LEARNERS = 30;

const POLLS = [
  { kind: 'multiple', text: 'Which of these planets has the most moons?', options: ['Jupiter', 'Saturn', 'Uranus', 'Neptune'] },
  { kind: 'text', text: 'What would you ask an astronaut?' },
];

test('the window in a poll', async (t) => {
  const { display, classroom } = await openWindow(t, 'light');
  display.keys('ctrl+0');
  await classroom.answer([6, 14, 4, 2]);
  await display.shoot('window');
});

test('the window with a scale', async (t) => {
  const { display, classroom } = await openWindow(t, 'dark');
  display.keys('ctrl+4');
  await classroom.answer([1, 2, 4, 9, 8, 5]);
  await display.shoot('window-scale-dark');
});

test('the code on a projector', async (t) => {
  const { display } = await openWindow(t, 'light');
  display.keys('F11');
  await display.shoot('projector');
});

async function openWindow(t, theme) {
  const classroom = await startClassroom(t, LEARNERS);
  const display = await Display.open(t, 1280, 800);
  const home = newHome(t, theme);
  await display.start(t, PROGRAM, ['--server', classroom.url, '--user', 'teacher', '--start'],
    { TARVO_PASSWORD: PASSWORD, XDG_CONFIG_HOME: home, XDG_DATA_HOME: home, QT_QPA_PLATFORM: 'xcb' });
  await classroom.code();
  return { display, classroom };
}

// What the program remembers of a teacher who has chosen the colours and prepared questions.
function newHome(t, theme) {
  const home = mkdtempSync(path.join(tmpdir(), 'tarvo-pictures-'));
  t.after(() => rmSync(home, { recursive: true }));
  mkdirSync(path.join(home, 'tarvo'));
  mkdirSync(path.join(home, 'tarvo-desktop'));
  writeFileSync(path.join(home, 'tarvo', 'tarvo-desktop.ini'), `[window]\ntheme=${theme}\n`);
  writeFileSync(path.join(home, 'tarvo-desktop', 'polls.json'), JSON.stringify({ polls: POLLS }));
  return home;
}
