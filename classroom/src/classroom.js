// Puts the service together: state, bus, REST interface, control endpoints and simulated devices on one
// HTTP or HTTPS server, and takes it down again.

import http from 'node:http';
import https from 'node:https';
import { setTimeout as pause } from 'node:timers/promises';

import { Bus } from './bus/bus.js';
import { SockJsGate } from './bus/sockjs.js';
import { Codec } from './codec/codec.js';
import { Control } from './control.js';
import { Crowd } from './devices/crowd.js';
import { Journal } from './journal.js';
import { Faults } from './rest/faults.js';
import { Rest } from './rest/rest.js';
import { Accounts } from './state/accounts.js';
import { Resources } from './state/resources.js';
import { Sessions } from './state/sessions.js';

// Polling presenters let a connection rest for up to 4 s between two polls; the server's own 5 s would
// cut it off as soon as the machine is busy.
const KEEP_ALIVE_MS = 65_000;

// Time for the closing handshakes before the sockets are cut.
const CLOSING_MS = 200;

export class Classroom {
  #options;
  #services;
  #server;
  #sockets = new Set();

  /** options: as parseOptions() gives them. */
  constructor(options) {
    this.#options = options;
    const codec = new Codec();
    const journal = new Journal({ log: options.log ? process.stderr : null, file: options.record });
    const sessions = new Sessions();
    const bus = new Bus({ sessions, codec, journal });
    const services = {
      codec,
      journal,
      sessions,
      bus,
      accounts: new Accounts(options),
      resources: new Resources(),
      faults: new Faults(),
    };
    services.crowd = new Crowd(services, options);
    this.#services = services;
    this.#server = this.#createServer();
    this.#route();
  }

  /** Starts listening; resolves with the service's URL. */
  async start() {
    await this.#services.journal.ready();
    const { host, port, tls } = this.#options;
    await new Promise((resolve, reject) => {
      this.#server.once('error', reject);
      this.#server.listen(port, host, resolve);
    });
    const name = host.includes(':') ? `[${host}]` : host;
    return `${tls ? 'https' : 'http'}://${name}:${this.#server.address().port}`;
  }

  /** Says goodbye to every device, closes every socket and completes the record. */
  async stop() {
    const { bus, codec, journal } = this.#services;
    const closed = new Promise((resolve) => { this.#server.close(resolve); });
    bus.closeAll();
    this.#server.closeIdleConnections();
    await Promise.race([closed, pause(CLOSING_MS)]);
    this.#sockets.forEach((socket) => socket.destroy());
    await closed;
    await codec.close();
    await journal.close();
  }

  #createServer() {
    const { tls } = this.#options;
    const server = tls
      ? https.createServer(tls)
      : http.createServer();
    server.keepAliveTimeout = KEEP_ALIVE_MS;
    server.headersTimeout = KEEP_ALIVE_MS + 1_000;
    server.on('connection', (socket) => {
      this.#sockets.add(socket);
      socket.on('close', () => this.#sockets.delete(socket));
    });
    return server;
  }

  #route() {
    const { journal, bus } = this.#services;
    const gate = new SockJsGate({ bus, journal, ...this.#options });
    const rest = new Rest(this.#services, this.#options);
    const control = new Control(this.#services);
    this.#server.on('request', (request, response) => {
      if (!gate.handle(request, response) && !rest.handle(request, response) && !control.handle(request, response)) {
        response.writeHead(404, { 'Content-Type': 'text/plain; charset=UTF-8' });
        response.end('Nothing is served here.\n');
      }
    });
    this.#server.on('upgrade', (request, socket, head) => {
      socket.on('error', () => socket.destroy());
      if (!gate.handle(request, socket, head)) {
        socket.end('HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 0\r\n\r\n');
      }
    });
  }
}
