// Who belongs where: who may register on an address of its session, and who may publish what to it.
// What a connection is comes from the join of its user; a connection of a test is let through everywhere.

import { REMOTE_TYPES } from '../protocol.js';

/** What a learner's device says. */
export const LEARNER_TYPES = ['join', 'pollResponse', 'questionResponse', 'questionGet'];

const ANYTHING = null;

// By the place behind the session token, "<own>" being the connection's own user token. Publishing: by
// role, the types of message.
const PLACES = {
  '':                   { registers: ['presenter', 'learner'],   publishes: { presenter: ANYTHING } },
  '.presenter':         { registers: ['presenter'],              publishes: { presenter: ANYTHING, learner: LEARNER_TYPES, controller: REMOTE_TYPES } },
  '.presenter.<own>':   { registers: ['presenter'],              publishes: { presenter: ANYTHING } },
  '.presenter.<other>': { registers: [],                         publishes: { presenter: ANYTHING } },
  '.learner':           { registers: ['learner'],                publishes: { presenter: ANYTHING } },
  '.controller':        { registers: ['controller'],             publishes: { presenter: ANYTHING } },
  '.user.<own>':        { registers: ['learner', 'controller'],  publishes: {} },
  '.user.<other>':      { registers: [],                         publishes: { presenter: ANYTHING } },
  '.user.':             { registers: [],                         publishes: { presenter: ANYTHING } },
};

/** The place by which a user proves who it is: the one that ends with its own token. */
export function provingPlace({ mode }) {
  return mode === 'presenter' ? '.presenter.*' : '.user.*';
}

/** Whether a user may register on a place of its session; address: as parseAddress() gives it. */
export function mayRegister(user, address) {
  return placeOf(user, address).registers.includes(user.mode);
}

/** Whether a user may publish a body to a place of its session. */
export function mayPublish(user, address, { type, action }) {
  const { publishes } = placeOf(user, address);
  if (!Object.hasOwn(publishes, user.mode)) {
    return false;
  }
  const types = publishes[user.mode];
  return types === ANYTHING || (action === undefined && types.includes(type));
}

function placeOf(user, { place, userToken }) {
  return PLACES[place.replace('*', userToken === user.userToken ? '<own>' : '<other>')];
}
