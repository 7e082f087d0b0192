// Puts the service together: state, bus, REST interface, pages, control endpoints and simulated devices
// on one HTTP or HTTPS server, the control endpoints of a served class on a second, and takes it down.

import { Bus } from './bus/bus.js';
import { SockJsGate } from './bus/sockjs.js';
import { Codec } from './codec/codec.js';
import { Control } from './control.js';
import { Crowd } from './devices/crowd.js';
import { describeExposure, exposureOf } from './exposure.js';
import { Journal } from './journal.js';
import { Pages } from './pages.js';
import { Faults } from './rest/faults.js';
import { Rest } from './rest/rest.js';
import { Server } from './server.js';
import { Accounts } from './state/accounts.js';
import { Resources } from './state/resources.js';
import { Sessions } from './state/sessions.js';
import { TestBus } from './testbus.js';

// The control endpoints are for programs on this machine, whomever the service is for.
const CONTROL_HOST = '127.0.0.1';

export class Classroom {
  #options;
  #exposure;
  #services;
  #server;
  #controlServer = null;

  /** options: as parseOptions() gives them. */
  constructor(options) {
    this.#exposure = exposureOf(options);
    this.#options = { ...options, exposure: this.#exposure };
    this.#services = this.#createServices();
    this.#createServers();
  }

  /** Starts listening; resolves with what there is to say about it, the service's URL first. */
  async start() {
    await this.#services.journal.ready();
    const { host, port, controlPort } = this.#options;
    const url = await this.#server.listen(port, host);
    const controlUrl = await this.#controlServer?.listen(controlPort, CONTROL_HOST);
    return [`listening on ${url}`, ...describeExposure(this.#options, this.#exposure, { url, controlUrl })];
  }

  /** Says goodbye to every device, closes every socket and completes the record. */
  async stop() {
    const { bus, codec, journal } = this.#services;
    bus.closeAll();
    await Promise.all([this.#server.close(), this.#controlServer?.close()]);
    await codec.close();
    await journal.close();
  }

  #createServices() {
    const { limits, log, record } = this.#options;
    const codec = new Codec({ limits });
    const journal = new Journal({ log: log ? process.stderr : null, file: record, detail: this.#exposure.journal });
    const sessions = new Sessions({ limits });
    const bus = new Bus({ sessions, codec, journal, limits });
    const services = {
      codec,
      journal,
      sessions,
      bus,
      limits,
      accounts: new Accounts(this.#options),
      resources: new Resources({ limits, sessions }),
      faults: new Faults(),
    };
    return { ...services, crowd: new Crowd(services, this.#options) };
  }

  #createServers() {
    const { limits, tls } = this.#options;
    const { name, control: { where, token } } = this.#exposure;
    const gate = new SockJsGate({ ...this.#services, ...this.#options });
    const rest = new Rest(this.#services, this.#options);
    const requests = [gate, rest, new Pages()];
    const upgrades = [gate];
    if (where !== 'off') {
      const control = new Control(this.#services, { token, limits });
      const testBus = new TestBus(this.#services, { token, limits });
      if (where === 'same port') {
        requests.push(control);
        upgrades.push(testBus);
      } else {
        this.#controlServer = new Server({ tls: null, limits, isLocal: true, requests: [control], upgrades: [testBus] });
      }
    }
    this.#server = new Server({ tls, limits, isLocal: name === 'local', requests, upgrades });
  }
}
