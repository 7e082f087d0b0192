// Event-bus addresses: the session token alone, or the token, a dot and a role, for some roles with a
// further dot and the token of one user. Session tokens hold no dots.

/** The address of a role in a session, for example addressOf(token, 'user', deviceId). */
export function addressOf(sessionToken, ...parts) {
  return [sessionToken, ...parts].join('.');
}

/** Splits an address into {sessionToken, role, userToken}; role and userToken are '' when absent. */
export function parseAddress(address) {
  const [sessionToken, role = '', ...user] = address.split('.');
  return { sessionToken, role, userToken: user.join('.') };
}
