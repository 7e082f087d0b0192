// Session operations: create, start, join, list users, stop, and where the collaboration server is.

import { field, oneOf } from './fields.js';
import { failures, successBody } from './reply.js';

const PROTOCOL_VERSION = '3.0.0';
const MODES = ['presenter', 'learner', 'controller'];

export function sessionRoutes({ sessions, collabUrl, tenantProtocols }) {
  return {
    '/vantora/session/create': { handle: create },
    '/vantora/session/getcollabserverurl': { handle: ({ baseUrl }) => ({ body: successBody({ url: collabUrl ?? baseUrl }) }) },
    '/vantora/config/findTenantFeatureDetails': { handle: () => ({ body: successBody(tenantFeatures()) }) },
    '/vantora/session/start': { handle: start },
    // Learners and controllers come with nothing but the session code.
    '/vantora/classroom/session/join': { open: true, handle: join },
    '/vantora/session/getusers': { handle: getUsers },
    '/vantora/session/stop': { handle: stop },
  };

  function create({ user }) {
    return { body: successBody({ sessionCode: sessions.create(user).code }, { infoMsgKeys: ['session.create.success'] }) };
  }

  function tenantFeatures() {
    return tenantProtocols.length === 0 ? {} : { sockJSProtocols: tenantProtocols };
  }

  function start({ json, user, baseUrl }) {
    oneOf(json, 'sourceSystem', ['Corvel']);
    oneOf(json, 'serverUrl', [collabUrl ?? baseUrl]);
    if (field(json, 'version') !== PROTOCOL_VERSION) {
      throw failures.unsupportedVersion();
    }
    const session = owned(sessions.withCode(field(json, 'sessionCode')), user);
    return { body: successBody({ sessionToken: sessions.start(session) }, { infoMsgKeys: ['session.start.success'] }) };
  }

  function join({ json, user }) {
    const mode = oneOf(json, 'mode', MODES);
    const session = sessions.withCode(field(json, 'sessionCode'));
    if (!session) {
      throw failures.unknownSession();
    }
    if (mode === 'presenter') {
      owned(session, user);
    }
    if (session.token === null) {
      throw failures.sessionNotStarted();
    }
    const { userToken } = sessions.join(session, {
      userName: field(json, 'userName'),
      mode,
      deviceName: field(json, 'deviceName'),
      deviceType: field(json, 'deviceType'),
    });
    return { body: successBody({ userToken, sessionToken: session.token }, { infoMsgKeys: ['session.join.success'] }) };
  }

  function getUsers({ json, user }) {
    const session = owned(sessions.withToken(field(json, 'sessionToken')), user);
    return { body: successBody({ users: [...session.users.values()] }) };
  }

  function stop({ json, user }) {
    sessions.stop(owned(sessions.withToken(field(json, 'sessionToken')), user));
    return { body: successBody({}, { infoMsgKeys: ['session.stop.success'] }) };
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
}
