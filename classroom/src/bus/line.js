// One line: a SockJS session between a device and the bus. It bears with a device that speaks too much
// or reads too little, up to the bounds of what the device is (its role).
//
// What waits for the device waits here, as the messages themselves, which all devices of a class share;
// the SockJS server fetches it whenever it can send. That and the web socket below (wire.js) is what the
// line knows of the server's inside: its session's recv, tryFlush, flushToRecv and timeout_cb.

import { Inbox } from './inbox.js';
import { Outlet } from './outlet.js';
import { Wire } from './wire.js';

// A frame of a device holds a few messages; this is far more than any device sends at once.
const MAX_TEXTS = 1_000;

// Posts of one line that wait while another is being read.
const MAX_WAITING_POSTS = 4;

// Why the gate hangs up: code and reason, as the device is told.
const NOT_TEXTS = [3002, 'Not an envelope'];
const TOO_MANY = [3005, 'Too many messages'];
const TOO_SLOW = [3006, 'Too slow'];
const TOO_LARGE = [3007, 'Too large'];
const FAILED = [1011, 'Something went wrong here'];
const NO_PING = 3000;

// The names of the bounds by role: of a message, and of what may wait.
const BOUNDS = {
  presenter: ['presenterBytes', 'presenterWaitingBytes'],
  control: ['presenterBytes', 'presenterWaitingBytes'],
  learner: ['messageBytes', 'waitingBytes'],
  controller: ['messageBytes', 'waitingBytes'],
  unproven: ['unprovenBytes', 'waitingBytes'],
};

export class Line {
  #session;
  #connection;
  #wire = null;
  #inbox;
  #patience = null; // with a device that does not ping
  #outbox = []; // messages
  #outboxChars = 0;
  #charsBehind = 0; // of the messages that came since nothing waited, without the first
  #outlets = new Set();
  #lastPost = Promise.resolve();
  #posts = 0;
  #wakePost = null;
  #gate;

