// The REST interface: everything below /vantora. Finds the route, checks the sign-in, runs the handler
// and writes its reply.
//
// A route: {handle, open, anyBody, method}. handle(context) returns {body, contentType, signIn} or
// throws a RequestError; open routes need no sign-in; the body of the others is a JSON object unless
// anyBody is set; method is POST unless given.

import { gzipSync } from 'node:zlib';

import { cookieValue, matchRoute, parseObject, readBody, splitTarget } from './http.js';
import { errorBody, failures, RequestError } from './reply.js';
import { ResourceCalls } from './resources.js';
import { SessionCalls } from './sessions.js';
import { SignInCalls } from './signin.js';

const ROOT = '/vantora';
const SIGN_IN_COOKIE = 'tarvo_sign_in';
const JSON_TYPE = 'application/json; charset=UTF-8';

export class Rest {
  #routes;
  #accounts;
  #journal;
  #faults;
  #options;

  /** services: {accounts, sessions, resources, journal, faults}; options: see options.js. */
  constructor(services, options) {
    this.#accounts = services.accounts;
    this.#journal = services.journal;
    this.#faults = services.faults;
    this.#options = options;
    this.#routes = {
      ...new SignInCalls(services).routes,
      ...new SessionCalls(services, options).routes,
      ...new ResourceCalls(services).routes,
    };
  }

  /** Says whether the request was one for the REST interface. */
  handle(request, response) {
    const { path, query } = splitTarget(request.url);
    if (path !== ROOT && !path.startsWith(`${ROOT}/`)) {
      return false;
    }
    this.#serve(request, response, path, query).catch(() => response.destroy());
    return true;
  }

  async #serve(request, response, path, query) {
    const { method, headers, url } = request;
    const bytes = await readBody(request).catch((error) => error);
    if (bytes instanceof Error && !(bytes instanceof RequestError)) {
      return; // the client has gone
    }
    const cookie = cookieValue(headers.cookie, SIGN_IN_COOKIE);
    const entry = { method, path: url, cookie, body: describeBody(headers, bytes) };
    const context = { method, headers, bytes, path, query, cookie, remark: (text) => { entry.remark = text; } };
    const reply = await this.#faults.apply(path) ?? this.#answer(context);
    this.#journal.note('request', { ...entry, status: reply.status, reply: reply.hangUp ? '(hung up)' : describeReply(reply) });
    this.#write(response, reply);
  }

  #answer(context) {
    try {
      return { status: 200, ...this.#run(context) };
    } catch (error) {
      if (error instanceof RequestError) {
        return { status: error.status, body: errorBody(error.key), headers: error.headers };
      }
      throw error;
    }
  }

  #run({ method, headers, bytes, path, query, cookie, remark }) {
    this.#checkHttpCredentials(headers.authorization);
    if (bytes instanceof RequestError) {
      throw bytes;
    }
    const found = matchRoute(this.#routes, path);
    if (!found) {
      throw failures.unknownPath();
    }
    const { route, params } = found;
    if (method !== (route.method ?? 'POST')) {
      throw failures.wrongMethod();
    }
    const user = this.#accounts.signedInUser(cookie);
    if (!route.open && user === null) {
      throw failures.notSignedIn();
    }
    return route.handle({
      headers,
      bytes,
      remark,
      params,
      user,
      cookie,
      query,
      json: route.anyBody || method === 'GET' ? null : parseObject(bytes),
      baseUrl: `${this.#options.tls ? 'https' : 'http'}://${headers.host}`,
    });
  }

  #checkHttpCredentials(authorization) {
    const wanted = this.#options.httpAuth;
    if (wanted && authorization !== `Basic ${Buffer.from(wanted).toString('base64')}`) {
      const error = new RequestError(401, 'request.error.httpCredentials');
      error.headers = { 'WWW-Authenticate': 'Basic realm="classroom"' };
      throw error;
    }
  }

  #write(response, { status, body, contentType = JSON_TYPE, headers = {}, signIn, hangUp }) {
    if (hangUp) {
      response.destroy();
      return;
    }
    let bytes = Buffer.from(body);
    if (this.#options.gzip) {
      bytes = gzipSync(bytes);
      response.setHeader('Content-Encoding', 'gzip');
    }
    if (signIn) {
      const secure = this.#options.tls ? '; Secure' : '';
      response.setHeader('Set-Cookie', `${SIGN_IN_COOKIE}=${signIn}; Path=/; HttpOnly${secure}`);
    }
    response.writeHead(status, { ...headers, 'Content-Type': contentType, 'Content-Length': bytes.length });
    response.end(bytes);
  }
}

function describeBody(headers, bytes) {
  if (bytes instanceof Error) {
    return '(too large)';
  }
  return headers['content-type']?.startsWith('multipart/') ? `(form of ${bytes.length} bytes)` : bytes.toString('utf8');
}

function describeReply({ body }) {
  return typeof body === 'string' ? body : `(${body.length} bytes)`;
}
