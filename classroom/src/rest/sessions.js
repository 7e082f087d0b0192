// Session operations: create, start, join, list users, stop, and where the collaboration server is.

import { PROTOCOL_VERSION } from '../protocol.js';
import { checkSourceSystem, field, oneOf } from './fields.js';
import { failures, successBody } from './reply.js';

const MODES = ['presenter', 'learner', 'controller'];

export class SessionCalls {
  routes = {
    '/vantora/session/create': { handle: (context) => this.#create(context) },
    '/vantora/session/getcollabserverurl': { handle: (context) => this.#getCollabServerUrl(context) },
    '/vantora/config/findTenantFeatureDetails': { handle: () => this.#findTenantFeatureDetails() },
    '/vantora/session/start': { handle: (context) => this.#start(context) },
    // Learners and controllers come with nothing but the session code.
    '/vantora/classroom/session/join': { open: true, handle: (context) => this.#join(context) },
    '/vantora/session/getusers': { handle: (context) => this.#getUsers(context) },
    '/vantora/session/stop': { handle: (context) => this.#stop(context) },
  };

  #sessions;
  #collabUrl;
  #tenantProtocols;

  /** options: {collabUrl, tenantProtocols}; without a URL, presenters are sent to this service. */
  constructor({ sessions }, { collabUrl, tenantProtocols }) {
    this.#sessions = sessions;
    this.#collabUrl = collabUrl;
    this.#tenantProtocols = tenantProtocols;
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
    oneOf(json, 'serverUrl', [this.#collabUrl ?? baseUrl]);
    if (field(json, 'version') !== PROTOCOL_VERSION) {
      throw failures.unsupportedVersion();
    }
    const session = owned(this.#sessions.withCode(field(json, 'sessionCode')), user);
    return { body: successBody({ sessionToken: this.#sessions.start(session) }, { infoMsgKeys: ['session.start.success'] }) };
  }

  #join({ json, user }) {
    const mode = oneOf(json, 'mode', MODES);
    const session = this.#sessions.withCode(field(json, 'sessionCode'));
    if (!session) {
      throw failures.unknownSession();
    }
    if (mode === 'presenter') {
      owned(session, user);
    }
    if (session.token === null) {
      throw failures.sessionNotStarted();
    }
    const { userToken } = this.#sessions.join(session, {
      userName: field(json, 'userName'),
      mode,
      deviceName: field(json, 'deviceName'),
      deviceType: field(json, 'deviceType'),
    });
    return { body: successBody({ userToken, sessionToken: session.token }, { infoMsgKeys: ['session.join.success'] }) };
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

function owned(session, user) {
  if (!session) {
    throw failures.unknownSession();
  }
  if (session.owner !== user) {
    throw failures.foreignSession();
  }
  return session;
}
