// One connection of the bus: one user. Its carrier gives it what arrives (receive, or the operations) and
// says when the line is gone (closed); the bus hands messages to the carrier's deliver(message).
//
// A connection says who it is by registering on the address that ends with its user token. Presenters do
// so with their third registration; what comes before waits, and is let through in order then.

import { parseAddress } from './address.js';
import { provingPlace } from './belonging.js';
import { readEnvelope } from './envelope.js';

/** Why the bus hangs up: code and reason, as the device is told. */
export const CLOSINGS = {
  goingAway: [1001, 'Going away'],
  classEnded: [3001, 'The class has ended'],
  noEnvelope: [3002, 'Not an envelope'],
  unproven: [3003, 'Nobody said who this is'],
  replaced: [3004, 'Replaced by a new line'],
  removed: [3008, 'Removed by the teacher'],
  invalidToken: [3009, 'The token is not valid'],
};

export class BusConnection {
  addresses = new Set();
  user = null; // who it is, as soon as that is known
  session = null; // and in which session
  isOpen = true;
  isBack = false; // whether its user has had a line before
  #bus;
  #carrier;
  #limits;
  #waiting = []; // envelopes, until it is known who it is
  #proofTimer = null;

  /** trusted: a test's, which may do everything and has no user. */
  constructor(bus, id, carrier, { limits, trusted = false }) {
    this.#bus = bus;
    this.#carrier = carrier;
    this.#limits = limits;
    this.id = id;
    this.transport = carrier.transport;
    this.isTrusted = trusted;
    if (!trusted) {
      this.#proofTimer = setTimeout(() => this.close(...CLOSINGS.unproven), limits.proofMs).unref();
    }
  }

  /** 'presenter', 'learner', 'controller', 'control' for a test's, or null as long as nobody knows. */
  get role() {
    return this.isTrusted ? 'control' : this.user?.mode ?? null;
  }

  /** Whether it belongs to a device in this process, whose words need not be looked at. */
  get isSimulated() {
    return this.transport === 'simulated';
  }

  /** Whom presenters are told about: {token, type}, or null for presenters and tests. */
  get client() {
    switch (this.role) {
      case 'learner': return { token: this.user.userToken, type: 'user' };
      case 'controller': return { token: this.user.userToken, type: 'controller' };
      default: return null;
    }
  }

  /**
   * Takes one envelope as it came from the wire. A promise means that it is still being looked at; the
   * next one may be given when the promise has settled.
   */
  receive(text) {
    const envelope = this.isOpen ? readEnvelope(text, this.#limits) : null;
    if (envelope) {
      return this.#take(envelope);
    }
    if (this.isOpen) {
      this.#bus.noteUnknown(this, text);
      this.#complain();
    }
    return undefined;
  }

  register(address) {
    return this.#take({ type: 'register', address });
  }

  publish(address, body) {
    return this.#take({ type: 'publish', address, body });
  }

  deliver(message) {
    if (this.isOpen) {
      this.#carrier.deliver(message);
    }
  }

  /** Tells the device that something was not done, without a word of its own. */
  refuse(message) {
    this.deliver({ address: '', body: null, text: JSON.stringify({ type: 'error', message }) });
  }

  /** Hangs up from this side, for a reason that the device is told. */
  close(code = CLOSINGS.goingAway[0], reason = CLOSINGS.goingAway[1]) {
    if (this.isOpen) {
      this.closed({ code, reason });
      this.#carrier.hangUp(code, reason);
    }
  }

  /** The carrier's word that the line is gone. */
  closed(why = {}) {
    if (this.isOpen) {
      this.isOpen = false;
      this.#waiting = [];
      clearTimeout(this.#proofTimer);
      this.#bus.detach(this, why);
    }
  }

  #take(envelope) {
    if (!this.isOpen) {
      return undefined;
    }
    if (envelope.type === 'ping') {
      this.#bus.notePing(this);
      this.#carrier.pinged?.();
      return undefined;
    }
    const address = parseAddress(envelope.address);
    return this.role === null
      ? this.#takeUnproven({ ...envelope, place: address })
      : this.#act({ ...envelope, place: address });
  }

  #takeUnproven(envelope) {
    const { type, place } = envelope;
    if (place === null || !this.#bus.isRunning(place.sessionToken)) {
      return this.#act(envelope); // which refuses it
    }
    this.#waiting.push(envelope);
    if (type === 'register' && place.userToken !== '') {
      return this.#prove(place);
    }
    if (this.#waiting.length > this.#limits.waitingForProof) {
      this.close(...CLOSINGS.unproven);
    }
    return undefined;
  }

  #prove({ sessionToken, place, userToken }) {
    const { session, user } = this.#bus.userOf(sessionToken, userToken);
    if (user === null || provingPlace(user) !== place) {
      this.close(...CLOSINGS.invalidToken);
      return undefined;
    }
    clearTimeout(this.#proofTimer);
    this.session = session;
    this.user = user;
    this.#bus.proven(this);
    this.#carrier.proven?.(this.role);
    return this.#letThrough(this.#waiting.splice(0));
  }

  // One after another, as if they came now.
  #letThrough([envelope, ...rest]) {
    if (!envelope) {
      return undefined;
    }
    const done = this.#act(envelope);
    return done === undefined ? this.#letThrough(rest) : done.then(() => this.#letThrough(rest));
  }

  #act({ type, address, place, body }) {
    if (type === 'register') {
      return this.#bus.register(this, address, place);
    }
    return this.#bus.publish(this, address, place, body);
  }

  // Presenters put texts of their hosts into their messages as they are: one that breaks a message does
  // not end the class.
  #complain() {
    if (this.role === 'presenter' || this.isTrusted) {
      this.refuse('not an envelope');
    } else {
      this.close(...CLOSINGS.noEnvelope);
    }
  }
}
