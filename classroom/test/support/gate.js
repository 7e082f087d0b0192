// A gate by itself: over a real server and real sockets, with a bus that takes the first message of a
// connection for its role and remembers all others.

import { once } from 'node:events';
import http from 'node:http';
import https from 'node:https';
import net from 'node:net';
import tls from 'node:tls';

import { SockJsGate } from '../../src/bus/sockjs.js';
import { limitsWith } from '../../src/limits.js';
import { until } from './service.js';

const ALL = ['websocket', 'xhr-streaming', 'xhr-polling', 'eventsource'];

/** The bus's side of a connection; `answer` is what receive() gives back. */
class TestConnection {
  role = null;
  isOpen = true;
  texts = [];
  closings = [];
  answer = () => undefined;

  constructor(carrier) {
    this.carrier = carrier;
    this.transport = carrier.transport;
  }

  receive(text) {
    const role = /^role (\w+)$/.exec(text)?.[1];
    if (role) {
      this.role = role;
      this.carrier.proven?.(role);
      return undefined;
    }
    this.texts.push(text);
    return this.answer(text);
  }

  deliver(text) {
    this.deliverMessage({ text });
  }

  deliverMessage(message) {
    if (this.isOpen) {
      this.carrier.deliver(message);
    }
  }

  close(code, reason) {
    if (this.isOpen) {
      this.closed({ code, reason });
      this.carrier.hangUp(code, reason);
    }
  }

  closed({ code = null, reason = null } = {}) {
    if (this.isOpen) {
      this.isOpen = false;
      this.closings.push([code, reason]);
    }
  }
}

// The SockJS server's sessions outlive a test by a few seconds, with its own settings; otherwise by 30.
/** Starts a gate: {url, connections, notes}; limits: bounds that differ; pem: {cert, key} for TLS. */
export async function startGate(t, { limits = {}, pem = null, transports = ALL, ...options } = {}) {
  const connections = [];
  const notes = [];
  const bus = {
    attach: (carrier) => {
      connections.push(new TestConnection(carrier));
      return connections.at(-1);
    },
    namesPresenter: (text) => text.includes('token-of-a-presenter'),
  };
  const journal = { note: (kind, fields) => notes.push({ kind, ...fields }) };
  const gate = new SockJsGate({ bus, journal, transports, pingTimeoutMs: 0, stock: true, ...options, limits: limitsWith(limits) });
  const server = pem ? https.createServer(pem) : http.createServer();
  const sockets = new Set();
  server.on(pem ? 'secureConnection' : 'connection', (socket) => {
    sockets.add(socket);
    socket.on('close', () => sockets.delete(socket));
  });
  server.on('request', (request, response) => gate.handle(request, response) || response.writeHead(404).end('elsewhere'));
  server.on('upgrade', (request, socket, head) => gate.handle(request, socket, head) || socket.destroy());
  server.listen(0, '127.0.0.1');
  await once(server, 'listening');
  t.after(() => {
    connections.forEach((connection) => connection.closed());
    sockets.forEach((socket) => socket.destroy());
    server.close();
  });
  return {
    url: `${pem ? 'https' : 'http'}://127.0.0.1:${server.address().port}`,
    connections,
    notes,
    sockets,
    faults: () => notes.filter(({ kind }) => kind === 'sockjs'),
  };
}

/** A socket on which everything is written by hand; it keeps what comes as latin1 text. */
export async function rawSocket(t, url) {
  const { hostname, port, protocol } = new URL(url);
  const socket = protocol === 'https:'
    ? tls.connect({ port: Number(port), host: hostname, rejectUnauthorized: false })
    : net.connect(Number(port), hostname);
  t?.after(() => socket.destroy());
  await once(socket, protocol === 'https:' ? 'secureConnect' : 'connect');
  const raw = { socket, received: '', isClosed: false };
  socket.setEncoding('latin1').on('data', (text) => { raw.received += text; });
  socket.on('error', () => {}).on('close', () => { raw.isClosed = true; });
  raw.write = (data) => socket.write(data);
  raw.has = (pattern) => until(() => pattern.exec(raw.received));
  raw.closed = () => until(() => raw.isClosed);
  return raw;
}

/** One request over a socket of its own: {status, text, headers}. */
export async function ask(url, method, path, { headers = {}, body } = {}) {
  const { request } = url.startsWith('https') ? https : http;
  const asking = request(url + path, { method, headers, rejectUnauthorized: false, agent: false });
  asking.end(body);
  const [response] = await once(asking, 'response');
  let text = '';
  for await (const chunk of response.setEncoding('utf8')) {
    text += chunk;
  }
  return { status: response.statusCode, headers: response.headers, text };
}

export const HANDSHAKE = 'Connection: Upgrade\r\nUpgrade: websocket\r\nSec-WebSocket-Version: 13\r\n'
  + 'Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\n';

/** A web socket written by hand, just opened. */
export async function webSocket(t, url, session = 'abcdefgh') {
  const raw = await rawSocket(t, url);
  raw.write(`GET /eventbus/119/${session}/websocket HTTP/1.1\r\nHost: x\r\n${HANDSHAKE}\r\n`);
  await raw.has(/\r\n\r\n\x81\x01o/);
  raw.received = '';
  raw.say = (...texts) => raw.write(frame(1, JSON.stringify(texts)));
  return raw;
}

/** A frame as devices send it. */
export function frame(opcode, payload = '', { final = true, length = null } = {}) {
  const body = Buffer.from(payload);
  const size = Buffer.alloc(9, 0xff);
  size.writeBigUInt64BE(BigInt(length ?? body.length), 1);
  return Buffer.concat([Buffer.from([(final ? 0x80 : 0) | opcode]), size.subarray(0, 9), Buffer.alloc(4), body]);
}

/** A device on polling: poll() resolves with the reply, send(...texts) with the status. */
export function poller(url, session) {
  const path = `/eventbus/119/${session}`;
  const post = (body) => ask(url, 'POST', `${path}/xhr_send`, { body, headers: { 'Content-Type': 'text/plain' } });
  return {
    poll: async () => (await ask(url, 'POST', `${path}/xhr`)).text,
    post,
    send: async (...texts) => (await post(JSON.stringify(texts))).status,
  };
}
