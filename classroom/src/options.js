// The command line: one table of options, read by the parser and by --help.

import { readFileSync } from 'node:fs';

import { BUS_PREFIX, TRANSPORTS } from './bus/sockjs.js';
import { MIXED_FORMS, PAYLOAD_FORMS } from './codec/codec.js';
import { isLoopback, newPassword } from './exposure.js';
import { LIMITS, limitsWith } from './limits.js';
import { REMOTE_TYPES as REMOTE_COMMANDS } from './protocol.js';

const MAX_PORT = 65535;

// Where --help begins to say what an option does.
const MEANING_COLUMN = 34;

// Node's timers count 31 bits of milliseconds and fire at once beyond; learners think up to twice this.
const MAX_DELAY_MS = 2 ** 30;

// XHR streaming is left out: presenters see nothing of a streaming response before it has ended. Those
// on the robust transport read a stream as it comes, but they are told the same: the service does not
// know who will ask. They reach streaming with --tenant-protocols, or by their own choice.
const TENANT_PROTOCOLS = ['websocket', 'xhr-polling'];

// Whose password it is that stands alone.
const TEACHER = 'teacher';

/** A command line that cannot be understood; the message says why. */
export class UsageError extends Error {}

// One row per option: name, what follows it, the field it sets, how its values are read, what it does,
// and its default: the words that would have to be typed for it, or a list of all there is. A reader
// gets the values and, behind them, what the field holds so far.
const TABLE = [
  ['host', 'ADDRESS', 'host', address, 'address to listen on', '127.0.0.1'],
  ['port', 'PORT', 'port', portNumber, 'port to listen on; 0 picks a free one', '8089'],
  ['tls', 'CERT KEY', 'tls', pemFiles, 'serve https and wss with this PEM certificate (chain) and key'],
  ['serve', '', 'serve', yes, "teach a class: nothing is open but what pupils' devices need;\nimplied by a --host that other machines can reach"],
  ['control-port', 'PORT', 'controlPort', portNumber, 'with --serve: the control endpoints, for programs on this\nmachine that know the token; 0 picks a free port'],
  ['user', 'NAME', 'accounts', newAccount, 'account that can sign in, repeatable', TEACHER],
  ['password', 'TEXT', 'accounts', accountPassword, "password of the --user before it, or the teacher's;\nwith --serve, one is made up", 'secret'],
  ['learners', 'N', 'learners', whole, 'simulated learners in every session', '0'],
  ['join-every', 'MS', 'joinEveryMs', delayMs, 'time between two learners joining', '100'],
  ['think', 'MS', 'thinkMs', delayMs, 'time the fastest learner takes to answer', '300'],
  ['learner-stay', 'SECONDS', 'stayMs', secondsAsMs, 'learners leave after this time; 0 lets them stay', '0'],
  ['seed', 'N', 'seed', whole, 'shifts what the learners answer', '0'],
  ['payload-form', 'FORM', 'payloadForm', payloadForm, `how learners send data: ${PAYLOAD_FORMS.join(', ')} or ${MIXED_FORMS}`, MIXED_FORMS],
  ['remote', '', 'remote', yes, 'simulate a remote controller in every session'],
  ['remote-commands', 'LIST', 'remoteCommands', commands, 'what the remote sends, comma-separated; none for nothing', REMOTE_COMMANDS],
  ['remote-every', 'MS', 'remoteEveryMs', delayMs, 'time between two commands of the remote', '500'],
  ['transports', 'LIST', 'transports', transports, 'SockJS transports that the bus offers, comma-separated', TRANSPORTS],
  ['tenant-protocols', 'LIST', 'tenantProtocols', names, `transports named to presenters; none leaves them out\n(${TENANT_PROTOCOLS}, as far as offered)`],
  ['stock', '', 'stock', yes, "the SockJS server's stock settings: a session outlives\nits receiving request by 5 s"],
  ['ping-timeout', 'SECONDS', 'pingTimeoutMs', secondsAsMs, 'hang up on devices that send no ping for so long;\n0 never does', '0'],
  ['collab-url', 'URL', 'collabUrl', url, 'collaboration server named to presenters (the address they came to)'],
  ['expire-sign-in-after', 'SECONDS', 'signInLifetimeMs', secondsAsMs, 'a sign-in ends when unused for so long', '1800'],
  ['oauth-single-use', '', 'oauthSingleUse', yes, 'accept each OAuth code only once'],
  ['http-auth', 'NAME:TEXT', 'httpAuth', credentials, 'ask for these HTTP credentials in front of the REST interface'],
  ['gzip', '', 'gzip', yes, 'compress REST replies'],
  ['log', '', 'log', yes, 'print every request and message, decompressed, on stderr'],
  ['record', 'FILE', 'record', text, 'write every request and message to FILE, one JSON object a line'],
  ['limit', 'NAME=VALUE', 'limits', limit, 'change one of the bounds, repeatable'],
  ['end-with-stdin', '', 'endWithStdin', yes, 'end when standard input ends, as it does when the parent process dies'],
  ['help', '', 'help', yes, 'show this and exit'],
];

