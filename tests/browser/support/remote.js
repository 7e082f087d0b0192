// A teacher with the remote in hand.

import { Screen } from './screen.js';

/** What the page says of where the remote stands. */
export const SAYS = {
  isConnected: /Connected/,
  isOver: /The class has ended/,
};

export class Remote extends Screen {
  constructor(page, { url, code, password, transports }) {
    super(page);
    this.url = url;
    this.code = code;
    this.password = password;
    this.query = transports ? `?transports=${transports}` : '';
  }

  openPath() {
    return this.open(`${this.url}/remote/${this.code}${this.query}`);
  }

  /** Signs in where the page asks for it. */
  async signIn(password = this.password) {
    await this.write('Name', 'teacher');
    await this.write('Password', password);
    await this.press('button', 'Open the remote');
  }

  /** Opens the page and signs in. */
  async enter() {
    await this.openPath();
    await this.signIn();
    await this.sees(SAYS.isConnected);
    return this;
  }
}
