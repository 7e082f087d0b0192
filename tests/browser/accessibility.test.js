// The pages for people who do not see them, or not well: what a screen reader makes of every state is written
// down in transcripts/, and axe-core has nothing against any of them, in light and in dark colours.

import test from 'node:test';
import { fileURLToPath } from 'node:url';

import { openClass } from './support/class.js';
import { SAYS } from './support/learner.js';
import { SAYS as REMOTE } from './support/remote.js';
import { Transcript } from './support/transcripts.js';

const asked = (kind, text, options) => [(host) => host.ask(kind, text, options), text];
const polled = (kind, ordinals, count, text) => [(host) => host.call('startPoll', { kind, ordinals, count }), text];
const inSet = (question) => [(host) => host.call('startAssessment', { title: 'Numbers', questions: [question] }), question.text];
const written = (field, text) => (ada) => ada.write(field, text).then(() => ada.send());

const PRIMES = { kind: 'MULTIPLE', text: 'Which are prime?', options: ['7', '8', '11'], properties: { numberOfCorrectOptions: 2 } };

// The transcript, how the question is asked, what can be read then, and how it is answered.
const QUESTIONS = [
  ['true-false', ...asked('TRUE_FALSE', 'Is 7 prime?'), (ada) => ada.choose(/True$/)],
  ['yes-no-other', ...asked('YES_NO_OTHER', 'Is it raining?', ['Yes', 'No', 'A little']), (ada) => ada.choose(/A little$/)],
  ['one-of-several', ...asked('MULTIPLE', 'Which is a river?', ['Alps', 'Rhine', 'Baltic']), (ada) => ada.choose(/Rhine$/)],
  ['several', ...inSet(PRIMES), chooseTwo],
  ['scale', ...polled('SCALE', 'CONFIDENCE', 5, 'Where on the scale?'), (ada) => ada.choose(/4/)],
  ['sort', ...asked('SORT', 'Put them in order.', ['mean', 'sum', 'count']), raiseTheLast],
  ['text', ...asked('TEXT', 'What do you see?'), written('What do you see?', 'A boat')],
  ['word', ...polled('WORD_SEED', 'NUMBER', 1, 'Write a word'), written('Write a word', 'meadow')],
  ['number', ...asked('NUMBER', 'How deep is it?'), written('How deep is it?', '2.5')],
  ['formula', ...asked('MATH_FORMULA', 'What is x?'), written('What is x?', '\\frac{1}{2}')],
  ['ideas', ...polled('CREATIVE', 'NUMBER', 1, 'Write your ideas'), written('Idea 1', 'stone')],
];

async function chooseTwo(ada) {
  await ada.press('checkbox', /7$/);
  await ada.press('checkbox', /11$/);
  await ada.send();
}

async function raiseTheLast(ada) {
  await ada.press('button', 'Move count up');
  await ada.send();
}

test('every kind of question, open, paused and answered', async (t) => {
  const { host, learner } = await openClass(t);
  const ada = await learner('Ada');
  for (const [name, ask, text, answer] of QUESTIONS) {
    await t.test(name, async () => {
      const transcript = new Transcript(name, host.code);
      await ask(host);
      await ada.sees(text);
      await transcript.hear('open', ada);
      await host.call('pause');
      await ada.sees(SAYS.isPaused);
      await transcript.hear('paused', ada);
      await host.call('resume');
      await ada.seesNoMore(SAYS.isPaused);
      await answer(ada);
      await ada.page.waitForFunction(() => document.title.startsWith('Answer received')); // what is told may be older
      await transcript.hear('answered', ada);
      await host.call('stopActivity');
      await ada.sees(SAYS.isIn);
      transcript.check();
    });
  }
});

const QUESTION = ['MULTIPLE', 'Which is a river?', ['Alps', 'Rhine', 'Baltic']];

const PICTURE = fileURLToPath(new URL('../../examples/presenter/slide.png', import.meta.url));

const RIVERS = {
  title: 'Rivers of Europe',
  settings: { allowNavigateQuestionSet: true },
  questions: [
    { kind: 'MULTIPLE', text: 'Which is the longest?', options: ['Danube', 'Volga', 'Rhine'] },
    { kind: 'NUMBER', text: 'How many countries does the Danube pass?' },
  ],
};

