// Event-bus addresses: the session token alone, or the token, a dot and a role, for some roles with a
// further dot and the token of one user. Tokens hold no dots.

const TOKEN = '[\\w-]{1,64}';
const SHAPE = new RegExp(
  `^(?<sessionToken>${TOKEN})(?<place>|\\.learner|\\.controller|\\.presenter(?:\\.(?<presenter>${TOKEN}))?|\\.user\\.(?<user>${TOKEN})?)$`,
);
const PRESENTER = new RegExp(`(${TOKEN})\\.presenter\\.(${TOKEN})`);

/** The address of a role in a session, for example addressOf(token, 'user', deviceId). */
export function addressOf(sessionToken, ...parts) {
  return [sessionToken, ...parts].join('.');
}

/**
 * Splits an address into {sessionToken, place, userToken}: the place is what follows the session token,
 * with "*" for the token of one user (".user.*"), userToken is '' where the place has none. Null for what
 * is no address.
 */
export function parseAddress(address) {
  const { sessionToken, place, presenter, user } = SHAPE.exec(address)?.groups ?? {};
  if (sessionToken === undefined) {
    return null;
  }
  const userToken = presenter ?? user ?? '';
  return { sessionToken, place: userToken === '' ? place : `${place.slice(0, -userToken.length)}*`, userToken };
}

/** The first address of one presenter that a text holds: {sessionToken, userToken}, or null. */
export function presenterNamedIn(text) {
  const [, sessionToken, userToken] = PRESENTER.exec(text) ?? [];
  return sessionToken === undefined ? null : { sessionToken, userToken };
}