  /**
   * socket: the SockJS server's connection. gate: {bus, journal, limits, pingTimeoutMs, frames} and
   * hungUp(line), which hears of a line that has been closed from this side.
   */
  constructor(socket, gate) {
    this.#gate = gate;
    this.#session = socket._session;
    this.#session.flushToRecv = (receiver) => this.#flush(receiver);
    this.id = this.#session.session_id ?? null;
    this.#inbox = new Inbox({
      isRated: () => !this.#isTrusted,
      receive: (text) => this.#connection.receive(text),
      emptied: () => this.#goOnReading(),
      fellBehind: () => this.#close(TOO_MANY),
      failed: (error) => this.fail(error),
    }, gate.limits);
    this.#connection = gate.bus.attach(this.#carrier(socket.protocol));
    socket.on('close', () => this.#closed());
    this.#open(this.#session.recv);
  }

  get isOpen() {
    return this.#connection.isOpen;
  }

  /** How many bytes a post may have before it is known what the line is: see readText(). */
  get postBounds() {
    const { bus, limits } = this.#gate;
    const bound = this.#messageBytes;
    return this.#connection.role === null
      ? { bound, largeBound: limits.presenterBytes, mayBeLarge: (text) => bus.namesPresenter(text) }
      : { bound };
  }

  /** A response to the device of which something may wait in a socket. */
  follow(response) {
    const outlet = new Outlet(response, response.req.socket);
    this.#outlets.add(outlet);
    response.on('close', () => this.#outlets.delete(outlet));
  }

  /** Runs post() when all posts before it are over and what they said is taken. False: too many wait. */
  queuePost(post) {
    if (this.#posts > MAX_WAITING_POSTS) {
      return false;
    }
    this.#posts += 1;
    this.#lastPost = this.#lastPost
      .then(() => this.#inboxEmptied())
      .then(post)
      .catch((error) => this.fail(error))
      .then(() => { this.#posts -= 1; });
    return true;
  }

  /** Takes a frame as it came from the device: a list of texts. Says whether it was one. */
  take(frame) {
    const texts = this.isOpen ? textsOf(frame) : [];
    if (texts === null) {
      this.#close(NOT_TEXTS);
      return false;
    }
    this.#inbox.put(texts);
    if (!this.#inbox.isEmpty) {
      this.#wire?.hold();
    }
    return true;
  }

  tooLarge() {
    this.#close(TOO_LARGE);
  }

  fail(error) {
    this.#gate.journal.note('sockjs', { line: error.stack });
    this.#close(FAILED);
  }

  /** Cuts the line if its device takes nothing of what waits in a socket. */
  sweep(now) {
    const { stalledMs } = this.#gate.limits;
    if ([...this.#outlets].some((outlet) => outlet.isStalled(stalledMs, now))) {
      this.#cut();
    }
  }

  /** Forgets a line that was hung up on and waits for its device to come and hear why. */
  forget() {
    this.#session.timeout_cb();
  }

  #open(receiver) {
    const { limits, pingTimeoutMs } = this.#gate;
    if (receiver?.protocol === 'websocket') {
      this.#outlets.add(new Outlet(receiver.connection, receiver.connection));
      this.#wire = new Wire(receiver, {
        limits,
        takeFrame: (frame) => this.take(frame),
        failed: (error) => this.fail(error),
        tooLarge: () => this.tooLarge(),
      });
    } else if (receiver) {
      this.follow(receiver.response);
    }
    if (pingTimeoutMs > 0) {
      const reason = `No ping for ${pingTimeoutMs / 1_000} s`;
      this.#patience = setTimeout(() => this.#close([NO_PING, reason]), pingTimeoutMs);
    }
  }

  #carrier(transport) {
    return {
      transport,
      deliver: (message) => this.#deliver(message),
      hangUp: (code, reason) => this.#hangUp(code, reason),
      pinged: () => this.#patience?.refresh(),
      proven: () => this.#proven(),
    };
  }

  // The bus knows a token as soon as it has read it, so that this holds for the very next frame.
  #proven() {
    if (this.#wire) {
      this.#wire.messageBytes = this.#messageBytes;
    }
  }

  get #isTrusted() {
    return ['presenter', 'control'].includes(this.#connection.role);
  }

  get #messageBytes() {
    return this.#bounds[0];
  }

  get #bounds() {
    return BOUNDS[this.#connection.role ?? 'unproven'].map((name) => this.#gate.limits[name]);
  }

  get #waiting() {
    return [...this.#outlets].reduce((sum, outlet) => sum + outlet.waiting, this.#outboxChars);
  }

  // The bound is for what waits behind the message that a device is being given. That one may have any
  // size, as hosts send whole pictures; but who has not taken it when so much more has come is too slow.
  // What waits is taken in order, so that the later messages are never more than all that waits.
  #deliver(message) {
    const [, bound] = this.#bounds;
    const waiting = this.#waiting;
    if (waiting === 0) {
      this.#charsBehind = 0;
    } else if (Math.min(waiting, this.#charsBehind) > bound) {
      this.#cut();
      return;
    } else {
      this.#charsBehind += message.text.length;
    }
    this.#outbox.push(message);
    this.#outboxChars += message.text.length;
    this.#flushNow();
  }

  #flushNow() {
    try {
      if (this.#session.recv) {
        this.#session.tryFlush();
      }
    } catch (error) {
      this.fail(error);
    }
  }

  // Gives the receiver what waits, as much as it takes: a polling request takes one frame. In the place
  // of the SockJS session's own flushToRecv(); says whether there was anything.
  #flush(receiver) {
    const hasMessages = this.#outbox.length > 0;
    while (this.#outbox.length > 0 && receiver.thingy) {
      this.#sendNext(receiver);
    }
    return hasMessages;
  }

  #sendNext(receiver) {
    const { frames } = this.#gate;
    const [first] = this.#outbox;
    if (frames.isLarge(first) && frames.send(receiver, first)) {
      this.#leave(1);
      return;
    }
    const nextLarge = this.#outbox.findIndex((message, i) => i > 0 && frames.isLarge(message));
    const count = nextLarge < 0 ? this.#outbox.length : nextLarge;
    receiver.doSendBulk(this.#leave(count).map(({ text }) => text));
  }

  #leave(count) {
    const leaving = this.#outbox.splice(0, count);
    this.#outboxChars -= leaving.reduce((sum, { text }) => sum + text.length, 0);
    return leaving;
  }

  #close([code, reason]) {
    this.#connection.close(code, reason);
  }

  // A close frame would wait behind everything else, so the sockets go. A request that waits in another
  // socket still gets it.
  #cut() {
    this.#leave(this.#outbox.length);
    [...this.#outlets].filter(({ waiting }) => waiting > 0).forEach(({ socket }) => socket.destroy());
    this.#close(TOO_SLOW);
  }

  // A session that has no request waiting stays in the SockJS server, so that the next one hears why it
  // was closed. The bus does not wait for that.
  #hangUp(code, reason) {
    this.#end();
    this.#session.close(code, reason);
    this.#wire?.close();
    this.#gate.hungUp(this);
  }

  #closed() {
    this.#end();
    this.#outlets.clear();
    this.#leave(this.#outbox.length);
  }

  #end() {
    clearTimeout(this.#patience);
    this.#connection.closed();
    this.#inbox.close();
  }

  #goOnReading() {
    this.#wire?.release();
    this.#wakePost?.();
  }

  #inboxEmptied() {
    return this.#inbox.isEmpty || !this.isOpen
      ? undefined
      : new Promise((resolve) => { this.#wakePost = resolve; });
  }
}

/** The texts of a frame, or null if it is anything else. */
function textsOf(frame) {
  try {
    const texts = typeof frame === 'string' ? JSON.parse(frame) : null;
    return isListOfTexts(texts) ? texts : null;
  } catch {
    return null;
  }
}

function isListOfTexts(value) {
  return Array.isArray(value)
    && value.length > 0
    && value.length <= MAX_TEXTS
    && value.every((text) => typeof text === 'string');
}
