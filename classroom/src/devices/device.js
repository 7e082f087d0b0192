// What every simulated device does: it joins a session with the session code, registers on its
// addresses, publishes to the presenter and takes its messages one by one, in the order they came,
// however long the payload of one takes to decode.

import { addressOf } from '../bus/address.js';
import { PROTOCOL_VERSION, SOURCE_SYSTEM } from '../protocol.js';

export class Device {
  #services;
  #connection;
  #inbox = Promise.resolve();

  /** user: as it has joined the session; services: {bus, codec, journal}. */
  constructor(services, session, user) {
    this.#services = services;
    this.session = session;
    const { userToken, ...details } = user;
    this.details = details;
    this.deviceId = userToken;
    this.#connection = services.bus.attach({
      transport: 'simulated',
      deliver: (message) => this.#enqueue(message),
      hangUp: () => this.ended(),
    });
  }

  get isConnected() {
    return this.#connection.isOpen;
  }

  register(...parts) {
    this.#connection.register(addressOf(this.session.token, ...parts));
  }

  /** Publishes to the session's presenters; data becomes the compressed payload in the given form. */
  tellPresenter(type, data, form) {
    if (!this.isConnected) {
      return;
    }
    this.#connection.publish(addressOf(this.session.token, 'presenter'), {
      from: this.deviceId,
      type,
      version: PROTOCOL_VERSION,
      sourceSystem: SOURCE_SYSTEM,
      data: this.#services.codec.pack(JSON.stringify(data), form),
    });
  }

  /** Ends the connection; the presenter hears of it from the bus. */
  leave(reason) {
    if (this.isConnected) {
      this.note(reason);
      this.#connection.close();
    }
  }

  note(event) {
    this.#services.journal.note('device', { event, ...this.#identity() });
  }

  /** Overridden: takes one message, as its body and its unpacked payload. */
  received() {}

  /** Overridden: the connection is gone. */
  ended() {}

  #enqueue(message) {
    if (!message.body) {
      return; // a refusal
    }
    const notice = this.#notice(message);
    this.#services.journal.note('received', notice);
    this.#inbox = this.#inbox
      .then(async () => this.#take(message.body, await message.payload()))
      .catch((error) => this.note(`failed: ${error.message}`));
  }

  async #notice(message) {
    return { ...this.#identity(), ...await message.description() };
  }

  #identity() {
    const { mode, userName } = this.details;
    return { role: mode, deviceId: this.deviceId, userName };
  }

  #take(body, payload) {
    if (this.isConnected) {
      this.received(body, payload);
    }
  }
}