export const HELP = `Usage: classroom [options]

A local classroom service: the REST interface under /vantora, the event bus on SockJS under
${BUS_PREFIX}, simulated learners and a simulated remote controller. For development and tests, and
with --serve for a class in a room's own network.

When it is ready it prints "classroom: listening on URL". SIGTERM and SIGINT end it.

${TABLE.map(helpLine).join('\n')}

Transports: ${TRANSPORTS.join(', ')}.
Remote commands: ${REMOTE_COMMANDS.join(', ')}.
Bounds: ${inLines(Object.keys(LIMITS))}.
`;

/** Reads the arguments after the program's name; throws a UsageError. */
export function parseOptions(args) {
  const given = {};
  const rest = [...args];
  while (rest.length > 0) {
    const argument = rest.shift();
    const [name, inlineValue] = splitArgument(argument);
    const row = TABLE.find(([known]) => name === `--${known}`);
    if (!row) {
      throw new UsageError(`unknown option ${argument}`);
    }
    const [, valueNames, key, read] = row;
    const count = valueNames === '' ? 0 : valueNames.split(' ').length;
    const values = inlineValue === undefined ? rest.splice(0, count) : [inlineValue];
    if (values.length !== count) {
      throw new UsageError(count === 0 ? `${name} takes no value` : `${name} needs ${valueNames.replace(' ', ' and ')}`);
    }
    given[key] = readValues(name, read, [...values, given[key]]);
  }
  return completed(given);
}

function defaults() {
  const options = {};
  for (const [, valueNames, key, read, , initial] of TABLE) {
    if (initial === undefined) {
      options[key] = valueNames === '' ? false : null;
    } else {
      options[key] = Array.isArray(initial) ? initial : read(initial, options[key]);
    }
  }
  return options;
}

function completed(given) {
  const options = { ...defaults(), ...given };
  options.limits = limitsWith(options.limits);
  options.tenantProtocols ??= TENANT_PROTOCOLS.filter((name) => options.transports.includes(name));
  options.serve ||= !isLoopback(options.host);
  if (!options.serve && options.controlPort !== null) {
    throw new UsageError('--control-port needs --serve');
  }
  return options.serve ? withMadeUpPasswords(options, given.accounts) : withPasswords(options);
}

function withPasswords(options) {
  const incomplete = options.accounts.find(({ password }) => password === null);
  if (incomplete) {
    throw new UsageError(`--user ${incomplete.user} needs a --password`);
  }
  return { ...options, madeUp: [] };
}

