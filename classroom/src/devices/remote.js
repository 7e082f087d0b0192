// A simulated remote controller: sends its commands to the presenter, one after another, and takes what
// the presenter tells it about the lesson and the card (the journal has it).

import { Device } from './device.js';

// The data that goes along with a command; most have none.
const DATA = {
  requestLesson: { lessonId: 'lesson-1' },
  addImageCard: { url: '/vantora/resource/downloadResourceFile?resourceId=none' },
};

/** What a remote says of itself at the door. */
export const REMOTE_DETAILS = { userName: 'Remote', mode: 'controller', deviceName: 'Remote', deviceType: 'controller' };

export class Remote extends Device {
  #timer = null;

  join() {
    this.register('controller');
    this.register('user', this.deviceId);
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

  send(command, data = DATA[command] ?? {}) {
    this.tellPresenter(command, data, 'base64');
  }

  ended() {
    clearTimeout(this.#timer);
  }
}