// The transcript, and what is played, with hear(state) for each state of the page.
const SCENES = [
  ['entrance', async ({ host, url, newLearner, hear }) => {
    const ada = await newLearner('Ada');
    await ada.open(`${url}/`);
    await ada.finds('textbox', 'Code');
    await hear('open', ada);
    await ada.press('button', 'Join');
    await ada.sees('Type the code');
    await hear('without a code', ada);
    await ada.write('Code', host.code === '123456' ? '654321' : '123456');
    await ada.introduce();
    await ada.sees('No class has this code.');
    await ada.write('Code', host.code);
    await hear('after a code that is none', ada);
  }],
  ['class', async ({ host, learner, hear }) => {
    const ada = await learner('Ada');
    await hear('waiting', ada);
    await host.call('stop');
    await ada.sees(SAYS.isOver);
    await hear('over', ada);
  }],
  ['card', async ({ host, learner, hear }) => {
    const ada = await learner('Ada');
    await host.call('showImage', { file: PICTURE });
    await ada.finds('image', 'The picture that your teacher shows');
    await hear('with a picture', ada);
    await host.call('showImageAt', { url: 'https://classroom.example/cards/7.png' });
    await ada.sees('There is a picture that cannot be shown');
    await hear('with a picture from elsewhere', ada);
  }],
  ['text-from-teacher', async ({ host, learner, hear }) => {
    const ada = await learner('Ada');
    await host.tells('learnerJoined');
    await host.call('sendText', { text: 'Look at the board.', option: 'PlainText' });
    await ada.sees('Look at the board.');
    await hear('that can be closed', ada);
    await ada.press('button', 'Close');
    await ada.seesNoMore('Look at the board.');
    await hear('closed', ada);
    await host.call('sendText', { text: 'Stand up.', option: 'FixedText' });
    await ada.sees('Stand up.');
    await hear('that stays', ada);
  }],
  ['assessment', async ({ host, learner, hear }) => {
    const ada = await learner('Ada');
    await host.call('startAssessment', RIVERS);
    await ada.sees('Which is the longest?');
    await hear('first question', ada);
    await ada.choose(/Volga$/);
    await ada.isHeard();
    await hear('first question answered', ada);
    await ada.press('button', 'Next');
    await ada.sees('How many countries');
    await hear('second question', ada);
  }],
  ['connection-lost', async ({ host, learner, proxy, hear }) => {
    const ada = await learner('Ada');
    await host.ask(...QUESTION);
    await ada.sees('Which is a river?');
    proxy.cut();
    await ada.sees(SAYS.isLost);
    await hear('lost', ada);
    await ada.choose(/Rhine$/);
    await ada.sees('Sending');
    await hear('answered nevertheless', ada);
  }],
  ['removed', async ({ host, learner, hear }) => {
    const ada = await learner('Ada');
    const { device } = await host.tells('learnerJoined', { name: 'Ada' });
    await host.call('removeLearner', { device });
    await ada.sees(SAYS.isRemoved);
    await hear('removed', ada);
  }],
  ['replaced', async ({ learner, hear }) => {
    const ada = await learner('Ada');
    await learner('Ada', { on: ada.device });
    await ada.sees(SAYS.isReplaced);
    await hear('replaced', ada);
  }],
  ['remote', async ({ host, newRemote, hear }) => {
    const teacher = await newRemote();
    await teacher.openPath();
    await teacher.finds('button', 'Open the remote');
    await hear('at the entrance', teacher);
    await teacher.signIn('pear tree 8');
    await teacher.sees('The name or the password is wrong.');
    await hear('with a wrong password', teacher);
    await host.call('showLesson', { lesson: 'l7', name: 'Prime numbers' });
    await teacher.signIn();
    await teacher.sees(REMOTE.isConnected);
    await teacher.sees('The presenter is there.');
    await teacher.sees('Prime numbers');
    await hear('in the class', teacher);
    await teacher.press('DisclosureTriangle', 'Another lesson');
    await teacher.press('DisclosureTriangle', 'A card with an image');
    await hear('with everything open', teacher);
    await teacher.press('button', 'Stop the class');
    await teacher.sees('Stop the class?');
    await hear('asked whether to stop', teacher);
    await teacher.press('button', 'Stop the class');
    await teacher.sees(REMOTE.isOver);
    await hear('over', teacher);
  }],
];

for (const [name, play] of SCENES) {
  test(name, async (t) => {
    const stage = await openClass(t, { behindProxy: true });
    const transcript = new Transcript(name, stage.host.code);
    await play({ ...stage, hear: (state, screen) => transcript.hear(state, screen) });
    transcript.check();
  });
}