// A password that everybody can read in the manual protects nothing.
function withMadeUpPasswords(options, accounts = newAccount(TEACHER)) {
  const complete = accounts.map(({ user, password }) => ({ user, password: password ?? newPassword() }));
  return { ...options, accounts: complete, madeUp: complete.filter((_, i) => accounts[i].password === null) };
}

function readValues(name, read, values) {
  try {
    return read(...values);
  } catch (error) {
    throw new UsageError(`${name}: ${error.message}`);
  }
}

function splitArgument(argument) {
  const mark = argument.indexOf('=');
  return mark < 0 ? [argument] : [argument.slice(0, mark), argument.slice(mark + 1)];
}

function yes() {
  return true;
}

function text(value) {
  return value;
}

function address(value) {
  if (value === '') {
    throw new Error('that would be every address; name one');
  }
  return value;
}

function whole(value) {
  if (!/^\d{1,15}$/.test(value)) {
    throw new Error(`"${value}" is not a whole number`);
  }
  return Number(value);
}

function portNumber(value) {
  const port = whole(value);
  if (port > MAX_PORT) {
    throw new Error(`${port} is more than ${MAX_PORT}`);
  }
  return port;
}

function delayMs(value) {
  const delay = whole(value);
  if (delay > MAX_DELAY_MS) {
    throw new Error('that is more than twelve days');
  }
  return delay;
}

function secondsAsMs(value) {
  if (!/^\d{1,9}(\.\d+)?$/.test(value)) {
    throw new Error(`"${value}" is not a number of seconds`);
  }
  return delayMs(String(Math.round(1000 * Number(value))));
}

function pemFiles(cert, key) {
  return { cert: readFileSync(cert), key: readFileSync(key) };
}

function newAccount(user, accounts = []) {
  return [...accounts, { user, password: null }];
}

function accountPassword(password, accounts = newAccount(TEACHER)) {
  const account = accounts.at(-1);
  if (account.password !== null) {
    throw new Error('there is no --user before it');
  }
  if (password === '') {
    throw new Error('it is empty');
  }
  return [...accounts.slice(0, -1), { ...account, password }];
}

function url(value) {
  if (!/^(https?|wss?):\/\/[^/]/.test(value)) {
    throw new Error(`"${value}" is not a URL`);
  }
  return value;
}

function credentials(value) {
  if (!value.includes(':')) {
    throw new Error(`"${value}" is not a name and a password with a colon between`);
  }
  return value;
}

// Bounds of time are a timer's, but for the longest.
function limit(value, limits) {
  const [name, number] = splitArgument(value);
  if (!Object.hasOwn(LIMITS, name)) {
    throw new Error(`"${name}" is no bound; --help names them`);
  }
  const isTimer = name.endsWith('Ms') && LIMITS[name] <= MAX_DELAY_MS;
  return { ...limits, [name]: (isTimer ? delayMs : whole)(number ?? '') };
}

function names(value) {
  return value === 'none' ? [] : value.split(',');
}

function commands(value) {
  return names(value).map((name) => oneOf(name, REMOTE_COMMANDS));
}

function transports(value) {
  return names(value).map((name) => oneOf(name, TRANSPORTS));
}

function payloadForm(value) {
  return oneOf(value, [...PAYLOAD_FORMS, MIXED_FORMS]);
}

function oneOf(value, known) {
  if (!known.includes(value)) {
    throw new Error(`"${value}" is not one of ${known.join(', ')}`);
  }
  return value;
}

function inLines(words) {
  return words.join(', ').replace(/(.{60,90}?,) /g, '$1\n  ');
}

function helpLine([name, valueNames, , , meaning, initial]) {
  const usage = `  --${name} ${valueNames}`.trimEnd();
  const shown = initial === undefined ? '' : ` (${Array.isArray(initial) ? 'all' : initial})`;
  const lines = (meaning + shown).split('\n').join(`\n${' '.repeat(MEANING_COLUMN)}`);
  return usage.padEnd(MEANING_COLUMN) + lines;
}
