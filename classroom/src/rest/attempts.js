// The brake for guessing: joins with a session code and sign-ins, counted by the address they come from
// when they fail, for a minute.
//
// What guessing the six digits of one running session's code then takes, 500,000 attempts on average:
// from one address 10 a minute, that is 34 days and 17 hours; from many addresses at most 120 in the
// first minute and 60 in each that follows, that is 5 days and 19 hours. A class of one hour is found by
// one address with a chance of 0.06 %, by many with 0.37 %.

import { isIPv6 } from 'node:net';
import { setTimeout as sleep } from 'node:timers/promises';

import { LIMITS } from '../limits.js';
import { failures, isWrongGuess } from './reply.js';

const MINUTE_MS = 60_000;

// Nothing that waits keeps the service from ending. performance.now() does not jump with the clock.
const CLOCK = {
  now: () => performance.now(),
  pause: (ms) => sleep(ms, null, { ref: false }),
};

export class Attempts {
  #limits;
  #clock;
  #ofAddress = new Map(); // by network: when its last attempts failed; whoever failed last stands last
  #ofAll = []; // when the last attempts failed
  #waiting = 0;
  #nextTurn = -Infinity;

  /** clock: {now() in ms, pause(ms)}. */
  constructor({ limits = LIMITS, clock = CLOCK } = {}) {
    this.#limits = limits;
    this.#clock = clock;
  }

  /**
   * Resolves with what look() returns, a function that throws a RequestError when the attempt fails.
   * Rejects without calling it when too many have failed. From the last check to look()'s end nothing
   * else runs, so that attempts that arrive together do not slip through together.
   */
  async make(address, look) {
    const network = networkOf(address);
    this.#check(network);
    if (this.#areTooMany(this.#ofAll, this.#limits.failedAttemptsOfAll)) {
      await this.#turn();
      this.#check(network);
    }
    try {
      return look();
    } catch (error) {
      if (isWrongGuess(error)) {
        this.#noteFailure(network);
      }
      throw error;
    }
  }

  #check(network) {
    const times = this.#ofAddress.get(network) ?? [];
    if (this.#areTooMany(times, this.#limits.failedAttempts)) {
      throw failures.tooManyAttempts(this.#secondsUntil(times[0] + MINUTE_MS));
    }
  }

  // No more times are kept than are allowed: a full list that is young is one too many.
  #areTooMany(times, allowed) {
    return times.length >= allowed && times[0] > this.#clock.now() - MINUTE_MS;
  }

  async #turn() {
    if (this.#waiting >= this.#limits.waitingAttempts) {
      throw failures.tooManyAttempts(this.#secondsUntil(this.#nextTurn));
    }
    const now = this.#clock.now();
    const turn = Math.max(now, this.#nextTurn);
    this.#nextTurn = turn + this.#limits.attemptMs;
    this.#waiting += 1;
    await this.#clock.pause(turn - now);
    this.#waiting -= 1;
  }

  #noteFailure(network) {
    const now = this.#clock.now();
    const latest = (times, count) => [...times, now].slice(-count);
    this.#ofAll = latest(this.#ofAll, this.#limits.failedAttemptsOfAll);
    const times = latest(this.#ofAddress.get(network) ?? [], this.#limits.failedAttempts);
    this.#ofAddress.delete(network);
    this.#ofAddress.set(network, times);
    this.#forget(now);
  }

  #forget(now) {
    for (const [network, times] of this.#ofAddress) {
      if (times.at(-1) > now - MINUTE_MS && this.#ofAddress.size <= this.#limits.rememberedAddresses) {
        return;
      }
      this.#ofAddress.delete(network);
    }
  }

  #secondsUntil(time) {
    return Math.max(1, Math.ceil((time - this.#clock.now()) / 1000));
  }
}

/**
 * Whom an address stands for: an IPv4 address for itself, however it is written, an IPv6 address for
 * the 64 bits that a provider hands out to one customer.
 */
export function networkOf(address = '') {
  const [plain] = address.split('%');
  if (!isIPv6(plain)) {
    return plain;
  }
  const mapped = /^::ffff:(\d+\.\d+\.\d+\.\d+)$/i.exec(plain);
  return mapped ? mapped[1] : `${groupsOf(plain).slice(0, 4).join(':')}::/64`;
}

// The URL parser writes every address the same way, with at most one "::".
function groupsOf(address) {
  const [head, tail = ''] = new URL(`http://[${address}]`).hostname.slice(1, -1).split('::');
  const [before, after] = [head, tail].map((part) => part.split(':').filter((group) => group !== ''));
  const zeros = Array(8 - before.length - after.length).fill('0');
  return [...before, ...zeros, ...after];
}
