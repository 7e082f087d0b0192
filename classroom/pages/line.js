// A page's line to the bus. It registers where its user belongs, comes back by itself when it is lost, and
// hands on what it hears in the order in which it came, unpacked.

import { pack, unpack } from './payload.js';
import { isObject, listOf, objectOf } from './values.js';

const TRANSPORTS = ['websocket', 'xhr-streaming', 'eventsource', 'xhr-polling'];

// Closed for good: the class has ended, another line of this user took over, removed, no valid token.
const FINAL_CODES = [3001, 3004, 3008, 3009];

// Refused so, a line would wait for nothing: the session is over, or the service was started anew.
const UNKNOWN_SESSION = 'unknown session';
const INVALID_TOKEN = 3009;

const FIRST_WAIT_MS = 500;
const LONGEST_WAIT_MS = 10_000;

// A class that has lost its line all at once does not come back in one moment.
const JITTER = 0.5;

// A SockJS server is heard every 25 s, if only by its heartbeat. Who is silent for longer is gone.
const SILENCE_MS = 40_000;
const CHECKS = 8; // within that time
const PING_MS = 30_000;

// What may have happened while nobody looked: a network that came back, a screen that was unlocked, a page
// that the browser had put away and shows again.
const WAKING = [['window', 'online'], ['window', 'pageshow'], ['document', 'visibilitychange']];

// A line that has held so long begins with the shortest wait again when it is lost.
const STABLE_MS = 5_000;

/** Emits 'open', 'message' {address, body, data}, 'refused' {message}, 'lost' {attempt, waitMs}, 'ended' {code, reason}. */
export class Line extends EventTarget {
  #url;
  #sessionToken;
  #userToken;
  #places;
  #transports;
  #silenceMs;
  #socket = null;
  #isOpen = false;
  #isClosed = true;
  #attempt = 0;
  #timers = []; // of the line that is up
  #waitTimer = null;
  #heardAt = 0;
  #inbox = Promise.resolve();
  #outbox = Promise.resolve();
  #wake = (event) => this.#wakeUp(event);

  /**
   * places: what to register on, behind the session token; transports: a list of names, or null for all;
   * origin: of the service; silenceMs: after which the line is given up.
   */
  constructor({ sessionToken, userToken, places, transports, origin = globalThis.location?.origin, silenceMs = SILENCE_MS }) {
    super();
    this.#silenceMs = silenceMs;
    this.#url = `${origin}/eventbus`;
    this.#sessionToken = sessionToken;
    this.#userToken = userToken;
    this.#places = places;
    this.#transports = transports ?? TRANSPORTS;
  }

  get isOpen() {
    return this.#isOpen;
  }

