// Carries bus connections over SockJS, on the transports of the real SockJS server. The gate stands in
// front of that server: it lets through what devices need, within the bounds of what the service bears.

import { randomUUID } from 'node:crypto';
import { EventEmitter } from 'node:events';

import sockjs from 'sockjs';

import { limitsWith } from '../limits.js';
import { refuseSocket, SECURITY_HEADERS } from '../security.js';
import { readText } from './body.js';
import { BUS_PREFIX, Doors, isForBus } from './doors.js';
import { Line } from './line.js';
import { SharedFrames } from './sharedframes.js';

export { BUS_PREFIX };
export { TRANSPORTS } from './doors.js';

// How long a session outlives the end of its last receiving request. A presenter on XHR polling takes
// 3 to 4 s from the end of one poll to the next when replies come in chunks; the server's own 5 s
// would give such a session up whenever the network hesitates. With --stock it is those 5 s.
const DISCONNECT_DELAY_MS = 30_000;

// How often the gate looks for devices that take nothing, in the time that they may.
const SWEEPS = 4;

const WEB_SOCKET_VERSION = '13';
const WEB_SOCKET_KEY = /^[A-Za-z0-9+/]{22}==$/;
const COOKIE_VALUE = /^[\w.%-]{1,64}$/;
const NOTHING = Buffer.alloc(0);
const EMPTY_LIST = Buffer.from('[]');

/** Serves the bus: handle(request, responseOrSocket, head) says whether the request was one for it. */
export class SockJsGate {
  #handler;
  #journal;
  #limits;
  #doors;
  #about; // what every line knows of the gate
  #lines = new Set();
  #opening = 0; // lines that the SockJS server is about to open
  #sessions = new Map(); // the lines that are not web sockets, by the name of their SockJS session
  #hungUp = new Set(); // those of them that are over and wait for their device to come and hear why

  /** pingTimeoutMs: how long a device may go without a ping; 0 for ever. */
  constructor({ bus, journal, transports, stock, pingTimeoutMs, limits = limitsWith() }) {
    this.#journal = journal;
    this.#limits = limits;
    this.#doors = new Doors(transports);
    this.#about = {
      bus, journal, limits, pingTimeoutMs, frames: new SharedFrames(), hungUp: (line) => this.#keepGoodbye(line),
    };
    const server = sockjs.createServer({
      ...!stock && { disconnect_delay: DISCONNECT_DELAY_MS },
      websocket: transports.includes('websocket'),
      faye_server_options: { maxLength: limits.unprovenBytes, headers: SECURITY_HEADERS },
      disable_cors: true,
      jsessionid: stickyCookie,
      log: (severity, line) => severity === 'error' && journal.note('sockjs', { line }),
    });
    server.on('connection', (socket) => this.#guarded(() => this.#open(socket), () => socket?.close()));
    this.#handler = server.middleware({ prefix: BUS_PREFIX });
    setInterval(() => this.#sweep(), limits.stalledMs / SWEEPS).unref();
  }

  handle(request, response, head) {
    if (!isForBus(request.url)) {
      return false;
    }
    const { method, url, headers } = request;
    this.#journal.note('busRequest', { method, path: url, cookie: headers.cookie });
    response.on('error', () => response.destroy());
    this.#guarded(
      () => (head === undefined ? this.#request(request, response) : this.#upgrade(request, response, head)),
      () => response.destroy(),
    );
    return true;
  }

  #request(request, response) {
    keepOriginsOut(response);
    const door = this.#doors.find(request.method, request.url);
    if (door === null) {
      refuse(response, 404, 'there is nothing here');
      return;
    }
    request.url = door.path;
    if (door.transport === 'xhr_send' && door.method === 'POST') {
      this.#post(request, response, this.#sessions.get(door.session));
    } else if (door.session === null || door.method === 'OPTIONS') {
      this.#handler(request, response);
    } else {
      this.#receive(request, response, door.session);
    }
  }

