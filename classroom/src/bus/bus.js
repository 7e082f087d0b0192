// The event bus: connections register on addresses, and what one of them publishes to an address
// reaches every other connection registered there. Knows nothing of how a connection is carried: real
// devices come in over SockJS (sockjs.js), simulated ones attach inside this process, and both go
// through the same BusConnection.
//
// An address belongs to a class session that is running; everything else is refused and noted.

import { EventEmitter } from 'node:events';

import { addressOf, parseAddress } from './address.js';

/** One message on its way to its receivers: encoded once and decoded once, whoever asks. */
class BusMessage {
  #text = null;
  #payload = null;
  #codec;

  constructor(codec, address, body) {
    this.#codec = codec;
    this.address = address;
    this.body = body;
  }

  /** The message as devices get it. */
  get text() {
    this.#text ??= JSON.stringify({ type: 'message', address: this.address, body: this.body });
    return this.#text;
  }

  /** A promise of the unpacked payload: {form, text, data}, data being the parsed text or null. */
  payload() {
    this.#payload ??= this.#codec.unpack(this.body.data)
      .then((unpacked) => ({ ...unpacked, data: parsedOrNull(unpacked.text) }));
    return this.#payload;
  }

  /** A promise of what the journal notes about the message. */
  async description() {
    const { from, type, action, version, sourceSystem, client } = this.body;
    return { address: this.address, from, type, action, version, sourceSystem, client, ...await this.payload() };
  }
}

/**
 * One connection of the bus. The carrier gives it what arrives (receiveText, or the three operations)
 * and says when it is gone (closed); the bus hands messages to the carrier's deliver(message).
 */
class BusConnection {
  addresses = new Set();
  client = null; // whom the presenter is told about: {token, type}
  isOpen = true;
  #bus;
  #carrier;

  constructor(bus, id, carrier) {
    this.#bus = bus;
    this.#carrier = carrier;
    this.id = id;
    this.transport = carrier.transport;
  }

  /** Takes one envelope as it came from the wire. */
  receiveText(text) {
    const envelope = parsedOrNull(text);
    switch (envelope?.type) {
      case 'register': return this.register(String(envelope.address));
      case 'publish': return this.publish(String(envelope.address), envelope.body);
      case 'ping': return this.ping();
      default: return this.#bus.noteUnknown(this, text);
    }
  }

  register(address) {
    if (this.isOpen) {
      this.#bus.register(this, address);
    }
  }

  publish(address, body) {
    if (this.isOpen) {
      this.#bus.publish(this, address, body);
    }
  }

  ping() {
    this.#bus.notePing(this);
    this.#carrier.pinged?.();
  }

  deliver(message) {
    if (this.isOpen) {
      this.#carrier.deliver(message);
    }
  }

  /** Hangs up from this side, for a reason that the device is told. */
  close(code = 1001, reason = 'Going away') {
    if (this.isOpen) {
      this.closed({ code, reason });
      this.#carrier.hangUp(code, reason);
    }
  }

  /** The carrier's word that the connection is gone. */
  closed(why = {}) {
    if (this.isOpen) {
      this.isOpen = false;
      this.#bus.detach(this, why);
    }
  }
}

/** Emits 'registered' (connection, address parts) after each accepted registration. */
export class Bus extends EventEmitter {
  #sessions;
  #codec;
  #journal;
  #connections = new Set();
  #receivers = new Map(); // by address: the set of connections registered on it
  #lastId = 0;

