// What a page asks of the service besides the bus: to join a session, and to sign in.

import { objectOf } from './values.js';

const SOURCE_SYSTEM = 'Corvel';

const NO_CONNECTION = 'connection';

// The service lets nobody wait longer, even while somebody guesses codes.
const PATIENCE_MS = 70_000;

// By the key of a refusal: what there is to do, for people. joins: for whoever wants to take part.
const SENTENCES = {
  [NO_CONNECTION]: 'The classroom cannot be reached. Check that this device is in the right network, then try again.',
  'session.error.unknownSession': 'No class has this code. Look at the code again and type it once more.',
  'session.error.notStarted': 'The class has not begun yet. Wait a moment, then try again.',
  'session.error.full': 'The class is full. Tell your teacher.',
  'session.error.foreignSession': 'This class is another teacher\u2019s, or your sign-in has ended. Sign in again.',
  'request.error.missingField': 'Something is missing. Fill in every field.',
  'request.error.wrongValue': 'This name cannot be shown. Use letters and digits, 64 characters at most.',
  'login.error.wrongCredentials': 'The name or the password is wrong. Type both once more.',
  'login.error.notSignedIn': 'Your sign-in has ended. Sign in again.',
};

const OTHERWISE = 'That did not work. Wait a moment, then try again.';

/** sentence: what to do, for people; key: the service's key; retrySeconds: when there is a time to wait. */
export class ServiceError extends Error {
  constructor(key, retrySeconds = null) {
    const sentence = retrySeconds === null ? sentenceOf(key) : tooManyAttempts(retrySeconds);
    super(sentence);
    this.sentence = sentence;
    this.key = key;
    this.retrySeconds = retrySeconds;
  }
}

/** Whether waiting helps against what went wrong. */
export function canBeTriedAgain({ key, retrySeconds }) {
  return [NO_CONNECTION, ''].includes(key) || retrySeconds > 0;
}

/** What went wrong, for people, whatever it was. */
export function failureOf(error) {
  return error instanceof ServiceError ? error : new ServiceError('');
}

/** Joins the running session with the code: {userToken, sessionToken}. mode: 'learner' or 'controller'. */
export async function join({ code, name, mode = 'learner', deviceType = 'browser' }) {
  const { userToken, sessionToken } = await post('/vantora/classroom/session/join', {
    userName: name, sessionCode: code, mode, deviceName: deviceType, deviceType,
  });
  return { userToken, sessionToken };
}

/** Signs a teacher in; the cookie keeps it. */
export function signIn({ user, password }) {
  return post('/vantora/login/submit', { userId: user, password, sourceSystem: SOURCE_SYSTEM });
}

/** The teacher whose sign-in this browser has, or null. */
export async function signedInUser() {
  return (await post('/vantora/login/user', {})).userLoginId ?? null;
}

function sentenceOf(key) {
  return Object.hasOwn(SENTENCES, key) ? SENTENCES[key] : OTHERWISE;
}

async function post(path, fields) {
  let response;
  let reply;
  try {
    response = await fetch(path, {
      method: 'POST',
      headers: { 'Content-Type': 'application/json' },
      body: JSON.stringify(fields),
      signal: AbortSignal.timeout?.(PATIENCE_MS),
    });
    reply = objectOf(await response.json());
  } catch {
    throw new ServiceError(NO_CONNECTION);
  }
  if (!response.ok || !reply.success) {
    throw new ServiceError(reply.errorMsgKeys?.[0] ?? '', retrySecondsOf(response));
  }
  return reply.data;
}

function retrySecondsOf({ headers }) {
  const seconds = Number(headers.get('Retry-After'));
  return seconds > 0 ? seconds : null;
}

/** What to do when attempts are braked for so many seconds. */
export function tooManyAttempts(seconds) {
  if (seconds <= 0) {
    return 'You can try again now.';
  }
  const time = seconds === 1 ? '1 second' : `${seconds} seconds`;
  return `Too many attempts from this network have failed. Try again in ${time}.`;
}
