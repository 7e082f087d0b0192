// A learner in front of the page.

import { Screen } from './screen.js';

/** What the page says of where the learner stands. */
export const SAYS = {
  isIn: /You are in/,
  hasAnswer: /Your teacher has your answer/,
  isPaused: /Your teacher has paused/,
  isLost: /The connection is lost/,
  isReplaced: /open in another tab/,
  isRemoved: /You were removed from the class/,
  isOver: /The class has ended/,
};

export class Learner extends Screen {
  constructor(page, { url, code, name, transports }) {
    super(page);
    this.url = url;
    this.code = code;
    this.name = name;
    this.query = transports ? `?transports=${transports}` : '';
  }

  /** Opens the address that the class's QR code holds. */
  openPath(code = this.code) {
    return this.open(`${this.url}/join/${code}${this.query}`);
  }

  /** Joins by that address. */
  async join() {
    await this.openPath();
    await this.introduce();
    await this.sees(SAYS.isIn);
    return this;
  }

  /** Says who it is, where the code stands already. */
  async introduce(name = this.name) {
    await this.write('Your name', name);
    await this.press('button', 'Join');
  }

  /** Chooses an option, which answers where only one can be chosen. */
  choose(option) {
    return this.press('radio', option);
  }

  send() {
    return this.press('button', 'Send answer');
  }

  /** Waits until the page says that the teacher has the answer. */
  isHeard() {
    return this.sees(SAYS.hasAnswer);
  }
}
