// What the address of a page says: /join/CODE or /remote/CODE, and ?transports=NAME,NAME to try a line over
// these alone.

/** The code of the class, or ''. */
export function codeInPath({ pathname } = location) {
  const [, , code = ''] = pathname.split('/');
  try {
    return decodeURIComponent(code);
  } catch {
    return '';
  }
}

/** A list of names, or null for all. */
export function transportsInQuery({ search } = location) {
  return new URLSearchParams(search).get('transports')?.split(',') ?? null;
}