  constructor({ sessions, codec, journal }) {
    super();
    this.#sessions = sessions;
    this.#codec = codec;
    this.#journal = journal;
    sessions.on('stopped', (session) => this.#forget(session));
  }

  /** carrier: {transport, deliver(message), hangUp(code, reason), pinged() if it wants to know}. */
  attach(carrier) {
    const connection = new BusConnection(this, ++this.#lastId, carrier);
    this.#connections.add(connection);
    this.#journal.note('open', about(connection));
    return connection;
  }

  get connections() {
    return [...this.#connections];
  }

  register(connection, address) {
    const place = parseAddress(address);
    const accepted = this.#sessions.isRunning(place.sessionToken);
    this.#journal.note('register', { ...about(connection), address, accepted });
    if (!accepted) {
      this.#refuse(connection, address);
      return;
    }
    if (connection.addresses.has(address)) {
      return;
    }
    connection.addresses.add(address);
    this.#receiversOf(address).add(connection);
    this.#identify(connection, place);
    this.emit('registered', connection, place);
  }

  publish(connection, address, body) {
    if (typeof body !== 'object' || body === null || Array.isArray(body)) {
      this.#journal.note('unknown', { ...about(connection), address, text: JSON.stringify(body) });
      return;
    }
    if (!this.#sessions.isRunning(parseAddress(address).sessionToken)) {
      this.#journal.note('refused', { ...about(connection), address, type: body.type });
      this.#refuse(connection, address);
      return;
    }
    // A controller registers on an address that does not name it; its messages do.
    if (connection.client?.token === '' && typeof body.from === 'string') {
      connection.client.token = body.from;
    }
    this.#route(new BusMessage(this.#codec, address, body), connection);
  }

  /** Publishes on the service's own behalf; returns the number of receivers. */
  announce(address, body) {
    return this.#route(new BusMessage(this.#codec, address, body), null);
  }

  notePing(connection) {
    this.#journal.note('ping', about(connection));
  }

  noteUnknown(connection, text) {
    this.#journal.note('unknown', { ...about(connection), text: String(text) });
  }

  /** why: the code and the reason if the bus hung up. */
  detach(connection, why) {
    this.#connections.delete(connection);
    for (const address of connection.addresses) {
      this.#remove(connection, address);
    }
    this.#journal.note('close', { ...about(connection), client: connection.client, ...why });
    const { client } = connection;
    const [anyAddress] = connection.addresses;
    if (!client || !anyAddress) {
      return;
    }
    const { sessionToken } = parseAddress(anyAddress);
    if (this.#sessions.isRunning(sessionToken)) {
      this.#sessions.removeUser(sessionToken, client.token);
      this.#tellPresenters(sessionToken, 'unregister', client);
    }
  }

  closeAll() {
    this.connections.forEach((connection) => connection.close());
  }

  // Tells the device that it was refused. Simulated devices know a refusal by its missing body.
  #refuse(connection, address) {
    connection.deliver({ address, body: null, text: JSON.stringify({ type: 'error', address, message: 'unknown session' }) });
  }

  #route(message, sender) {
    const receivers = [...this.#receivers.get(message.address) ?? []].filter((receiver) => receiver !== sender);
    this.#journal.note('publish', message.description().then((description) => (
      { ...about(sender), ...description, receivers: receivers.length })));
    receivers.forEach((receiver) => receiver.deliver(message));
    return receivers.length;
  }

  // A learner registers on its own address, a controller on the controllers'.
  #identify(connection, { sessionToken, role, userToken }) {
    if (connection.client || !(role === 'controller' || (role === 'user' && userToken !== ''))) {
      return;
    }
    connection.client = { token: userToken, type: role };
    this.#tellPresenters(sessionToken, 'register', connection.client);
  }

  #tellPresenters(sessionToken, action, client) {
    this.announce(addressOf(sessionToken, 'presenter'), { action, client: { ...client } });
  }

  // A stopped session's addresses are gone at once; whoever is still connected hears nothing more.
  #forget(session) {
    for (const connection of this.#connections) {
      for (const address of connection.addresses) {
        if (parseAddress(address).sessionToken === session.token) {
          this.#remove(connection, address);
          connection.addresses.delete(address);
        }
      }
    }
  }

  #receiversOf(address) {
    let receivers = this.#receivers.get(address);
    if (!receivers) {
      receivers = new Set();
      this.#receivers.set(address, receivers);
    }
    return receivers;
  }

  #remove(connection, address) {
    const receivers = this.#receivers.get(address);
    receivers?.delete(connection);
    if (receivers?.size === 0) {
      this.#receivers.delete(address);
    }
  }
}

function about(connection) {
  return connection ? { connection: connection.id, transport: connection.transport } : { transport: 'service' };
}

function parsedOrNull(text) {
  try {
    return JSON.parse(text);
  } catch {
    return null;
  }
}
