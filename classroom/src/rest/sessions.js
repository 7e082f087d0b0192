// Session operations: create, start, join, list users, stop, and where the collaboration server is.

import { randomUUID } from 'node:crypto';

import { LIMITS } from '../limits.js';
import { PROTOCOL_VERSION } from '../protocol.js';
import { checkSourceSystem, choice, field, label } from './fields.js';
import { failures, successBody } from './reply.js';

const MODES = ['presenter', 'learner', 'controller'];

export class SessionCalls {
  routes = {
    '/vantora/session/create': { handle: (context) => this.#create(context) },
    '/vantora/session/getcollabserverurl': { handle: (context) => this.#getCollabServerUrl(context) },
    '/vantora/config/findTenantFeatureDetails': { handle: () => this.#findTenantFeatureDetails() },
    '/vantora/session/start': { handle: (context) => this.#start(context) },
    // Learners come with nothing but the session code.
    '/vantora/classroom/session/join': {
      open: true,
      isAttempt: (context) => !this.#isExpected(context),
      handle: (context) => this.#join(context),
    },
    '/vantora/session/getusers': { handle: (context) => this.#getUsers(context) },
    '/vantora/session/stop': { handle: (context) => this.#stop(context) },
  };

  #sessions;
  #collabUrl;
  #tenantProtocols;
  #limits;

  /** options: {collabUrl, tenantProtocols, limits}; without a URL, presenters are sent to this service. */
  constructor({ sessions }, { collabUrl, tenantProtocols, limits = LIMITS }) {
    this.#sessions = sessions;
    this.#collabUrl = collabUrl;
    this.#tenantProtocols = tenantProtocols;
    this.#limits = limits;
  }

  #create({ user }) {
    return { body: successBody({ sessionCode: this.#sessions.create(user).code }, { infoMsgKeys: ['session.create.success'] }) };
  }

  #getCollabServerUrl({ baseUrl }) {
    return { body: successBody({ url: this.#collabUrl ?? baseUrl }) };
  }

  #findTenantFeatureDetails() {
    const sockJSProtocols = this.#tenantProtocols;
    return { body: successBody(sockJSProtocols.length === 0 ? {} : { sockJSProtocols }) };
  }

  #start({ json, user, baseUrl }) {
    checkSourceSystem(json);
    choice(json, 'serverUrl', [this.#collabUrl ?? baseUrl]);
    if (field(json, 'version') !== PROTOCOL_VERSION) {
      throw failures.unsupportedVersion();
    }
    const session = owned(this.#sessions.withCode(field(json, 'sessionCode')), user);
    return { body: successBody({ sessionToken: this.#sessions.start(session) }, { infoMsgKeys: ['session.start.success'] }) };
  }

  // What a client may do later depends on the mode it joins in: the teacher's own devices sign in.
  #join({ json, user, deviceSecret }) {
    const details = this.#readDetails(json);
    const isLearner = details.mode === 'learner';
    const named = this.#sessions.withCode(field(json, 'sessionCode'));
    const session = isLearner ? existing(named) : owned(named, user);
    if (session.token === null) {
      throw failures.sessionNotStarted();
    }
    const device = isLearner ? this.#secretFor(session, deviceSecret) : null;
    const joined = this.#sessions.join(session, details, device);
    if (!joined) {
      throw failures.sessionFull();
    }
    const data = { userToken: joined.userToken, sessionToken: session.token };
    return { body: successBody(data, { infoMsgKeys: ['session.join.success'] }), deviceSecret: device };
  }

  #readDetails(json) {
    const { nameChars } = this.#limits;
    return {
      userName: label(json, 'userName', nameChars),
      mode: choice(json, 'mode', MODES),
      deviceName: label(json, 'deviceName', nameChars),
      deviceType: label(json, 'deviceType', nameChars),
    };
  }

  // A device that the session does not know gets a secret that nobody else can know: one that it brings
  // along may have been planted.
  #secretFor(session, deviceSecret) {
    return this.#sessions.knowsDevice(session, deviceSecret)
      ? deviceSecret
      : randomUUID().replaceAll('-', '');
  }

  // Neither a device that comes back nor the session's own teacher guesses codes.
  #isExpected({ json, user, deviceSecret }) {
    const session = this.#sessions.withCode(json.sessionCode);
    const isBack = session !== null && json.mode === 'learner' && this.#sessions.knowsDevice(session, deviceSecret);
    return isBack || (session !== null && session.owner === user);
  }

  #getUsers({ json, user }) {
    const session = owned(this.#sessions.withToken(field(json, 'sessionToken')), user);
    return { body: successBody({ users: this.#sessions.users(session) }) };
  }

  #stop({ json, user }) {
    this.#sessions.stop(owned(this.#sessions.withToken(field(json, 'sessionToken')), user));
    return { body: successBody({}, { infoMsgKeys: ['session.stop.success'] }) };
  }
}

function existing(session) {
  if (!session) {
    throw failures.unknownSession();
  }
  return session;
}

function owned(session, user) {
  if (existing(session).owner !== user) {
    throw failures.foreignSession();
  }
  return session;
}
