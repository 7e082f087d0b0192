// The bus for tests, at /classroom/bus: a web socket on which one text message is one envelope, either
// way. Whoever has passed the checks of the control endpoints may say everything to everybody, so that a
// test can speak for many devices over one line.

import WebSocket from 'faye-websocket';

import { splitTarget } from './rest/http.js';
import { controlRefusal, refusalHeaders, refuseSocket, SECURITY_HEADERS } from './security.js';

const PATH = '/classroom/bus';
const NOT_AN_ENVELOPE = 3002;
const FAILED = [1011, 'Something went wrong here'];

// The codes that an application may close a web socket with begin here; for the others it says "normal".
const FIRST_OWN_CODE = 3000;
const NORMAL = 1000;

export class TestBus {
  #bus;
  #token;
  #maxBytes;

  /** token: the one that has to come with the request, or null. */
  constructor({ bus }, { token, limits }) {
    this.#bus = bus;
    this.#token = token;
    this.#maxBytes = limits.presenterBytes;
  }

  /** Says whether the request was one for this bus. */
  handle(request, socket, head) {
    if (splitTarget(request.url).path !== PATH) {
      return false;
    }
    const refusal = controlRefusal(request, this.#token) || (WebSocket.isWebSocket(request) ? 0 : 400);
    if (refusal) {
      refuseSocket(socket, refusal, { headers: refusalHeaders(refusal) });
    } else {
      carry(this.#bus, new WebSocket(request, socket, head, [], { maxLength: this.#maxBytes, headers: SECURITY_HEADERS }));
    }
    return true;
  }
}

// An envelope that is still being looked at holds back those behind it.
function carry(bus, line) {
  const connection = bus.attach({
    transport: 'control',
    deliver: (message) => line.send(message.text),
    hangUp: (code, reason) => line.close(code < FIRST_OWN_CODE ? NORMAL : code, reason),
  }, { trusted: true });
  const giveUp = () => connection.close(...FAILED);
  let inbox = Promise.resolve();
  line.on('message', ({ data }) => {
    if (typeof data === 'string') {
      inbox = inbox.then(() => connection.receive(data)).catch(giveUp);
    } else {
      connection.close(NOT_AN_ENVELOPE, 'Not an envelope');
    }
  });
  line.on('close', () => connection.closed());
}
