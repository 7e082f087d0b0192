// Carries bus connections over SockJS, on every transport of the real SockJS server.

import { randomBytes } from 'node:crypto';

import sockjs from 'sockjs';

/** Devices find the bus here, below the collaboration server's URL. */
export const BUS_PREFIX = '/eventbus';

// How long a session outlives the end of its last receiving request. A presenter on XHR polling takes
// 3 to 4 s from the end of one poll to the next when replies come in chunks; the server's own 5 s
// would give such a session up whenever the network hesitates. With --stock it is those 5 s.
const DISCONNECT_DELAY_MS = 30_000;

// The first of the codes that are an application's own.
const NO_PING = 3000;

// The transports that can be switched off, with the path that opens them.
const TRANSPORT_PATHS = {
  'websocket': 'websocket',
  'xhr-streaming': 'xhr_streaming',
  'xhr-polling': 'xhr',
  'eventsource': 'eventsource',
  'htmlfile': 'htmlfile',
  'jsonp-polling': 'jsonp',
};

export const TRANSPORTS = Object.keys(TRANSPORT_PATHS);

const SESSION_PATH = new RegExp(`^${BUS_PREFIX}/[^/.]+/[^/.]+/([a-z_]+)(?:\\?|$)`);

/** Serves the bus: handle(request, responseOrSocket, head) says whether the request was one for it. */
export class SockJsGate {
  #handler;
  #journal;
  #offered;

  /** pingTimeoutMs: how long a device may go without a ping; 0 for ever. */
  constructor({ bus, journal, transports, stock, pingTimeoutMs }) {
    this.#journal = journal;
    this.#offered = new Set(transports.map((name) => TRANSPORT_PATHS[name]));
    const server = sockjs.createServer({
      ...!stock && { disconnect_delay: DISCONNECT_DELAY_MS },
      websocket: transports.includes('websocket'),
      jsessionid: stickyCookie,
      log: (severity, line) => severity === 'error' && journal.note('sockjs', { line }),
    });
    server.on('connection', (socket) => carry(bus, socket, pingTimeoutMs));
    this.#handler = server.middleware({ prefix: BUS_PREFIX });
  }

  handle(request, response, head) {
    if (!request.url.startsWith(BUS_PREFIX)) {
      return false;
    }
    const { method, url, headers } = request;
    const transport = SESSION_PATH.exec(url)?.[1];
    this.#journal.note('busRequest', { method, path: url, cookie: headers.cookie });
    if (transport && this.#isSwitchedOff(transport)) {
      response.writeHead(404, { 'Content-Type': 'text/plain; charset=UTF-8' });
      response.end('404 Error: this transport is switched off\n');
      return true;
    }
    return this.#handler(request, response, head);
  }

  // A web socket that is switched off is refused by the SockJS server itself.
  #isSwitchedOff(transport) {
    return transport !== TRANSPORT_PATHS.websocket
      && Object.values(TRANSPORT_PATHS).includes(transport)
      && !this.#offered.has(transport);
  }
}

function carry(bus, socket, pingTimeoutMs) {
  const connection = bus.attach({
    transport: socket.protocol,
    deliver: (message) => socket.write(message.text),
    hangUp: (code, reason) => socket.close(code, reason),
    pinged: () => patience?.refresh(),
  });
  const patience = pingTimeoutMs > 0
    ? setTimeout(() => connection.close(NO_PING, `No ping for ${pingTimeoutMs / 1000} s`), pingTimeoutMs)
    : null;
  socket.on('data', (text) => connection.receive(text));
  socket.on('close', () => {
    clearTimeout(patience);
    connection.closed();
  });
}

// What a load balancer in front of several servers does: the first reply names the server, and every
// later request of the session carries that name. The percent sign belongs to the value and has to
// come back as it is.
function stickyCookie(request, response) {
  const known = request.cookies.JSESSIONID;
  response.setHeader('Set-Cookie', `JSESSIONID=${known ?? `${randomBytes(6).toString('hex')}%1.node119`}; path=/`);
}
