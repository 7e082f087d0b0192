// tarvo-presenter in a poll.

import test from 'node:test';
import { fileURLToPath } from 'node:url';

import { Display } from './display.js';
import { PASSWORD, startClassroom } from './lesson.js';

const PROGRAM = fileURLToPath(new URL('../../build/run/examples/presenter/tarvo-presenter', import.meta.url));
const LEARNERS = 9;
const LOOK = ['-fa', 'DejaVu Sans Mono', '-fs', '13', '-bg', '#1d2430', '-fg', '#e8ecf2', '-cr', '#e8ecf2', '-b', '14',
  '+sb', '-bc', '-T', 'tarvo-presenter'];

test('the terminal in a poll', async (t) => {
  const classroom = await startClassroom(t, LEARNERS);
  const display = await Display.open(t, 1000, 640);
  await display.start(t, 'xterm', [...LOOK, '-e', PROGRAM, '--server', classroom.url, '--user', 'teacher'],
    { TARVO_PASSWORD: PASSWORD });
  await classroom.code();
  display.type('ask "Which river is the longest?" Danube Volga Rhine');
  await classroom.answer([2, 4, 1]);
  display.type('who');
  await display.shoot('terminal');
});
