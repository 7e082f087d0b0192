// The event bus: connections register on addresses, and what one of them publishes to an address
// reaches every other connection registered there. Knows nothing of how a connection is carried: real
// devices come in over SockJS (sockjs.js), simulated ones attach inside this process, and both go
// through the same BusConnection.
//
// An address belongs to a class session that is running; who may do what there stands in belonging.js.

import { EventEmitter } from 'node:events';

import { LIMITS } from '../limits.js';
import { Lesson, QUESTION_TYPES } from '../state/lesson.js';
import { addressOf, presenterNamedIn } from './address.js';
import { answeredQuestion, CONTROL_CHARACTER, faultOf, saysTheTruth } from './answers.js';
import { mayPublish, mayRegister } from './belonging.js';
import { Confirmations } from './confirmations.js';
import { BusConnection, CLOSINGS } from './connection.js';
import { BusMessage, ownMessage, whenKnown } from './message.js';

// The fields of a device's message that go on to the presenters besides its type and data, if they are short
// texts; who it is from, the service knows.
const DEVICE_LABELS = ['version', 'sourceSystem'];

// Whom devices see a presenter's messages come from. Its token is all that somebody needs to be that presenter.
const PRESENTER = 'presenter';

/** Emits 'registered' (connection, address parts) after each accepted registration. */
export class Bus extends EventEmitter {
  #sessions;
  #codec;
  #journal;
  #limits;
  #connections = new Set();
  #lines = new Map(); // by user: the connection
  #joins = new WeakMap(); // by user: what it is called, as a text and packed
  #seen = new WeakSet(); // users that have had a line
  #confirmations;
  #receivers = new Map(); // by address: the set of connections registered on it
  #lessons = new WeakMap(); // by session
  #lastId = 0;

