// Teachers' accounts and what proves who they are: passwords, device tokens, OAuth codes and the
// sign-in that the session cookie names. Lives in memory, as long as the service runs.

import { randomBytes, randomUUID } from 'node:crypto';

// A code that begins so belongs to somebody who has to register first.
const NEW_USER_PREFIX = 'new-';

export class Accounts {
  #passwords; // by user id; null for somebody who registered through OAuth
  #deviceTokens = new Map(); // by token: {userId, deviceId}
  #registrations = new Map(); // by registration token: user id
  #usedCodes = new Set();
  #signIns = new Map(); // by cookie value: {userId, lastUse}
  #signInLifetimeMs;
  #oauthSingleUse;
  #now;

  /** accounts: list of {user, password}; signInLifetimeMs counts from the last use of a sign-in. */
  constructor({ accounts, signInLifetimeMs, oauthSingleUse = false, now = Date.now }) {
    this.#passwords = new Map(accounts.map(({ user, password }) => [user, password]));
    this.#signInLifetimeMs = signInLifetimeMs;
    this.#oauthSingleUse = oauthSingleUse;
    this.#now = now;
  }

  hasPassword(userId, password) {
    return password !== null && this.#passwords.get(userId) === password;
  }

  issueDeviceToken(userId, deviceId) {
    const token = randomUUID();
    this.#deviceTokens.set(token, { userId, deviceId });
    return token;
  }

  hasDeviceToken(userId, deviceId, token) {
    const owner = this.#deviceTokens.get(token);
    return owner?.userId === userId && owner.deviceId === deviceId;
  }

  /**
   * Whom an authorisation code stands for: {userId}, {registration: user id to register}, or null for
   * a code that is unknown or used up. A code is the user id itself.
   */
  redeemCode(provider, code) {
    const key = `${provider}:${code}`;
    if (this.#oauthSingleUse && this.#usedCodes.has(key)) {
      return null;
    }
    this.#usedCodes.add(key);
    if (this.#passwords.has(code)) {
      return { userId: code };
    }
    return code.startsWith(NEW_USER_PREFIX) ? { registration: code } : null;
  }

  startRegistration(userId) {
    const token = randomUUID();
    this.#registrations.set(token, userId);
    return token;
  }

  /** Registers whom startRegistration() was called for; the user id, or null for an unknown token. */
  finishRegistration(token) {
    const userId = this.#registrations.get(token) ?? null;
    if (userId !== null) {
      this.#registrations.delete(token);
      this.#passwords.set(userId, null);
    }
    return userId;
  }

  /** Starts a sign-in; the returned text is the value of the session cookie. */
  signIn(userId) {
    // The percent sign belongs to the value and has to come back as it is.
    const cookie = `${randomBytes(16).toString('hex')}%1`;
    this.#signIns.set(cookie, { userId, lastUse: this.#now() });
    return cookie;
  }

  /** The user a cookie stands for, or null when there is none or the sign-in has expired. */
  signedInUser(cookie) {
    const signIn = this.#signIns.get(cookie);
    if (!signIn) {
      return null;
    }
    if (this.#now() - signIn.lastUse > this.#signInLifetimeMs) {
      this.#signIns.delete(cookie);
      return null;
    }
    signIn.lastUse = this.#now();
    return signIn.userId;
  }

  signOut(cookie) {
    this.#signIns.delete(cookie);
  }

  expireSignIns() {
    this.#signIns.clear();
  }
}
