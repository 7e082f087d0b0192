// Teachers' accounts and what proves who they are: passwords, device tokens, OAuth codes and the
// sign-in that the session cookie names. Lives in memory, as long as the service runs, and within
// bounds: whatever a client can have made is forgotten after a time, or when there is too much of it.

import { randomBytes, randomUUID } from 'node:crypto';

import { LIMITS } from '../limits.js';
import { BoundedMap } from './bounded.js';
import { digestOf, isSameSecret } from './secrets.js';

// A code that begins so belongs to somebody who has to register first.
const NEW_USER_PREFIX = 'new-';

// What a password is compared with when there is no such user, so that the answer takes as long.
const NO_PASSWORD = randomBytes(16).toString('hex');

const ownerOf = ({ userId }) => userId;

export class Accounts {
  #passwords; // by user id
  #registered; // by user id: those who registered through OAuth and have no password
  #registrations; // by registration token: {userId}
  #usedCodes; // by the digest of provider and code
  #deviceTokens; // by the token's digest: {userId, deviceId, digest}
  #signIns; // by the digest of the cookie's value: {userId}
  #oauthSingleUse;

  /** accounts: list of {user, password}; signInLifetimeMs counts from the last use of a sign-in. */
  constructor({ accounts, signInLifetimeMs, oauthSingleUse = false, limits = LIMITS, now = Date.now }) {
    this.#passwords = new Map(accounts.map(({ user, password }) => [user, password]));
    this.#oauthSingleUse = oauthSingleUse;
    this.#registered = new BoundedMap({ maxCount: limits.registrations, now });
    this.#registrations = new BoundedMap({ maxCount: limits.registrations, lifetimeMs: limits.registrationMs, now });
    this.#usedCodes = new BoundedMap({ maxCount: limits.usedCodes, now });
    this.#deviceTokens = new BoundedMap({ maxCount: limits.deviceTokensOfTeacher, lifetimeMs: limits.deviceTokenMs, ownerOf, now });
    this.#signIns = new BoundedMap({ maxCount: limits.signInsOfTeacher, lifetimeMs: signInLifetimeMs, ownerOf, now });
  }

  hasPassword(userId, password) {
    const isSame = isSameSecret(this.#passwords.get(userId) ?? NO_PASSWORD, password);
    return isSame && this.#passwords.has(userId);
  }

  issueDeviceToken(userId, deviceId) {
    const token = randomUUID();
    const digest = digestOf(token);
    this.#deviceTokens.set(digest, { userId, deviceId, digest });
    return token;
  }

  hasDeviceToken(userId, deviceId, token) {
    const digest = digestOf(token);
    const same = this.#deviceTokens.values().filter((known) => isSameSecret(known.digest, digest));
    return same.some((known) => known.userId === userId && known.deviceId === deviceId);
  }

  /**
   * Whom an authorisation code stands for: {userId}, {registration: user id to register}, or null for
   * a code that is unknown or used up. A code is the user id itself.
   */
  redeemCode(provider, code) {
    const isKnown = this.#passwords.has(code) || this.#registered.get(code) !== undefined;
    if (!isKnown && !code.startsWith(NEW_USER_PREFIX)) {
      return null;
    }
    const used = digestOf(`${provider}:${code}`);
    if (this.#oauthSingleUse && this.#usedCodes.get(used)) {
      return null;
    }
    this.#usedCodes.set(used, true);
    return isKnown ? { userId: code } : { registration: code };
  }

  startRegistration(userId) {
    const token = randomUUID();
    this.#registrations.set(digestOf(token), { userId });
    return token;
  }

  /** Registers whom startRegistration() was called for; the user id, or null for an unknown token. */
  finishRegistration(token) {
    const digest = digestOf(token);
    const userId = this.#registrations.get(digest)?.userId ?? null;
    if (userId !== null) {
      this.#registrations.delete(digest);
      this.#registered.set(userId, { userId });
    }
    return userId;
  }

  /** Starts a sign-in; the returned text is the value of the session cookie. */
  signIn(userId) {
    // The percent sign belongs to the value and has to come back as it is.
    const cookie = `${randomBytes(16).toString('hex')}%1`;
    this.#signIns.set(digestOf(cookie), { userId });
    return cookie;
  }

  /** The user a cookie stands for, or null when there is none or the sign-in has expired. */
  signedInUser(cookie) {
    return cookie === '' ? null : this.#signIns.touch(digestOf(cookie))?.userId ?? null;
  }

  signOut(cookie) {
    this.#signIns.delete(digestOf(cookie));
  }

  expireSignIns() {
    this.#signIns.clear();
  }
}
