// The two ways to run the service. What is open in which of them is decided here and nowhere else.
//
// Locally, on this machine's own address, it is a tool for tests: the passwords are known, everything is
// recorded and everybody on the machine may look in. Serving, it teaches a class: whoever reaches its
// address may be hostile, so nothing is open but what the pupils' devices need.

import { randomBytes, randomInt } from 'node:crypto';
import net from 'node:net';
import os from 'node:os';

const CONTROL_TOKEN_BYTES = 24;

// Without letters and digits that look alike: the teacher types this off a screen. 79 bits.
const PASSWORD_LETTERS = 'abcdefghjkmnpqrstuvwxyz23456789';
const PASSWORD_GROUPS = 4;
const GROUP_LETTERS = 4;

// What stands for every address of the machine, with the families of addresses that it means.
const ANY_ADDRESS = { '0.0.0.0': ['IPv4'], '::': ['IPv4', 'IPv6'] };

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
  const control = controlPort === null
    ? { where: 'off', token: null }
    : { where: 'own port', token: randomBytes(CONTROL_TOKEN_BYTES).toString('hex') };
  const isRead = control.where !== 'off' || log || record;
  return { name: 'serve', oauth: false, control, journal: isRead ? 'outline' : 'off' };
}

/** What whoever starts the service should know of it; urls: {url, controlUrl}. */
export function describeExposure({ serve, host, tls, madeUp }, { control }, { url, controlUrl }) {
  if (!serve) {
    return [];
  }
  const lines = [describeReach(host, url), describeSecrecy(host, tls)];
  lines.push(...madeUp.map(({ user, password }) => `${user} signs in with the password ${password}`));
  if (controlUrl) {
    lines.push(`programs on this machine reach the control endpoints at ${controlUrl}/classroom with the token ${control.token}`);
  }
  return lines;
}

function describeReach(host, url) {
  if (isLoopback(host)) {
    return 'only programs on this machine can reach it';
  }
  const urls = ANY_ADDRESS[host] ? ownAddresses(ANY_ADDRESS[host]).map((own) => withAddress(url, own)) : [url];
  return urls.length === 0
    ? 'everybody who reaches this machine can reach it, which has no address in a network now'
    : `everybody who reaches this machine can reach it, at ${urls.join(', ')}`;
}

// The scheme and the port of a URL, with an address of its own.
function withAddress(url, address) {
  return `${url.slice(0, url.indexOf('//'))}//${address.includes(':') ? `[${address}]` : address}${url.slice(url.lastIndexOf(':'))}`;
}

function describeSecrecy(host, tls) {
  if (tls) {
    return 'TLS protects what is sent';
  }
  return isLoopback(host)
    ? 'it does without TLS, as nothing that is sent leaves this machine'
    : 'without TLS, passwords and names can be read on the network';
}

// Those that other machines know it by. Link-local ones need the name of an interface, which is another
// one on every machine.
function ownAddresses(families) {
  return Object.values(os.networkInterfaces()).flat()
    .filter(({ family, internal, address }) => !internal && families.includes(family) && !address.startsWith('fe80:'))
    .map(({ address }) => address);
}

/** A password that nobody guesses and everybody can type, such as "hkd4-w7ne-x3pa-2mcv". */
export function newPassword() {
  const letter = () => PASSWORD_LETTERS[randomInt(PASSWORD_LETTERS.length)];
  const group = () => Array.from({ length: GROUP_LETTERS }, letter).join('');
  return Array.from({ length: PASSWORD_GROUPS }, group).join('-');
}
