// Class sessions: created (they have a code), started (they have a token and a bus), joined by users,
// stopped (forgotten). A session ends by itself when its presenter stays away.
//
// A user's token is alive from the join on. Until the user's line has proven itself it is waited for,
// then it is connected, and when the line has gone it is away: its token still lives for a while, so
// that a device that has lost its network comes back as the user it was.

import { randomInt, randomUUID } from 'node:crypto';
import { EventEmitter } from 'node:events';

import { LIMITS } from '../limits.js';
import { digestOf } from './secrets.js';

const CODE_DIGITS = 6;

// Where a user is.
const AWAITED = 'awaited';
const CONNECTED = 'connected';
const AWAY = 'away';

/** What a session knows of one user, around the user itself. */
class Place {
  state = AWAITED;
  deadline = Infinity; // the token's, since the user's last line has gone
  timer = null;

  constructor(user, device) {
    this.user = user;
    this.isLearner = user.mode === 'learner';
    this.device = device; // the digest of the device's secret, or null
  }
}

class Session {
  token = null;
  places = new Map(); // by user token
  learners = 0; // how many of the places are theirs
  devices = new Map(); // by the digest of a device's secret: its place
  timer = null; // ends the session when the presenter stays away

  constructor(code, owner) {
    this.code = code;
    this.owner = owner;
  }

  /** The users who are there or are waited for. */
  get users() {
    return [...this.places.values()].filter(({ state }) => state !== AWAY).map(({ user }) => user);
  }

  /** How many there are of learners, or of all others. */
  countOf(isLearner) {
    return isLearner ? this.learners : this.places.size - this.learners;
  }

  get hasPresenter() {
    return [...this.places.values()].some(({ state, user }) => state === CONNECTED && user.mode === 'presenter');
  }
}

/**
 * Emits 'started' and 'stopped', each with the session; one that was never started is stopped, too. Emits
 * 'left' with the session and the user when a user's token is dead.
 */
export class Sessions extends EventEmitter {
  #limits;
  #byCode = new Map();
  #byToken = new Map();

  constructor({ limits = LIMITS } = {}) {
    super();
    this.#limits = limits;
  }

  /** Creates a session; when its owner has too many that have not ended, the oldest ends. */
  create(owner) {
    const session = new Session(this.#freeCode(), owner);
    this.#byCode.set(session.code, session);
    this.#awaitPresenter(session);
    const all = this.ofOwner(owner);
    all.slice(0, Math.max(0, all.length - this.#limits.sessionsOfTeacher)).forEach((oldest) => this.stop(oldest));
    return session;
  }

  /** Gives the session its token; a session that is running keeps the one it has. */
  start(session) {
    if (session.token === null) {
      session.token = randomUUID();
      this.#byToken.set(session.token, session);
      this.#awaitPresenter(session);
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

  get running() {
    return [...this.#byToken.values()];
  }

  /** A teacher's sessions that have not ended, the oldest first. */
  ofOwner(owner) {
    return [...this.#byCode.values()].filter((session) => session.owner === owner);
  }

  /**
   * Adds a user and returns it with its token, or null when the session is full; details: {userName,
   * mode, deviceName, deviceType}. A device whose secret the session knows is the user it was, with
   * the details it gives now.
   */
  join(session, details, deviceSecret = null) {
    const device = deviceSecret === null ? null : digestOf(deviceSecret);
    const known = session.devices.get(device);
    if (known) {
      Object.assign(known.user, details);
      this.#await(session, known);
      return known.user;
    }
    return this.#makeRoom(session, details.mode) ? this.#add(session, details, device) : null;
  }

  /** Says whether the secret is that of a device whose user's token is alive. */
  knowsDevice(session, deviceSecret) {
    return deviceSecret !== '' && session.devices.has(digestOf(deviceSecret));
  }

  /** The user whose token this is, connected or not, or null. */
  user(session, userToken) {
    return session.places.get(userToken)?.user ?? null;
  }

  /** The users who are connected or have joined and are waited for. */
  users(session) {
    return session.users;
  }

  /** The user's line has proven itself. */
  connected(session, user) {
    const place = session.places.get(user.userToken);
    if (place) {
      clearTimeout(place.timer);
      place.state = CONNECTED;
      if (user.mode === 'presenter') {
        clearTimeout(session.timer);
      }
    }
  }

  /** The user's line is gone, and no other has taken its place. */
  disconnected(session, user) {
    const place = session.places.get(user.userToken);
    if (place?.state === CONNECTED) {
      place.deadline = performance.now() + this.#limits.awayMs;
      this.#letGo(session, place);
      if (user.mode === 'presenter' && !session.hasPresenter) {
        this.#awaitPresenter(session);
      }
    }
  }

  /** The user's token is dead at once, and so is what its device could come back with. */
  remove(session, user) {
    const place = session.places.get(user.userToken);
    if (place) {
      this.disconnected(session, user);
      this.#drop(session, place);
    }
  }

  stop(session) {
    if (this.#byCode.get(session.code) !== session) {
      return;
    }
    this.#byCode.delete(session.code);
    this.#byToken.delete(session.token);
    clearTimeout(session.timer);
    session.places.forEach((place) => this.#drop(session, place));
    this.emit('stopped', session);
  }

  #add(session, details, device) {
    const place = new Place({ ...details, userToken: randomUUID() }, device);
    session.places.set(place.user.userToken, place);
    session.learners += place.isLearner ? 1 : 0;
    if (device !== null) {
      session.devices.set(device, place);
    }
    this.#await(session, place);
    return place.user;
  }

  // Learners cannot keep the teacher's own devices out: each kind has room for as many as are allowed.
  // Whoever is away makes room first.
  #makeRoom(session, mode) {
    const isLearner = mode === 'learner';
    if (session.countOf(isLearner) < this.#limits.usersOfSession) {
      return true;
    }
    const away = [...session.places.values()].find((place) => place.state === AWAY && place.isLearner === isLearner);
    if (away) {
      this.#drop(session, away);
    }
    return away !== undefined;
  }

  // Somebody who has been connected before neither loses nor gains time by joining again.
  #await(session, place) {
    if (place.state === CONNECTED) {
      return;
    }
    place.state = AWAITED;
    const { presenterAwayMs, joiningMs } = this.#limits;
    const patienceMs = place.user.mode === 'presenter' ? presenterAwayMs : joiningMs;
    this.#restart(place, Math.min(patienceMs, timeLeft(place)), () => {
      if (place.deadline === Infinity) {
        this.#drop(session, place);
      } else {
        this.#letGo(session, place);
      }
    });
  }

  #letGo(session, place) {
    place.state = AWAY;
    this.#restart(place, timeLeft(place), () => this.#drop(session, place));
  }

  #drop(session, place) {
    clearTimeout(place.timer);
    if (session.places.delete(place.user.userToken) && place.isLearner) {
      session.learners -= 1;
    }
    session.devices.delete(place.device);
    this.emit('left', session, place.user);
  }

  #awaitPresenter(session) {
    this.#restart(session, this.#limits.presenterAwayMs, () => this.stop(session));
  }

  // Nothing that is waited for keeps the service from ending.
  #restart(owner, ms, expired) {
    clearTimeout(owner.timer);
    owner.timer = setTimeout(expired, ms).unref();
  }

  #freeCode() {
    let code;
    do {
      code = String(randomInt(10 ** CODE_DIGITS)).padStart(CODE_DIGITS, '0');
    } while (this.#byCode.has(code));
    return code;
  }
}

function timeLeft({ deadline }) {
  return deadline - performance.now();
}