  constructor({ sessions, codec, journal, limits = LIMITS }) {
    super();
    this.#sessions = sessions;
    this.#codec = codec;
    this.#journal = journal;
    this.#limits = limits;
    this.#confirmations = new Confirmations((connection, questionId) => {
      this.#tell(connection, JSON.stringify({ action: 'confirmed', questionId }));
    }, limits.confirmingMs);
    sessions.on('stopped', (session) => this.#forget(session));
    sessions.on('left', (session, { userToken }) => this.#lessons.get(session)?.forget(userToken));
  }

  /**
   * carrier: {transport, deliver(message), hangUp(code, reason)}, and if it wants to know, pinged() and
   * proven(role). trusted: see BusConnection.
   */
  attach(carrier, { trusted } = {}) {
    const connection = new BusConnection(this, ++this.#lastId, carrier, { limits: this.#limits, trusted });
    this.#connections.add(connection);
    this.#journal.note('open', about(connection));
    return connection;
  }

  get connections() {
    return [...this.#connections];
  }

  isRunning(sessionToken) {
    return this.#sessions.isRunning(sessionToken);
  }

  /** The session and the user whose tokens these are: {session, user}, each null if there is none. */
  userOf(sessionToken, userToken) {
    const session = this.#sessions.withToken(sessionToken);
    return { session, user: session && this.#sessions.user(session, userToken) };
  }

  /** Whether a text holds the address of one who may send large messages. */
  namesPresenter(text) {
    const named = presenterNamedIn(text);
    return named !== null && this.userOf(named.sessionToken, named.userToken).user?.mode === 'presenter';
  }

  /** A connection has said who it is. The line that its user had so far is given up. */
  proven(connection) {
    const { session, user } = connection;
    const previous = this.#lines.get(user);
    this.#lines.set(user, connection);
    connection.isBack = this.#seen.has(user);
    this.#seen.add(user);
    previous?.close(...CLOSINGS.replaced);
    this.#sessions.connected(session, user);
    if (connection.client && !previous) {
      this.#tellPresenters(connection, 'register');
    }
  }

  register(connection, address, place) {
    const fault = this.#faultOf(connection, place, () => mayRegister(connection.user, place));
    this.#journal.note('register', { ...about(connection), address, accepted: fault === null });
    if (fault) {
      connection.refuse(fault);
      return;
    }
    if (!connection.addresses.has(address)) {
      this.#admit(connection, address, place);
    }
  }

  /** Undefined, or a promise while a device's message is looked at. */
  publish(connection, address, place, body) {
    const fault = this.#faultOf(connection, place, () => mayPublish(connection.user, place, body));
    if (fault) {
      this.#refusePublishing(connection, address, body, fault);
      return undefined;
    }
    const message = this.#messageFrom(connection, address, body);
    switch (connection.role) {
      case 'learner':
        if (!connection.isSimulated) {
          return this.#lookAt(connection, message);
        }
        break;
      case 'presenter':
        this.#confirmBefore(connection.session, place, body);
        this.#lessonOf(connection.session).observe(place, message);
        break;
      default: break;
    }
    this.#route(message, connection);
    this.#removeWhoWasSentAway(connection, place, body);
    return undefined;
  }

  /** Publishes on the service's own behalf; returns the number of receivers. */
  announce(address, body) {
    return this.#route(new BusMessage(this.#codec, address, body, this.#limits.presenterBytes), null);
  }

  notePing(connection) {
    this.#journal.note('ping', about(connection));
  }

  noteUnknown(connection, text) {
    this.#journal.note('unknown', () => ({ ...about(connection), text: typeof text === 'string' ? text : JSON.stringify(text) }));
  }

  /** why: the code and the reason if the bus hung up. */
  detach(connection, why) {
    this.#connections.delete(connection);
    for (const address of connection.addresses) {
      this.#remove(connection, address);
    }
    this.#journal.note('close', { ...about(connection), client: connection.client, ...why });
    const { user, session } = connection;
    if (user !== null && this.#lines.get(user) === connection) {
      this.#lines.delete(user);
      this.#leave(connection, session, user);
    }
  }

  closeAll() {
    this.connections.forEach((connection) => connection.close());
  }

  #leave(connection, session, user) {
    if (this.#sessions.isRunning(session.token)) {
      this.#sessions.disconnected(session, user);
      if (connection.client) {
        this.#tellPresenters(connection, 'unregister');
      }
    }
  }

  // What stands against it, as the device is told, or null; isAllowed(): what the table of who belongs says.
  #faultOf(connection, place, isAllowed) {
    if (place === null) {
      return 'unknown address';
    }
    if (!this.#sessions.isRunning(place.sessionToken)) {
      return 'unknown session';
    }
    if (connection.isTrusted) {
      return null;
    }
    const isOwnSession = connection.session?.token === place.sessionToken;
    return isOwnSession && isAllowed() ? null : 'not allowed';
  }

  #admit(connection, address, place) {
    if (!connection.isTrusted && connection.addresses.size >= this.#limits.addresses) {
      connection.refuse('too many addresses');
      return;
    }
    connection.addresses.add(address);
    this.#receiversOf(address).add(connection);
    this.emit('registered', connection, place);
    if (place.place === '.user.*' && connection.role === 'learner' && !connection.isSimulated) {
      this.#tellState(connection);
    }
  }

  #messageFrom(connection, address, body) {
    const { role, user } = connection;
    if (role === 'control') {
      return new BusMessage(this.#codec, address, body, this.#limits.presenterBytes);
    }
    const from = user.userToken;
    if (role === 'presenter') {
      const own = { ...body, from: PRESENTER };
      delete own.client;
      return new BusMessage(this.#codec, address, own, this.#limits.presenterBytes, from);
    }
    const { type, data } = body;
    const labels = DEVICE_LABELS.filter((name) => this.#isLabel(body[name])).map((name) => [name, body[name]]);
    const own = { from, type, ...Object.fromEntries(labels), ...data !== undefined && { data } };
    return new BusMessage(this.#codec, address, own, this.#limits.payloadBytes);
  }

  #isLabel(value) {
    return typeof value === 'string' && value.length <= this.#limits.nameChars && !CONTROL_CHARACTER.test(value);
  }

  #lookAt(connection, message) {
    return whenKnown(message.payload(), (payload) => this.#passOn(connection, message, payload));
  }

  #passOn(connection, message, payload) {
    if (!connection.isOpen || !this.#sessions.isRunning(connection.session.token)) {
      return;
    }
    const fault = faultOf(payload, this.#limits);
    if (fault) {
      this.#refusePublishing(connection, message.address, message.body, fault);
      return;
    }
    const { type } = message.body;
    if (type === 'join' && !saysTheTruth(payload.data, connection.user)) {
      this.#route(this.#joinOf(connection, message), connection);
      return;
    }
    const questionId = answeredQuestion(type, payload.data);
    if (questionId === null) {
      this.#route(message, connection);
    } else {
      this.#answer(connection, message, questionId, payload.data);
    }
  }

  // The name is the one that was given at the door, whatever the device says now, and how often it says so:
  // packing takes longer than anything else here.
  #joinOf({ user }, { address, body }) {
    const { userName, deviceType } = user;
    const text = JSON.stringify({ userName, deviceType });
    if (this.#joins.get(user)?.text !== text) {
      this.#joins.set(user, { text, data: this.#codec.pack(text, 'base64') });
    }
    const { data } = this.#joins.get(user);
    return new BusMessage(this.#codec, address, { ...body, data }, this.#limits.payloadBytes);
  }

  // Devices repeat an answer until it is confirmed, which it is when a presenter got it.
  #answer(connection, message, questionId, answer) {
    const lesson = this.#lessonOf(connection.session);
    const { userToken } = connection.user;
    if (!lesson.isAnswered(userToken, questionId, answer)) {
      if (!lesson.hasRoomFor(userToken, answer)) {
        this.#refusePublishing(connection, message.address, message.body, 'too many answers');
        return;
      }
      if (this.#route(message, connection) === 0) {
        return;
      }
      lesson.keepAnswer(userToken, questionId, answer);
    }
    this.#confirmations.add(connection, questionId);
  }

  // Questions may share their id, so who has answered one is told so before the next one is asked.
  #confirmBefore(session, { place, userToken }, { type }) {
    if (QUESTION_TYPES.includes(type)) {
      this.#confirmations.hurry(({ session: own, user }) => (
        own === session && (place === '' || user.userToken === userToken)));
    }
  }

  #removeWhoWasSentAway(connection, { place, userToken }, { type }) {
    if (connection.role !== 'presenter' || place !== '.user.*' || type !== 'disconnect') {
      return;
    }
    const user = this.#sessions.user(connection.session, userToken);
    if (user === null) {
      return;
    }
    const line = this.#lines.get(user);
    if (!line?.isSimulated) {
      line?.close(...CLOSINGS.removed);
    }
    this.#sessions.remove(connection.session, user);
  }

  #refusePublishing(connection, address, body, fault) {
    this.#journal.note('refused', { ...about(connection), address, type: body.type, reason: fault });
    connection.refuse(fault);
  }

  #route(message, sender) {
    const receivers = [...this.#receivers.get(message.address) ?? []].filter((receiver) => receiver !== sender);
    this.#journal.note('publish', () => this.#notice(message, sender, receivers.length));
    receivers.forEach((receiver) => receiver.deliver(message));
    return receivers.length;
  }

  #notice(message, sender, receivers) {
    const description = this.#journal.wantsPayloads ? message.description() : message.outline;
    return whenKnown(description, (fields) => Object.assign(about(sender), fields, { receivers }));
  }

  #tellPresenters({ session, client }, action) {
    this.announce(addressOf(session.token, 'presenter'), { action, client });
  }

  // The messages may hold pictures, and everybody gets them: they are not encoded anew for each.
  // Who has just come for the first time expects nothing, and is told only of something.
  #tellState(connection) {
    const { paused, messages, answers } = this.#lessonOf(connection.session).stateFor(connection.user.userToken);
    if (!connection.isBack && !paused && messages.length === 0 && answers.length === 0) {
      return;
    }
    const inList = messages.flatMap((message, i) => (i === 0 ? [message] : [',', message]));
    this.#tell(connection, `{"action":"state","paused":${paused},"messages":[`, ...inList, `],"answers":[${answers.join(',')}]}`);
  }

  // The service's own word to one device.
  #tell(connection, ...bodyParts) {
    const address = addressOf(connection.session.token, 'user', connection.user.userToken);
    connection.deliver(ownMessage(address, bodyParts));
  }

  // A stopped session's addresses are gone at once. Devices are told what presenters tell them; a
  // presenter's last words may still be under way and are refused when they come.
  #forget(session) {
    const goodbye = JSON.stringify({ from: '', type: 'disconnect', data: this.#codec.pack('""', 'base64') });
    for (const connection of this.#connections) {
      if (connection.client && connection.session === session && !connection.isSimulated) {
        this.#tell(connection, goodbye);
        connection.close(...CLOSINGS.classEnded);
      }
      this.#removeFrom(session, connection);
    }
  }

  #removeFrom(session, connection) {
    for (const address of connection.addresses) {
      if (address === session.token || address.startsWith(`${session.token}.`)) {
        this.#remove(connection, address);
        connection.addresses.delete(address);
      }
    }
  }

  #lessonOf(session) {
    let lesson = this.#lessons.get(session);
    if (!lesson) {
      lesson = new Lesson(this.#limits.payloadBytes);
      this.#lessons.set(session, lesson);
    }
    return lesson;
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
