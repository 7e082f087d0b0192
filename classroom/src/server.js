// One HTTP or HTTPS server with its bounds. It hands a request on only when it is whole enough, in time,
// and from no other origin.

import http from 'node:http';
import https from 'node:https';
import { setTimeout as pause } from 'node:timers/promises';

import { refuse, refuseSocket, requestRefusal, setSecurityHeaders } from './security.js';

// Polling presenters let a connection rest for up to 4 s between two polls; the server's own 5 s would
// cut it off as soon as the machine is busy.
const KEEP_ALIVE_MS = 65_000;

// How often the server looks for requests that take too long.
const CHECKING_MS = 500;

// What a device has open at once: a browser keeps a few sockets besides that of the bus.
const SOCKETS_OF_DEVICE = 3;

const HEADER_BYTES = 16 * 1024;

// Time for the closing handshakes before the sockets are cut.
const CLOSING_MS = 200;

// What the parser has to say, by its error code; anything else is a bad request.
const PARSER_STATUSES = { HPE_HEADER_OVERFLOW: 431, ERR_HTTP_REQUEST_TIMEOUT: 408 };

export class Server {
  #server;
  #scheme;
  #sockets = new Set();

  /**
   * requests: handlers that are asked in turn, handle(request, response) says whether it was one for
   * them; upgrades: the same, with handle(request, socket, head); tls: {cert, key} or null; isLocal: see
   * requestRefusal().
   */
  constructor({ tls, limits, isLocal, requests, upgrades }) {
    const refusalOf = (request) => requestRefusal(request, { isLocal });
    this.#scheme = tls ? 'https' : 'http';
    this.#server = tls ? https.createServer({ ...tls, ...bounds(limits) }) : http.createServer(bounds(limits));
    this.#server.maxConnections = SOCKETS_OF_DEVICE * limits.connections;
    this.#server.on('connection', (socket) => this.#keep(socket));
    this.#server.on('request', (request, response) => (
      guard(request.socket, () => serve(requests, request, response, refusalOf(request)))));
    this.#server.on('checkExpectation', (request, response) => refuseRequest(response, 417));
    this.#server.on('upgrade', (request, socket, head) => (
      guard(socket, () => upgrade(upgrades, request, socket, head, refusalOf(request)))));
    this.#server.on('clientError', hangUp);
  }

  /** Resolves with the URL when the server listens. */
  async listen(port, host) {
    await new Promise((resolve, reject) => {
      this.#server.once('error', reject);
      this.#server.listen(port, host, resolve);
    });
    this.#server.on('error', complain); // no more sockets, for example, until some are closed
    return `${this.#scheme}://${host.includes(':') ? `[${host}]` : host}:${this.#server.address().port}`;
  }

  /** Ends what is open; goodbyes that have been said get a moment to leave. */
  async close() {
    if (!this.#server.listening) {
      return;
    }
    const closed = new Promise((resolve) => { this.#server.close(resolve); });
    this.#server.closeIdleConnections();
    await Promise.race([closed, pause(CLOSING_MS)]);
    this.#sockets.forEach((socket) => socket.destroy());
    await closed;
  }

  #keep(socket) {
    this.#sockets.add(socket);
    socket.on('close', () => this.#sockets.delete(socket));
  }
}

// The time for the whole request cannot be shorter than that for its header.
function bounds({ headerMs, bodyMs }) {
  return {
    headersTimeout: headerMs,
    handshakeTimeout: headerMs,
    requestTimeout: Math.max(headerMs, bodyMs),
    connectionsCheckingInterval: CHECKING_MS,
    keepAliveTimeout: KEEP_ALIVE_MS,
    maxHeaderSize: HEADER_BYTES,
    requireHostHeader: false, // refused below, as every other request that is refused
  };
}

// A request that nobody thought of must not end the class for everybody.
function guard(socket, run) {
  try {
    run();
  } catch (error) {
    complain(error);
    socket.destroy();
  }
}

function complain(error) {
  console.error(`classroom: ${error.message}`);
}

function serve(handlers, request, response, refusal) {
  setSecurityHeaders(response);
  if (refusal) {
    refuse(response, refusal);
  } else if (!handlers.some((handler) => handler.handle(request, response))) {
    response.writeHead(404, { 'Content-Type': 'text/plain; charset=UTF-8' });
    response.end('Nothing is served here.\n');
  }
}

function refuseRequest(response, status) {
  setSecurityHeaders(response);
  refuse(response, status);
}

function upgrade(handlers, request, socket, head, refusal) {
  socket.on('error', () => socket.destroy());
  if (refusal) {
    refuseSocket(socket, refusal);
  } else if (!handlers.some((handler) => handler.handle(request, socket, head))) {
    refuseSocket(socket, 404);
  }
}

// A request that cannot be read or does not come to its end. There is nothing to say to a peer that has
// gone, or with whom TLS was not agreed upon.
function hangUp(error, socket) {
  const isReadable = error.code?.startsWith('HPE_') || error.code in PARSER_STATUSES;
  if (socket.writable && isReadable) {
    refuseSocket(socket, PARSER_STATUSES[error.code] ?? 400);
  } else {
    socket.destroy();
  }
}
