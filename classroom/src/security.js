// What protects the people who use the service from the web pages that they have open besides, and from
// requests that no page of the service's own would send.

import { STATUS_CODES } from 'node:http';

import { isSameSecret } from './state/secrets.js';

// Every reply has these. A page of the service loads nothing but what the service serves, sends nothing
// elsewhere and stands in nobody's frame.
export const SECURITY_HEADERS = {
  'Content-Security-Policy': "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; "
    + "connect-src 'self'; base-uri 'none'; form-action 'none'; frame-ancestors 'none'",
  'X-Content-Type-Options': 'nosniff',
  'Referrer-Policy': 'no-referrer',
};

// A socket that does not take its last words is cut.
const LAST_WORDS_MS = 1_000;

const LOOPBACK_HOST = /^(?:localhost|127(?:\.\d{1,3}){3}|\[::1\])(?::(\d{1,5}))?$/i;
const JSON_TYPE = /^application\/json\s*(?:;|$)/i;

export function setSecurityHeaders(response) {
  for (const name in SECURITY_HEADERS) {
    response.setHeader(name, SECURITY_HEADERS[name]);
  }
}

/** Answers a request with nothing but a status. */
export function refuse(response, status, headers = {}) {
  response.writeHead(status, { 'Content-Type': 'application/json; charset=UTF-8', ...headers });
  response.end('{}\n');
}

/** Answers with a status on the socket itself, where there is no response, and closes it. */
export function refuseSocket(socket, status, { headers = {}, text = '' } = {}) {
  const lines = Object.entries({ ...SECURITY_HEADERS, ...headers, 'Connection': 'close', 'Content-Length': text.length })
    .map(([name, value]) => `${name}: ${value}\r\n`);
  socket.setTimeout(LAST_WORDS_MS, () => socket.destroy());
  socket.end(`HTTP/1.1 ${status} ${STATUS_CODES[status]}\r\n${lines.join('')}\r\n${text}`, () => socket.destroy());
}

/**
 * The status with which a request is refused whatever it asks for, or 0. It has to say once which host it
 * means, and must not come from a web page of another origin; programs that are no browser name no origin.
 * isLocal: the service is for this machine alone. A page of a name that somebody made point here is none of
 * the service's own then, though its origin is the host that it means.
 */
export function requestRefusal(request, { isLocal }) {
  const { headers, rawHeaders } = request;
  if (rawHeaders.filter((name, i) => i % 2 === 0 && name.toLowerCase() === 'host').length !== 1) {
    return 400;
  }
  const isFromPage = headers.origin !== undefined;
  return isFromPage && (hasForeignOrigin(request) || (isLocal && !namesLoopback(request))) ? 403 : 0;
}

function hasForeignOrigin({ headers, socket }) {
  const own = `${socket.encrypted ? 'https' : 'http'}://${headers.host}`;
  return headers.origin.toLowerCase() !== own.toLowerCase();
}

/**
 * The status with which a request to the control endpoints is refused, or 0. Whoever sent it meant this
 * machine by its loopback name or address: a name that somebody else made point here would not do, and a
 * form of a web page has no type of content that does. token: the one that has to come with it, or null.
 */
export function controlRefusal(request, token) {
  const { method, headers } = request;
  if (!namesLoopback(request)) {
    return 403;
  }
  if (token !== null && !isSameSecret(headers.authorization ?? '', `Bearer ${token}`)) {
    return 401;
  }
  return method === 'POST' && !JSON_TYPE.test(headers['content-type'] ?? '') ? 415 : 0;
}

/** The headers that go with such a status. */
export function refusalHeaders(status) {
  return status === 401 ? { 'WWW-Authenticate': 'Bearer' } : {};
}

function namesLoopback({ headers, socket }) {
  const match = LOOPBACK_HOST.exec(headers.host ?? '');
  const usualPort = socket.encrypted ? 443 : 80;
  return match !== null && Number(match[1] ?? usualPort) === socket.localPort;
}
