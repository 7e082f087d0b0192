// The two ways to run the service. What is open in which of them is decided here and nowhere else.
//
// Locally, on this machine's own address, it is a tool for tests: the passwords are known, everything is
// recorded and everybody on the machine may look in. Serving, it teaches a class: whoever reaches its
// address may be hostile, so nothing is open but what the pupils' devices need.

import { randomBytes, randomInt } from 'node:crypto';
import net from 'node:net';

const CONTROL_TOKEN_BYTES = 24;

// Without letters and digits that look alike: the teacher types this off a screen. 79 bits.
const PASSWORD_LETTERS = 'abcdefghjkmnpqrstuvwxyz23456789';
const PASSWORD_GROUPS = 4;
const GROUP_LETTERS = 4;

/** Whether an address to listen on is reached by programs on this machine alone. */
export function isLoopback(host) {
  return host.toLowerCase() === 'localhost' || host === '::1' || (net.isIPv4(host) && host.startsWith('127.'));
}

/**
 * What is open: {name, oauth, control: {where, token}, journal}. The control endpoints are on the 'same
 * port', on their 'own port' behind a token, or 'off'; the journal is 'whole', an 'outline' without what
 * people wrote, or 'off'.
 */
export function exposureOf({ serve, controlPort, log, record }) {
  if (!serve) {
    return { name: 'local', oauth: true, control: { where: 'same port', token: null }, journal: 'whole' };
  }
  const hasControl = controlPort !== null;
  return {
    name: 'serve',
    oauth: false,
    control: hasControl ? { where: 'own port', token: randomBytes(CONTROL_TOKEN_BYTES).toString('hex') } : { where: 'off', token: null },
    journal: hasControl || log || record ? 'outline' : 'off',
  };
}

/** A password that nobody guesses and everybody can type, such as "hkd4-w7ne-x3pa-2mcv". */
export function newPassword() {
  const group = () => Array.from({ length: GROUP_LETTERS }, () => PASSWORD_LETTERS[randomInt(PASSWORD_LETTERS.length)]).join('');
  return Array.from({ length: PASSWORD_GROUPS }, group).join('-');
}
