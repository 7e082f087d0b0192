// What is left of a journal's entry when nobody's words, names and tokens may be in it. Fields that are not
// in the table are left out, and so are values that are not what the table expects: most of them come from
// devices, which write what they like.

import { parseAddress } from './bus/address.js';

// A message's type is a word; a token has digits, or is longer.
const WORDS = /^[A-Za-z][A-Za-z _-]{0,39}$/;

// The bus keeps the lines of a device apart by two parts of the path, which are nobody else's business.
const LINE_PATH = /^(\/eventbus)\/[^/]+\/[^/]+(?=\/)/;

const FIELDS = {
  method: words,
  path: pathShape,
  status: number,
  connection: number,
  transport: words,
  role: words,
  event: words,
  address: addressShape,
  accepted: (value) => value === true,
  type: words,
  action: words,
  receivers: number,
  code: number,
  reason: (value) => (typeof value === 'string' ? value : undefined), // the service's own words
};

/** The fields without anything that a person said, is called or is known by. */
export function outlineOf(fields = {}) {
  const outline = {};
  for (const [name, outlined] of Object.entries(FIELDS)) {
    const value = fields[name] === undefined ? undefined : outlined(fields[name]);
    if (value !== undefined) {
      outline[name] = value;
    }
  }
  return outline;
}

function words(value) {
  return typeof value === 'string' && WORDS.test(value) ? value : undefined;
}

function number(value) {
  return typeof value === 'number' ? value : undefined;
}

// "/vantora/session/stop", "/eventbus/<server>/<session>/xhr"
function pathShape(value) {
  if (typeof value !== 'string') {
    return undefined;
  }
  const [path] = value.split('?');
  return path.replace(LINE_PATH, '$1/<server>/<session>').split('/').map(partShape).join('/');
}

function partShape(part) {
  return part === '' || WORDS.test(part) || /^<\w+>$/.test(part) ? part : '<other>';
}

// "<session>.user.<user>"
function addressShape(value) {
  if (typeof value !== 'string') {
    return undefined;
  }
  const address = parseAddress(value);
  return address === null ? '<other>' : `<session>${address.place.replace('*', '<user>')}`;
}