  open() {
    if (this.#isClosed) {
      this.#isClosed = false;
      WAKING.forEach(([place, name]) => placeOf(place)?.addEventListener(name, this.#wake));
      this.#connect();
    }
  }

  /** Says something to the presenter. A promise of whether it went out on an open line. */
  publish(type, payload) {
    if (!this.#isOpen) {
      return Promise.resolve(false);
    }
    const socket = this.#socket;
    const sent = this.#outbox
      .then(() => pack(payload))
      .then((data) => this.#publishPacked(socket, type, data), () => false);
    this.#outbox = sent;
    return sent;
  }

  close() {
    this.#isClosed = true;
    WAKING.forEach(([place, name]) => placeOf(place)?.removeEventListener(name, this.#wake));
    clearTimeout(this.#waitTimer);
    this.#drop();
  }

  #connect() {
    clearTimeout(this.#waitTimer);
    this.#drop();
    const socket = new globalThis.SockJS(this.#url, null, { transports: this.#transports });
    this.#socket = socket;
    this.#heardAt = Date.now();
    const whenOwn = (react) => (event) => {
      if (this.#socket === socket) {
        this.#heardAt = Date.now();
        react(event);
      }
    };
    socket.onopen = whenOwn(() => this.#opened());
    socket.onmessage = whenOwn(({ data }) => this.#take(data));
    socket.onheartbeat = whenOwn(() => {});
    socket.onclose = whenOwn(({ code, reason }) => this.#gone(code, reason));
    this.#timers.push(setInterval(() => this.#checkSilence(), this.#silenceMs / CHECKS));
  }

  #opened() {
    this.#isOpen = true;
    this.#places.forEach((place) => this.#send({ type: 'register', address: this.#sessionToken + place }));
    this.#timers.push(
      setInterval(() => this.#send({ type: 'ping' }), PING_MS),
      setTimeout(() => { this.#attempt = 0; }, STABLE_MS),
    );
    this.#tell('open', {});
  }

  #send(envelope) {
    this.#socket.send(JSON.stringify(envelope));
  }

  // The line may have been lost while the payload was packed, and may even have come back.
  #publishPacked(socket, type, data) {
    if (!this.#isOpen || this.#socket !== socket) {
      return false;
    }
    this.#send({
      type: 'publish',
      address: `${this.#sessionToken}.presenter`,
      body: { type, from: this.#userToken, data, version: '3.0.0', sourceSystem: 'Corvel' },
    });
    return true;
  }

  #take(text) {
    const { type, address, body, message } = read(text);
    if (type === 'error') {
      this.#refused(message);
    } else if (isBody(body)) {
      const socket = this.#socket;
      const data = body.action === 'state' ? stateOf(body) : unpack(body.data ?? []);
      this.#inbox = this.#inbox.then(async () => this.#hand(socket, { address: String(address), body, data: await data }));
    }
  }

  #refused(message) {
    if (message === UNKNOWN_SESSION) {
      this.#finish(INVALID_TOKEN, message);
    } else {
      this.#tell('refused', { message });
    }
  }

  // What was unpacked for too long, the next line tells anew.
  #hand(socket, message) {
    if (this.#socket === socket) {
      this.#tell('message', message);
    }
  }

  // What is still being unpacked is not of interest any more.
  #finish(code, reason) {
    this.close();
    this.#tell('ended', { code, reason });
  }

  #gone(code, reason) {
    if (FINAL_CODES.includes(code)) {
      this.#finish(code, reason);
      return;
    }
    this.#drop();
    const waitMs = waitMsFor(this.#attempt++);
    this.#waitTimer = setTimeout(() => this.#connect(), waitMs);
    this.#tell('lost', { attempt: this.#attempt, waitMs });
  }

  // A socket that is given up must not be heard any more.
  #drop() {
    const socket = this.#socket;
    this.#socket = null;
    this.#isOpen = false;
    this.#timers.splice(0).forEach((timer) => clearInterval(timer));
    socket?.close();
  }

  get #isSilent() {
    return Date.now() - this.#heardAt > this.#silenceMs;
  }

  #checkSilence() {
    if (this.#isSilent) {
      this.#gone(0, 'Nothing was heard');
    }
  }

  // There is no reason to wait any longer. Of a page that was put away, the browser has cut the connections
  // without a word.
  #wakeUp({ type, persisted }) {
    const isHidden = globalThis.document?.visibilityState === 'hidden';
    if (isHidden || (type === 'pageshow' && !persisted)) {
      return;
    }
    if (this.#socket !== null && (persisted || this.#isSilent)) {
      this.#gone(0, 'Nothing was heard');
    }
    if (this.#socket === null) {
      this.#connect();
    }
  }

  #tell(name, detail) {
    this.dispatchEvent(new CustomEvent(name, { detail }));
  }
}

// A browser's window is the scope of all its scripts; tests have no document.
function placeOf(name) {
  return name === 'window' ? globalThis : globalThis.document;
}

// What cannot be read says nothing.
function read(text) {
  try {
    return objectOf(JSON.parse(text));
  } catch {
    return {};
  }
}

function isBody(body) {
  return isObject(body) && [body.type, body.action].every((name) => ['string', 'undefined'].includes(typeof name));
}

async function stateOf({ paused, messages, answers }) {
  const unpacked = listOf(messages).filter(isBody).map(async (body) => ({ body, data: await unpack(body.data ?? []) }));
  return { paused: paused === true, messages: await Promise.all(unpacked), answers: listOf(answers).filter(isObject) };
}

function waitMsFor(attempt) {
  const waitMs = Math.min(LONGEST_WAIT_MS, FIRST_WAIT_MS * 2 ** attempt);
  return Math.round(waitMs * (1 - JITTER / 2 + JITTER * Math.random()));
}
