// A simulated remote controller: sends its commands to the presenter, one after another, and takes what
// the presenter tells it about the lesson and the card (the journal has it).

import { Device } from './device.js';

/** The commands a presenter understands, with the data that goes along. stopSession comes last. */
const COMMANDS = {
  requestLessonInfo: {},
  requestLesson: { lessonId: 'lesson-1' },
  presenterActive: {},
  pause: {},
  resume: {},
  lockAll: {},
  unlockAll: {},
  nextCard: {},
  previousCard: {},
  pushCurrentCard: {},
  addImageCard: { url: '/vantora/resource/downloadResourceFile?resourceId=none' },
  stopSession: {},
};

export const REMOTE_COMMANDS = Object.keys(COMMANDS);

export class Remote extends Device {
  #timer = null;

  constructor(services, session) {
    super(services, session, { userName: 'Remote', mode: 'controller', deviceName: 'Remote', deviceType: 'controller' });
  }

  join() {
    this.register('controller');
    this.note('joined');
  }

  /** Sends the commands, one every `everyMs`. */
  play(commands, everyMs) {
    const [command, ...rest] = commands;
    if (command && this.isConnected) {
      this.#timer = setTimeout(() => {
        this.send(command);
        this.play(rest, everyMs);
      }, everyMs);
    }
  }

  send(command, data = COMMANDS[command] ?? {}) {
    this.tellPresenter(command, data, 'base64');
  }

  ended() {
    clearTimeout(this.#timer);
  }
}
