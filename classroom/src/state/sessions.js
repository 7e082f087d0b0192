// Class sessions: created (they have a code), started (they have a token and a bus), joined by users,
// stopped (forgotten).

import { EventEmitter } from 'node:events';
import { randomInt, randomUUID } from 'node:crypto';

const CODE_DIGITS = 6;

/** Emits 'started' and 'stopped', each with the session. */
export class Sessions extends EventEmitter {
  #byCode = new Map();
  #byToken = new Map();

  create(owner) {
    const session = { code: this.#freeCode(), token: null, owner, users: new Map() };
    this.#byCode.set(session.code, session);
    return session;
  }

  /** Gives the session its token; a session that is running keeps the one it has. */
  start(session) {
    if (session.token === null) {
      session.token = randomUUID();
      this.#byToken.set(session.token, session);
      this.emit('started', session);
    }
    return session.token;
  }

  withCode(code) {
    return this.#byCode.get(code) ?? null;
  }

  withToken(token) {
    return this.#byToken.get(token) ?? null;
  }

  isRunning(token) {
    return this.#byToken.has(token);
  }

  /** Adds a user and returns it with its token; details: {userName, mode, deviceName, deviceType}. */
  join(session, details) {
    const user = { ...details, userToken: randomUUID() };
    session.users.set(user.userToken, user);
    return user;
  }

  removeUser(sessionToken, userToken) {
    this.withToken(sessionToken)?.users.delete(userToken);
  }

  stop(session) {
    this.#byCode.delete(session.code);
    this.#byToken.delete(session.token);
    this.emit('stopped', session);
  }

  get running() {
    return [...this.#byToken.values()];
  }

  #freeCode() {
    let code;
    do {
      code = String(randomInt(10 ** CODE_DIGITS)).padStart(CODE_DIGITS, '0');
    } while (this.#byCode.has(code));
    return code;
  }
}
