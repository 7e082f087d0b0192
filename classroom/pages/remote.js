// The remote's page: the way in for the teacher, and a button for every command.

import { codeInPath, transportsInQuery } from './address.js';
import { COMMANDS, imageAddress } from './commands.js';
import { Line } from './line.js';
import { RemoteControl } from './remotecontrol.js';
import { failureOf, join, signedInUser, signIn } from './service.js';
import { uploadImage } from './upload.js';

// What a line is closed with when its token is not valid any more: the teacher can still join anew.
const TOKEN_INVALID = 3009;

const CONNECTIONS = { opening: 'Connecting', open: 'Connected', lost: 'Connection lost', ended: 'Ended' };
const PRESENTERS = {
  unknown: '',
  there: 'The presenter is there.',
  silent: 'The presenter does not answer. Look at the computer that shows the class.',
};

const find = (id) => document.getElementById(id);
const entrance = find('entrance');

let control = null;
let isSignedIn = false;

async function begin() {
  find('code').value = codeInPath();
  try {
    isSignedIn = await signedInUser() !== null;
  } catch (error) {
    showEntrance(failureOf(error).sentence);
    return;
  }
  if (isSignedIn && find('code').value !== '') {
    await enter();
  } else {
    showEntrance();
  }
}

// ---- The way in ----

entrance.addEventListener('submit', async (event) => {
  event.preventDefault();
  const empty = [...entrance.querySelectorAll('input')].find((input) => input.value.trim() === '' && input.offsetParent);
  if (empty) {
    find('entrance-fault').textContent = `Fill in: ${entrance.querySelector(`label[for=${empty.id}]`).textContent}.`;
    empty.focus();
    return;
  }
  await enter();
});

async function enter() {
  const code = find('code').value.trim();
  const button = entrance.querySelector('button');
  button.disabled = true; // a press more would count as another attempt
  find('entrance-fault').textContent = '';
  try {
    if (!isSignedIn) {
      await signIn({ user: find('user').value.trim(), password: find('password').value });
      isSignedIn = true;
      find('password').value = '';
    }
    start(await join({ code, name: 'Remote', mode: 'controller', deviceType: 'controller' }), code);
  } catch (error) {
    isSignedIn &&= !['session.error.foreignSession', 'login.error.notSignedIn'].includes(error.key);
    showEntrance(failureOf(error).sentence);
    find(error.key === 'login.error.wrongCredentials' ? 'password' : 'code').focus(); // the button has lost it
  } finally {
    button.disabled = false;
  }
}

function showEntrance(fault = '') {
  find('remote').hidden = true;
  entrance.hidden = false;
  find('who-signs-in').hidden = isSignedIn;
  find('entrance-text').hidden = isSignedIn;
  find('entrance-fault').textContent = fault;
}

// ---- The class ----

function start({ sessionToken, userToken }, code) {
  history.replaceState(null, '', `/remote/${encodeURIComponent(code)}${location.search}`);
  const places = ['.controller', `.user.${userToken}`];
  const line = new Line({ sessionToken, userToken, places, transports: transportsInQuery() });
  control = new RemoteControl(line);
  control.addEventListener('change', show);
  control.addEventListener('said', ({ detail }) => say(detail.sentence));
  control.addEventListener('ended', ({ detail }) => end(detail));
  entrance.hidden = true;
  find('remote').hidden = false;
  say('');
  show();
  find('lesson').focus();
  line.open();
}

function end({ code, sentence }) {
  find('stop-dialog').close();
  if (code === TOKEN_INVALID) {
    enter();
    return;
  }
  find('code').value = code === 3004 ? find('code').value : '';
  find('entrance-title').textContent = sentence;
  showEntrance();
  find('entrance-title').focus();
}

function show() {
  find('connection').textContent = CONNECTIONS[control.connection];
  find('connection').classList.toggle('is-down', control.connection !== 'open');
  find('lesson').textContent = control.lesson;
  find('presenter').textContent = PRESENTERS[control.presenter];
}

function say(sentence) {
  find('said').textContent = sentence;
}

// ---- Commands ----

for (const button of document.querySelectorAll('[data-command]')) {
  const { command } = button.dataset;
  button.textContent = COMMANDS[command].label;
  button.addEventListener('click', () => control.send(command));
}
// A key that is held down repeats itself; one press is one command.
document.addEventListener('keydown', (event) => {
  if (event.repeat && event.key === 'Enter' && event.target instanceof HTMLButtonElement) {
    event.preventDefault();
  }
});
find('request-lesson').textContent = COMMANDS.requestLesson.label;
find('add-image').textContent = COMMANDS.addImageCard.label;
find('stop').textContent = COMMANDS.stopSession.label;

find('lesson-form').addEventListener('submit', (event) => {
  event.preventDefault();
  const lessonId = find('lesson-id').value.trim();
  if (lessonId === '') {
    say('Write the id of the lesson first.');
    find('lesson-id').focus();
    return;
  }
  control.send('requestLesson', { lessonId });
});

find('image-form').addEventListener('submit', async (event) => {
  event.preventDefault();
  find('add-image').disabled = true; // until the image is up, for it may take its time
  try {
    const url = await chosenImage();
    if (url !== '' && await control.send('addImageCard', { url })) {
      find('image-form').reset();
    }
  } catch (error) {
    say(failureOf(error).sentence);
  } finally {
    find('add-image').disabled = false;
  }
});

async function chosenImage() {
  const [file] = find('image-file').files;
  if (file) {
    say('The image is being uploaded.');
    return uploadImage(file);
  }
  const url = imageAddress(find('image-address').value);
  if (url === '') {
    say('Choose an image, or write an address that begins with https:// or http://.');
    find(find('image-address').value === '' ? 'image-file' : 'image-address').focus();
  }
  return url;
}

find('stop').addEventListener('click', () => find('stop-dialog').showModal());
find('stop-no').addEventListener('click', () => find('stop-dialog').close());
find('stop-yes').addEventListener('click', () => {
  find('stop-dialog').close();
  control.send('stopSession');
});

begin();
