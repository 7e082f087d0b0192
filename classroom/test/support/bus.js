// A bus with connections that are carried by nothing but the test.

import { Bus } from '../../src/bus/bus.js';
import { Journal } from '../../src/journal.js';
import { limitsWith } from '../../src/limits.js';
import { Sessions } from '../../src/state/sessions.js';
import { patientCodec } from './codec.js';

const codec = patientCodec();

/** A running session and its bus; changes: to the limits. */
export function setUpBus(changes) {
  const limits = limitsWith(changes);
  const journal = new Journal();
  const sessions = new Sessions({ limits });
  const session = sessions.create('teacher');
  sessions.start(session);
  const bus = new Bus({ sessions, codec, journal, limits });
  return { journal, sessions, session, token: session.token, bus };
}

/** A connection with the messages it got, as parsed texts. */
export function connect(bus, options) {
  const messages = [];
  const hungUp = [];
  const roles = [];
  let pings = 0;
  const connection = bus.attach({
    transport: 'test',
    deliver: (message) => messages.push(JSON.parse(message.text)),
    hangUp: (code, reason) => hungUp.push([code, reason]),
    pinged: () => { ++pings; },
    proven: (role) => roles.push(role),
  }, options);
  return {
    connection,
    messages,
    send: (envelope) => connection.receive(JSON.stringify(envelope)),
    get bodies() { return messages.map(({ body }) => body); },
    get errors() { return messages.filter(({ type }) => type === 'error').map(({ message }) => message); },
    hungUp,
    roles,
    get pings() { return pings; },
  };
}

/** A connection that may do everything, as those of tests are. */
export function connectTest(bus) {
  return connect(bus, { trusted: true });
}

/** A user of the session with a line that has registered on what such a user registers on. */
export function enter({ bus, sessions, session }, mode, userName = 'Ada') {
  const user = sessions.join(session, { userName, mode, deviceName: `${userName}'s`, deviceType: 'tablet' });
  return Object.assign(comeBack({ bus, session }, user), { user });
}

/** Another line of a user. */
export function comeBack({ bus, session: { token } }, user) {
  const device = connect(bus);
  placesOf(user).forEach((place) => device.send({ type: 'register', address: token + place }));
  return device;
}

/** What a device publishes: its payload's text packed. */
export function packed(payload) {
  return codec.pack(typeof payload === 'string' ? payload : JSON.stringify(payload), 'base64');
}

function placesOf({ mode, userToken }) {
  switch (mode) {
    case 'presenter': return ['', '.presenter', `.presenter.${userToken}`];
    case 'controller': return ['.controller', `.user.${userToken}`];
    default: return ['', '.learner', `.user.${userToken}`];
  }
}
