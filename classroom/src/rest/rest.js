// The REST interface: everything below /vantora. Finds the route, checks the sign-in, reads the body,
// runs the handler and writes its reply. Whoever has no business on a path is told so before a body is
// read.
//
// A route: {handle, open, anyBody, method, maxBytes, isAttempt, refusal}. handle(context) returns
// {body, contentType, headers, signIn, deviceSecret} or throws a RequestError; open routes need no
// sign-in; the body of the others is a JSON object unless anyBody is set; method is POST unless given;
// maxBytes names the bound of the body; isAttempt(context) tells whether it may be guessing; a refusal
// is the failure that answers everybody.

import { gzipSync } from 'node:zlib';

import { LIMITS } from '../limits.js';
import { isSameSecret } from '../state/secrets.js';
import { Attempts } from './attempts.js';
import { cookieLine, cookieValue, matchRoute, parseObject, readBody, splitTarget } from './http.js';
import { errorBody, failures, RequestError } from './reply.js';
import { ResourceCalls } from './resources.js';
import { sendBody } from './send.js';
import { SessionCalls } from './sessions.js';
import { SignInCalls } from './signin.js';

const ROOT = '/vantora';
const JSON_TYPE = 'application/json; charset=UTF-8';

const SIGN_IN_COOKIE = 'tarvo_sign_in';

// A learner's device proves with it that it was in the session before. It lasts for a school day.
const DEVICE_COOKIE = 'tarvo_device';
const DEVICE_COOKIE_SECONDS = 43_200;

export class Rest {
  #routes;
  #accounts;
  #journal;
  #faults;
  #attempts;
  #options;
  #limits;

  /** services: {accounts, sessions, resources, journal, faults}; options: see options.js. */
  constructor(services, options) {
    this.#accounts = services.accounts;
    this.#journal = services.journal;
    this.#faults = services.faults;
    this.#options = options;
    this.#limits = options.limits ?? LIMITS;
    this.#attempts = new Attempts({ limits: this.#limits });
    this.#routes = {
      ...new SignInCalls(services, options).routes,
      ...new SessionCalls(services, options).routes,
      ...new ResourceCalls(services, options).routes,
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
    const { method, headers, url, socket } = request;
    const cookie = cookieValue(headers.cookie, SIGN_IN_COOKIE);
    const entry = { method, path: url, cookie, body: '(not read)' };
    const context = {
      headers,
      query,
      cookie,
      deviceSecret: cookieValue(headers.cookie, DEVICE_COOKIE),
      address: socket.remoteAddress,
      baseUrl: `${this.#options.tls ? 'https' : 'http'}://${headers.host}`,
      remark: (text) => { entry.remark = text; },
    };
    const refusal = await this.#receive(request, path, context, entry);
    const reply = await this.#faults.apply(path) ?? await this.#answer(context, refusal);
    this.#journal.note('request', { ...entry, status: reply.status, reply: reply.hangUp ? '(hung up)' : describeReply(reply) });
    await this.#write(response, reply);
  }

  // What stands in the way of an answer, or null; the body is read only when nothing does.
  async #receive(request, path, context, entry) {
    try {
      Object.assign(context, this.#find(request, path, context.cookie));
      context.bytes = await readBody(request, this.#limits[context.route.maxBytes ?? 'bodyBytes']);
      entry.body = describeBody(request.headers, context.bytes);
      return null;
    } catch (error) {
      if (!(error instanceof RequestError)) {
        throw error; // the client has gone
      }
      request.resume();
      return error;
    }
  }

  #find({ method, headers }, path, cookie) {
    this.#checkHttpCredentials(headers.authorization);
    const found = matchRoute(this.#routes, path);
    if (!found) {
      throw failures.unknownPath();
    }
    const { route } = found;
    if (method !== (route.method ?? 'POST')) {
      throw failures.wrongMethod();
    }
    if (route.refusal) {
      throw route.refusal();
    }
    const user = this.#accounts.signedInUser(cookie);
    if (!route.open && user === null) {
      throw failures.notSignedIn();
    }
    return { ...found, user };
  }

  async #answer(context, refusal) {
    try {
      if (refusal) {
        throw refusal;
      }
      return { status: 200, ...await this.#run(context) };
    } catch (error) {
      if (error instanceof RequestError) {
        return { status: error.status, body: errorBody(error.key), headers: error.headers };
      }
      throw error;
    }
  }

  #run({ route, ...context }) {
    const hasObject = !route.anyBody && (route.method ?? 'POST') === 'POST';
    const complete = { ...context, json: hasObject ? parseObject(context.bytes) : null };
    return route.isAttempt?.(complete)
      ? this.#attempts.make(context.address, () => route.handle(complete))
      : route.handle(complete);
  }

  #checkHttpCredentials(authorization = '') {
    const wanted = this.#options.httpAuth;
    if (wanted && !isSameSecret(authorization, `Basic ${Buffer.from(wanted).toString('base64')}`)) {
      throw new RequestError(401, 'request.error.httpCredentials', { 'WWW-Authenticate': 'Basic realm="classroom"' });
    }
  }

  async #write(response, { status, body, contentType = JSON_TYPE, headers = {}, signIn, deviceSecret, hangUp }) {
    if (hangUp) {
      response.destroy();
      return;
    }
    let sent = body;
    if (this.#options.gzip && !contentType.startsWith('image/')) {
      sent = gzipSync(Buffer.from(body));
      response.setHeader('Content-Encoding', 'gzip');
    }
    const cookies = this.#cookies(signIn, deviceSecret);
    if (cookies.length > 0) {
      response.setHeader('Set-Cookie', cookies);
    }
    response.writeHead(status, { ...headers, 'Content-Type': contentType, 'Content-Length': Buffer.byteLength(sent) });
    await sendBody(response, sent, this.#limits.responseMs);
  }

  #cookies(signIn, deviceSecret) {
    const secure = Boolean(this.#options.tls);
    return [
      ...signIn ? [cookieLine(SIGN_IN_COOKIE, signIn, { secure })] : [],
      ...deviceSecret ? [cookieLine(DEVICE_COOKIE, deviceSecret, { secure, maxAgeSeconds: DEVICE_COOKIE_SECONDS })] : [],
    ];
  }
}

function describeBody(headers, bytes) {
  return headers['content-type']?.startsWith('multipart/') ? `(form of ${bytes.length} bytes)` : bytes.toString('utf8');
}

function describeReply({ body }) {
  return typeof body === 'string' ? body : `(${body.length} bytes)`;
}