  // A request that messages for the device go into. It opens the session if there is none yet.
  #receive(request, response, session) {
    const line = this.#sessions.get(session);
    if (!line && !this.#admit()) {
      refuse(response, 503, 'too many devices');
      return;
    }
    line?.follow(response);
    this.#handler(request, response);
  }

  #upgrade(request, socket, head) {
    const door = this.#doors.find('upgrade', request.url);
    if (door === null || request.method !== 'GET') {
      refuseUpgrade(socket, 404, 'there is nothing here');
    } else if (!isWebSocket(request.headers)) {
      refuseUpgrade(socket, 400, 'not a web socket');
    } else if (!this.#admit()) {
      refuseUpgrade(socket, 503, 'too many devices');
    } else {
      this.#openWebSocket(request, door.path, socket, head);
    }
  }

  // The SockJS server gets the headers that it needs and reads nothing before the line is there.
  #openWebSocket(request, path, socket, head) {
    request.url = path;
    request.headers = {
      'host': request.headers.host,
      'connection': 'Upgrade',
      'upgrade': 'websocket',
      'sec-websocket-version': WEB_SOCKET_VERSION,
      'sec-websocket-key': request.headers['sec-websocket-key'],
    };
    if (head.length > 0) {
      socket.unshift(head);
    }
    this.#handler(request, socket, NOTHING);
    socket.unpipe();
  }

  #post(request, response, line) {
    if (!line?.isOpen) {
      response.setHeader('Connection', 'close');
      this.#acknowledge(request, response);
    } else if (!line.queuePost(() => this.#take(request, response, line))) {
      refuse(response, 429, 'too many requests wait');
    }
  }

  async #take(request, response, line) {
    if (response.destroyed) {
      return;
    }
    const text = await readText(request, line.postBounds).catch(() => undefined);
    if (text === null) {
      refuse(response, 413, 'too large');
      line.tooLarge();
    } else if (text !== undefined && line.take(text)) {
      this.#acknowledge(request, response);
    } else {
      refuse(response, 400, 'not a list of texts');
    }
  }

  // The SockJS server copies a body as often as it has pieces, so it gets an empty list. It knows what
  // to reply, with which headers, and whether the session exists.
  #acknowledge({ method, url, headers, httpVersion }, response) {
    const request = Object.assign(new EventEmitter(), {
      method, url, headers: { ...headers, 'content-type': 'text/plain' }, httpVersion,
    });
    this.#handler(request, response);
    request.emit('data', EMPTY_LIST);
    request.emit('end');
  }

  // Whether there is room for another line. The SockJS server takes a moment to open it.
  #admit() {
    if (this.#lines.size + this.#opening >= this.#limits.connections) {
      return false;
    }
    this.#opening += 1;
    setImmediate(() => { this.#opening -= 1; });
    return true;
  }

  #open(socket) {
    const line = new Line(socket, this.#about);
    this.#lines.add(line);
    if (line.id !== null) {
      this.#sessions.set(line.id, line);
    }
    socket.on('close', () => {
      this.#lines.delete(line);
      this.#sessions.delete(line.id);
      this.#hungUp.delete(line);
    });
  }

  // As many of them as there may be lines; the oldest makes room.
  #keepGoodbye(line) {
    this.#lines.delete(line);
    if (line.id === null) {
      return;
    }
    this.#hungUp.add(line);
    if (this.#hungUp.size > this.#limits.connections) {
      const [oldest] = this.#hungUp;
      oldest.forget();
    }
  }

  #sweep() {
    const now = Date.now();
    for (const line of [...this.#lines, ...this.#hungUp]) {
      this.#guarded(() => line.sweep(now), () => line.fail(new Error('it cannot be looked after')));
    }
  }

  // What goes wrong with one device ends nothing but that device's connection.
  #guarded(run, giveUp) {
    try {
      run();
    } catch (error) {
      this.#journal.note('sockjs', { line: error.stack });
      giveUp();
    }
  }
}

function isWebSocket(headers) {
  return headers.upgrade?.toLowerCase() === 'websocket'
    && headers['sec-websocket-version'] === WEB_SOCKET_VERSION
    && WEB_SOCKET_KEY.test(headers['sec-websocket-key']);
}

// What the device may still be sending is not read.
function refuse(response, status, why) {
  response.writeHead(status, { 'Content-Type': 'text/plain; charset=UTF-8', 'Connection': 'close' });
  response.end(`${status} ${why}\n`);
}

function refuseUpgrade(socket, status, why) {
  refuseSocket(socket, status, { headers: { 'Content-Type': 'text/plain; charset=UTF-8' }, text: `${status} ${why}\n` });
}

// The SockJS server lets the pages of every origin in, and on some of its transports there is no option
// against that. The service's own pages need nobody's leave.
function keepOriginsOut(response) {
  const { setHeader } = response;
  response.setHeader = (name, value) => (
    name.startsWith('Access-Control-') ? response : setHeader.call(response, name, value));
}

// What a load balancer in front of several servers does: the first reply names the server, and every
// later request of the session carries that name. The percent sign belongs to the value and has to
// come back as it is.
function stickyCookie(request, response) {
  const { JSESSIONID: sent = '' } = request.cookies;
  const value = COOKIE_VALUE.test(sent) ? sent : `${randomUUID().slice(-12)}%1.node119`;
  response.setHeader('Set-Cookie', `JSESSIONID=${value}; path=/`);
}
