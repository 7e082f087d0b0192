// What the tests share: the service as a child process, a REST client that keeps cookies, and a
// presenter on the real SockJS client.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import net from 'node:net';
import { fileURLToPath } from 'node:url';

import SockJS from 'sockjs-client';

import { PROTOCOL_VERSION, SOURCE_SYSTEM } from '../../src/protocol.js';
import { patientCodec, PATIENT } from './codec.js';

const PROGRAM = fileURLToPath(new URL('../../bin/classroom.js', import.meta.url));
const codec = patientCodec();

/** How long a line may take to stand, in ms: the service may be packing, and the machine have other tests. */
export const LINE_MS = 30_000;

/** Runs the program to its end: {code, stdout, stderr}. */
export async function run(...args) {
  const child = spawn(process.execPath, [PROGRAM, ...args]);
  const output = collect(child);
  const [code] = await once(child, 'close');
  return { code, ...output };
}

/**
 * Starts the service on a free port, as patient as a machine that runs other tests needs it; it is killed when the
 * test ends. lines: what it says of itself.
 */
export async function startService(t, ...args) {
  const patience = Object.entries(PATIENT).flatMap(([name, ms]) => ['--limit', `${name}=${ms}`]);
  const child = spawn(process.execPath, [PROGRAM, '--port', '0', '--end-with-stdin', ...patience, ...args]);
  const output = collect(child);
  const ended = once(child, 'close');
  t.after(async () => {
    child.kill('SIGKILL');
    await ended;
  });
  await until(() => output.stdout.includes('\n') || child.exitCode !== null);
  const [first, ...lines] = output.stdout.trimEnd().split('\n');
  const url = /^classroom: listening on (\S+)$/.exec(first)?.[1];
  if (!url) {
    throw new Error(`the service did not start: ${output.stdout}${output.stderr}`);
  }
  return { url, lines, output, child, ended };
}

export async function until(condition, limitMs = 20_000) {
  const deadline = Date.now() + limitMs;
  for (let result; ; await new Promise((resolve) => { setTimeout(resolve, 10); })) {
    result = await condition();
    if (result) {
      return result;
    }
    if (Date.now() > deadline) {
      throw new Error(`did not happen in ${limitMs} ms: ${condition}`);
    }
  }
}

/** A connection on which requests are written by hand, as polling presenters do. */
export async function rawConnection(t, url) {
  const { hostname, port } = new URL(url);
  const socket = net.connect(Number(port), hostname);
  t.after(() => socket.destroy());
  await once(socket, 'connect');
  let received = '';
  socket.setEncoding('utf8').on('data', (text) => { received += text; }).on('error', () => {});
  const ended = new Promise((resolve) => { socket.once('close', resolve); });
  return {
    socket,
    ended, // when the far end has closed it
    rest: () => received,
    write: (text) => socket.write(text),
    // Everything up to and with the pattern; what follows stays for the next call.
    read: async (pattern) => {
      const match = await until(() => pattern.exec(received));
      const end = match.index + match[0].length;
      const text = received.slice(0, end);
      received = received.slice(end);
      return text;
    },
  };
}

/** The head and the body of the reply to one request that is written by hand: {status, headers, body}. */
export async function ask(t, url, head, body = '') {
  const raw = await rawConnection(t, url);
  raw.write(`${head.trim().replaceAll('\n', '\r\n')}\r\nConnection: close\r\n\r\n${body}`);
  await raw.ended;
  const [top, ...rest] = raw.rest().split('\r\n\r\n');
  const [first, ...fields] = top.split('\r\n');
  const headers = Object.fromEntries(fields.map((line) => [line.slice(0, line.indexOf(':')).toLowerCase(), line.slice(line.indexOf(':') + 2)]));
  return { status: Number(first.slice(9, 12)), headers, body: rest.join('\r\n\r\n') };
}

/** A REST client with a cookie jar of its own. */
export class RestClient {
  cookies = new Map();

  constructor(url) {
    this.url = url;
  }

  /** Posts a text or bytes; {status, headers, text, json}. */
  async post(path, body = '', contentType = 'application/json; charset=UTF-8') {
    const cookie = [...this.cookies].map(([name, value]) => `${name}=${value}`).join('; ');
    const response = await fetch(this.url + path, {
      method: 'POST',
      body,
      headers: { 'Content-Type': contentType, ...cookie && { Cookie: cookie } },
    });
    for (const line of response.headers.getSetCookie?.() ?? []) {
      const [, name, value] = /^([^=]+)=([^;]*)/.exec(line);
      this.cookies.set(name, value);
    }
    const text = await response.text();
    return { status: response.status, headers: response.headers, text, json: parsed(text) };
  }

