// Control endpoints for tests, under /classroom: what was received, who is there, and the means to make
// devices come, go and speak and the service fail. Replies are JSON.

import { matchRoute, parseObject, readBody, splitTarget } from './rest/http.js';
import { RequestError } from './rest/reply.js';

const ROOT = '/classroom';
const MAX_WAIT_MS = 60_000;

// Query fields that say how to read the journal; all others have to match the entries.
const READING = ['since', 'count', 'wait', 'only'];

export class Control {
  #services;

  // By path, then by method.
  #routes = {
    [`${ROOT}/journal`]: { GET: (context) => this.#readJournal(context.query) },
    [`${ROOT}/received`]: { GET: ({ query }) => this.#readJournal(query, { kind: 'received' }) },
    [`${ROOT}/sessions`]: { GET: () => this.#services.sessions.running.map(describeSession) },
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
      POST: ({ json }) => this.#services.faults.add(withText(json, 'path')),
      DELETE: () => this.#services.faults.clear(),
    },
    [`${ROOT}/sign-ins`]: { DELETE: () => this.#services.accounts.expireSignIns() },
  };

  constructor(services) {
    this.#services = services;
  }

  /** Says whether the request was one for the control endpoints. */
  handle(request, response) {
    const { path, query } = splitTarget(request.url);
    const found = matchRoute(this.#routes, path);
    if (!found) {
      return false;
    }
    this.#serve(request, response, found, query).catch(() => response.destroy());
    return true;
  }

  async #serve(request, response, { route, params }, query) {
    const bytes = await readBody(request);
    let status = 200;
    let result;
    try {
      const run = route[request.method];
      if (!run) {
        throw new RequestError(405, `${request.method} is not for this path`);
      }
      const json = bytes.length > 0 ? parseObject(bytes) : {};
      result = await run({ json, query, params });
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

  // since=N: entries after number N; wait=MS: wait up to so long until there are count=N (1) of them;
  // only=FIELD: nothing of them but this field, as they may hold megabytes.
  async #readJournal(query, fixed = {}) {
    const { journal } = this.#services;
    const filter = { ...Object.fromEntries(query), ...fixed };
    READING.forEach((name) => delete filter[name]);
    const waitMs = Math.min(Number(query.get('wait') ?? 0), MAX_WAIT_MS);
    const entries = await journal.waitFor(Number(query.get('since') ?? 0), filter, Number(query.get('count') ?? 1), waitMs);
    const only = query.get('only');
    return { last: journal.lastNumber, entries: only === null ? entries : entries.map((entry) => ({ [only]: entry[only] })) };
  }

  async #addLearners({ sessionToken, count = 1 }) {
    const learners = await this.#services.crowd.addLearners(this.#session(sessionToken), count);
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
  #publish({ sessionToken, address, body = {}, text, form = 'base64' }) {
    const { bus, codec } = this.#services;
    const target = address.startsWith('.') ? this.#session(sessionToken).token + address : address;
    const receivers = bus.announce(target, text === undefined ? body : { ...body, data: codec.pack(text, form) });
    return { receivers };
  }

  #hangUp(transport) {
    const connections = this.#services.bus.connections
      .filter((connection) => connection.transport !== 'simulated')
      .filter((connection) => transport === null || connection.transport === transport);
    connections.forEach((connection) => connection.close());
    return { closed: connections.length };
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
  if (typeof json[name] !== 'string') {
    throw new RequestError(400, `${name} is missing`);
  }
  return json;
}

function dismiss(devices) {
  devices.forEach((device) => device.leave('left'));
  return { left: devices.length };
}

function describeSession({ code, token, owner, users }) {
  return { code, token, owner, users: [...users.values()] };
}

function describeLearner({ deviceId, number, session, details }) {
  return { deviceId, number, sessionToken: session.token, ...details };
}

function describeConnection({ id, transport, client, addresses }) {
  return { connection: id, transport, client, addresses: [...addresses] };
}
