// Control endpoints for tests, under /classroom: what was received, who is there, and the means to make
// devices come, go and speak and the service fail. Replies are JSON.

import { PAYLOAD_FORMS } from './codec/codec.js';
import { matchRoute, parseObject, readBody, splitTarget } from './rest/http.js';
import { RequestError } from './rest/reply.js';
import { controlRefusal, refusalHeaders, refuse } from './security.js';

const ROOT = '/classroom';
const MAX_WAIT_MS = 60_000;
const MAX_LEARNERS = 10_000;
const MAX_ENTRIES = 1_000_000;
const MAX_FAULT_MS = 600_000;
const MAX_FAULTS = 1_000_000;

// Query fields that say how to read the journal; all others have to match the entries.
const READING = ['since', 'count', 'wait', 'only'];

export class Control {
  #services;
  #token;
  #maxBytes;

  // By path, then by method.
  #routes = {
    [`${ROOT}/journal`]: { GET: (context) => this.#readJournal(context.query) },
    [`${ROOT}/received`]: { GET: ({ query }) => this.#readJournal(query, { kind: 'received' }) },
    [`${ROOT}/sessions`]: { GET: () => this.#services.sessions.running.map((session) => this.#describeSession(session)) },
    [`${ROOT}/learners`]: {
      GET: () => this.#services.crowd.learners.map(describeLearner),
      POST: ({ json }) => this.#addLearners(json),
      DELETE: () => dismiss(this.#services.crowd.learners),
    },
    [`${ROOT}/learners/:deviceId`]: { DELETE: ({ params: [deviceId] }) => this.#removeLearner(deviceId) },
    [`${ROOT}/remote`]: {
      POST: ({ json }) => this.#remote(json),
      DELETE: () => dismiss(this.#services.crowd.remotes),
    },
    [`${ROOT}/publish`]: { POST: ({ json }) => this.#publish(withText(json, 'address')) },
    [`${ROOT}/connections`]: {
      GET: () => this.#services.bus.connections.map(describeConnection),
      DELETE: ({ query }) => this.#hangUp(query.get('transport')),
    },
    [`${ROOT}/faults`]: {
      POST: ({ json }) => this.#services.faults.add(checkedFault(withText(json, 'path'))),
      DELETE: () => this.#services.faults.clear(),
    },
    [`${ROOT}/sign-ins`]: { DELETE: () => this.#services.accounts.expireSignIns() },
  };

  /** token: the one that has to come with every request, or null. */
  constructor(services, { token, limits }) {
    this.#services = services;
    this.#token = token;
    this.#maxBytes = limits.presenterBytes;
  }

  /** Says whether the request was one for the control endpoints. */
  handle(request, response) {
    const { path, query } = splitTarget(request.url);
    if (path !== ROOT && !path.startsWith(`${ROOT}/`)) {
      return false;
    }
    const refusal = controlRefusal(request, this.#token);
    if (refusal) {
      refuse(response, refusal, refusalHeaders(refusal));
      return true;
    }
    const found = matchRoute(this.#routes, path);
    if (found) {
      this.#serve(request, response, found, query).catch(() => response.destroy());
    }
    return found !== null;
  }

  async #serve(request, response, found, query) {
    let status = 200;
    let result;
    try {
      result = await this.#run(request, found, query);
    } catch (error) {
      if (!(error instanceof RequestError)) {
        throw error;
      }
      ({ status } = error);
      result = { error: error.message };
    }
    response.writeHead(status, { 'Content-Type': 'application/json; charset=UTF-8' });
    response.end(`${JSON.stringify(result ?? {})}\n`);
  }

  async #run(request, { route, params }, query) {
    const bytes = await readBody(request, this.#maxBytes);
    if (!Object.hasOwn(route, request.method)) {
      throw new RequestError(405, 'the path does not take this method');
    }
    const json = bytes.length > 0 ? parseObject(bytes) : {};
    return route[request.method]({ json, query, params });
  }

  // since=N: entries after number N; wait=MS: wait up to so long until there are count=N (1) of them;
  // only=FIELD: nothing of them but this field, as they may hold megabytes.
  async #readJournal(query, fixed = {}) {
    const { journal } = this.#services;
    const filter = { ...Object.fromEntries(query), ...fixed };
    READING.forEach((name) => delete filter[name]);
    const waitMs = Math.min(numberIn(query, 'wait', 0), MAX_WAIT_MS);
    const count = Math.min(numberIn(query, 'count', 1), MAX_ENTRIES);
    const entries = await journal.waitFor(numberIn(query, 'since', 0), filter, count, waitMs);
    const only = query.get('only');
    return { last: journal.lastNumber, entries: only === null ? entries : entries.map((entry) => ({ [only]: entry[only] })) };
  }

  async #addLearners({ sessionToken, count = 1 }) {
    const wanted = checkedWhole('count', count, 1, MAX_LEARNERS);
    const learners = await this.#services.crowd.addLearners(this.#session(sessionToken), wanted);
    return learners.map(describeLearner);
  }

  #removeLearner(deviceId) {
    const learner = this.#services.crowd.learners.find((candidate) => candidate.deviceId === deviceId);
    if (!learner) {
      throw new RequestError(404, 'no such learner');
    }
    return dismiss([learner]);
  }

  // Without a command the remote only joins.
  #remote({ sessionToken, command, data }) {
    const remote = this.#services.crowd.addRemote(this.#session(sessionToken));
    if (command) {
      remote.send(command, data);
    }
    return { deviceId: remote.deviceId };
  }

  // Publishes on the service's own behalf: to a full address, or to one that begins with a dot in a
  // session; text, if given, becomes the body's data in the given form.
  async #publish({ sessionToken, address, body = {}, text, form = 'base64' }) {
    const { bus, codec } = this.#services;
    check(isObject(body), 'body is no object');
    check(text === undefined || typeof text === 'string', 'text is no text');
    check(PAYLOAD_FORMS.includes(form), `form is not one of ${PAYLOAD_FORMS.join(', ')}`);
    const target = address.startsWith('.') ? this.#session(sessionToken).token + address : address;
    // A large text is packed beside, so that it holds up nobody.
    const data = text === undefined ? body.data : await codec.packLater(text, form);
    const receivers = bus.announce(target, data === undefined ? body : { ...body, data });
    return { receivers };
  }

  // Not on simulated devices, which have no connection that could break; on the tests' own if they say so.
  #hangUp(transport) {
    const connections = this.#services.bus.connections
      .filter((connection) => connection.transport !== 'simulated')
      .filter((connection) => connection.transport === transport || (transport === null && connection.transport !== 'control'));
    connections.forEach((connection) => connection.close());
    return { closed: connections.length };
  }

  #describeSession(session) {
    const { code, token, owner } = session;
    return { code, token, owner, users: this.#services.sessions.users(session) };
  }

  // Tests mostly have one session; it need not be named.
  #session(token) {
    const { sessions } = this.#services;
    const session = token === undefined ? sessions.running[0] : sessions.withToken(token);
    if (!session) {
      throw new RequestError(404, 'no such session');
    }
    return session;
  }
}

function withText(json, name) {
  check(typeof json[name] === 'string', `${name} is missing`);
  return json;
}

function check(holds, complaint) {
  if (!holds) {
    throw new RequestError(400, complaint);
  }
}

function isObject(value) {
  return typeof value === 'object' && value !== null && !Array.isArray(value);
}

function checkedWhole(name, value, least, most) {
  check(Number.isInteger(value) && value >= least && value <= most, `${name} is not a whole number from ${least} to ${most}`);
  return value;
}

// A whole number in the query; one that is not given is the usual one.
function numberIn(query, name, usual) {
  const text = query.get(name) ?? String(usual);
  check(/^\d{1,15}$/.test(text), `${name} is not a whole number`);
  return Number(text);
}

function checkedFault(fault) {
  const { times = 1, delayMs = 0, status = 200, body = '', headers = {} } = fault;
  checkedWhole('times', times, 1, MAX_FAULTS);
  checkedWhole('delayMs', delayMs, 0, MAX_FAULT_MS);
  checkedWhole('status', status, 200, 599);
  check(typeof body === 'string', 'body is no text');
  check(isObject(headers), 'headers is no object');
  return fault;
}

function dismiss(devices) {
  devices.forEach((device) => device.leave('left'));
  return { left: devices.length };
}

function describeLearner({ deviceId, number, session, details }) {
  return { deviceId, number, sessionToken: session.token, ...details };
}

function describeConnection({ id, transport, client, addresses }) {
  return { connection: id, transport, client, addresses: [...addresses] };
}