  async postJson(path, fields = {}) {
    return this.post(path, JSON.stringify(fields));
  }

  signIn(userId = 'teacher', password = 'secret') {
    return this.postJson('/vantora/login/submit', { userId, password, sourceSystem: SOURCE_SYSTEM });
  }

  /** Creates, starts and joins a session: {sessionCode, sessionToken, userToken}. */
  async startSession() {
    const { sessionCode } = (await this.postJson('/vantora/session/create')).json.data;
    const { url } = (await this.postJson('/vantora/session/getcollabserverurl')).json.data;
    const { sessionToken } = (await this.postJson('/vantora/session/start', {
      sessionCode, serverUrl: url, sourceSystem: SOURCE_SYSTEM, version: PROTOCOL_VERSION,
    })).json.data;
    return this.joinSession({ sessionCode, sessionToken });
  }

  /** One more presenter of a session. */
  async joinSession({ sessionCode, sessionToken }) {
    const { userToken } = (await this.postJson('/vantora/classroom/session/join', {
      userName: 'SessionStarter', sessionCode, mode: 'presenter', deviceName: 'teacher_SessionStarter', deviceType: 'presenter',
    })).json.data;
    return { sessionCode, sessionToken, userToken };
  }

  /** One of the control endpoints; its JSON. */
  async control(method, path, fields) {
    const response = await fetch(`${this.url}/classroom/${path}`, {
      method,
      body: fields && JSON.stringify(fields),
      headers: { 'Content-Type': 'application/json' },
    });
    return { status: response.status, ...wrapped(await response.json()) };
  }
}

/** A presenter's channel: registers on its three addresses and keeps the bodies it gets. */
export class Presenter {
  bodies = [];

  static async open(url, session, transport = 'websocket') {
    const presenter = new Presenter();
    presenter.session = session;
    presenter.socket = new SockJS(`${url}/eventbus`, null, { transports: [transport], timeout: LINE_MS });
    presenter.socket.onmessage = ({ data }) => presenter.bodies.push(JSON.parse(data).body);
    presenter.closed = new Promise((resolve) => { presenter.socket.onclose = resolve; });
    await new Promise((resolve, reject) => {
      presenter.socket.onopen = resolve;
      presenter.closed.then((event) => reject(new Error(`closed: ${event.code} ${event.reason}`)));
    });
    const { sessionToken, userToken } = session;
    [sessionToken, `${sessionToken}.presenter`, `${sessionToken}.presenter.${userToken}`]
      .forEach((address) => presenter.send({ type: 'register', address }));
    return presenter;
  }

  send(envelope) {
    this.socket.send(JSON.stringify(envelope));
  }

  /** Publishes a payload text compressed, as presenters do. */
  publish(address, type, text) {
    const { sessionToken, userToken } = this.session;
    this.send({
      type: 'publish',
      address: sessionToken + address,
      body: { from: userToken, type, data: codec.pack(text, 'base64') },
    });
  }

  /** Waits for `count` bodies of a type (or action), each with its payload's parsed text in "payload". */
  async received(type, count = 1) {
    const found = await until(() => {
      const bodies = this.bodies.filter((body) => (body.type ?? body.action) === type);
      return bodies.length >= count && bodies;
    });
    return Promise.all(found.map(async (body) => ({ ...body, payload: parsed((await codec.unpack(body.data)).text) })));
  }

  /** Waits until a device has come. */
  meets({ userToken }) {
    return until(() => this.bodies.some(({ action, client }) => action === 'register' && client.token === userToken));
  }

  close() {
    this.socket.close();
  }
}

function collect(child) {
  const output = { stdout: '', stderr: '' };
  child.stdout.setEncoding('utf8').on('data', (text) => { output.stdout += text; });
  child.stderr.setEncoding('utf8').on('data', (text) => { output.stderr += text; });
  return output;
}

function parsed(text) {
  try {
    return JSON.parse(text);
  } catch {
    return undefined;
  }
}

function wrapped(value) {
  return Array.isArray(value) ? { list: value } : value;
}
