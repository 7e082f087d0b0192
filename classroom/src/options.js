// The command line: one table of options, read by the parser and by --help.

import { readFileSync } from 'node:fs';

import { BUS_PREFIX, TRANSPORTS } from './bus/sockjs.js';
import { PAYLOAD_FORMS } from './codec/codec.js';
import { REMOTE_COMMANDS } from './devices/remote.js';

export const DEFAULT_ACCOUNT = { user: 'teacher', password: 'secret' };
const DEFAULT_PORT = 8089;

// XHR streaming is left out: presenters see what a streaming response holds when it has ended.
const TENANT_PROTOCOLS = ['websocket', 'xhr-polling'];

/** A command line that cannot be understood; the message says why. */
export class UsageError extends Error {}

// One row per option: name, its values' names for --help, what it does, and how it changes the options.
const TABLE = [
  ['host', ['ADDRESS'], 'address to listen on (127.0.0.1)', (o, v) => { o.host = v; }],
  ['port', ['PORT'], `port to listen on; 0 picks a free one (${DEFAULT_PORT})`, (o, v) => { o.port = whole(v, 65535); }],
  ['tls', ['CERT', 'KEY'], 'serve https and wss with this PEM certificate (chain) and key', (o, cert, key) => { o.tls = { cert: readFileSync(cert), key: readFileSync(key) }; }],
  ['user', ['NAME'], `account that can sign in, repeatable (${DEFAULT_ACCOUNT.user})`, (o, v) => { o.accounts.push({ user: v, password: null }); }],
  ['password', ['TEXT'], `password of the --user before it (${DEFAULT_ACCOUNT.password})`, setPassword],
  ['learners', ['N'], 'simulated learners in every session (0)', (o, v) => { o.learners = whole(v); }],
  ['join-every', ['MS'], 'time between two learners joining (100)', (o, v) => { o.joinEveryMs = whole(v); }],
  ['think', ['MS'], 'time the fastest learner takes to answer (300)', (o, v) => { o.thinkMs = whole(v); }],
  ['learner-stay', ['SECONDS'], 'learners leave after this time; 0 lets them stay (0)', (o, v) => { o.stayMs = 1000 * seconds(v); }],
  ['seed', ['N'], 'shifts what the learners answer (0)', (o, v) => { o.seed = whole(v); }],
  ['payload-form', ['FORM'], `how learners send data: ${PAYLOAD_FORMS.join(', ')} or mixed (mixed)`, (o, v) => { [o.payloadForm] = someOf(v, [...PAYLOAD_FORMS, 'mixed'], 1); }],
  ['remote', [], 'simulate a remote controller in every session', (o) => { o.remote = true; }],
  ['remote-commands', ['LIST'], 'what the remote sends, comma-separated; none for nothing (all)', (o, v) => { o.remoteCommands = listOf(v, REMOTE_COMMANDS); }],
  ['remote-every', ['MS'], 'time between two commands of the remote (500)', (o, v) => { o.remoteEveryMs = whole(v); }],
  ['transports', ['LIST'], 'SockJS transports that the bus offers, comma-separated (all)', (o, v) => { o.transports = listOf(v, TRANSPORTS); }],
  ['tenant-protocols', ['LIST'], `transports named to presenters; none leaves them out\n(${TENANT_PROTOCOLS}, as far as offered)`, (o, v) => { o.tenantProtocols = v === 'none' ? [] : v.split(','); }],
  ['collab-url', ['URL'], 'collaboration server named to presenters (this one)', (o, v) => { o.collabUrl = url(v); }],
  ['expire-sign-in-after', ['SECONDS'], 'a sign-in ends when unused for so long (1800)', (o, v) => { o.signInLifetimeMs = 1000 * seconds(v); }],
  ['oauth-single-use', [], 'accept each OAuth code only once', (o) => { o.oauthSingleUse = true; }],
  ['http-auth', ['NAME:TEXT'], 'ask for these HTTP credentials in front of the REST interface', (o, v) => { o.httpAuth = credentials(v); }],
  ['gzip', [], 'compress REST replies', (o) => { o.gzip = true; }],
  ['log', [], 'print every request and message, decompressed, on stderr', (o) => { o.log = true; }],
  ['record', ['FILE'], 'write every request and message to FILE, one JSON object a line', (o, v) => { o.record = v; }],
  ['help', [], 'show this and exit', (o) => { o.help = true; }],
];

export const HELP = `Usage: classroom [options]

A local classroom service: the REST interface under /vantora, the event bus on SockJS under
${BUS_PREFIX}, simulated learners and a simulated remote controller. For development and tests only.

When it is ready it prints one line, "classroom: listening on URL". SIGTERM and SIGINT end it.

${TABLE.map(helpLine).join('\n')}

Transports: ${TRANSPORTS.join(', ')}.
Remote commands: ${REMOTE_COMMANDS.join(', ')}.
`;

/** Reads the arguments after the program's name; throws a UsageError. */
export function parseOptions(args) {
  const options = defaults();
  const rest = [...args];
  while (rest.length > 0) {
    const argument = rest.shift();
    const [name, inlineValue] = splitArgument(argument);
    const row = TABLE.find(([known]) => name === `--${known}`);
    if (!row) {
      throw new UsageError(`unknown option ${argument}`);
    }
    const [, valueNames, , apply] = row;
    const values = inlineValue === undefined ? rest.splice(0, valueNames.length) : [inlineValue];
    if (values.length !== valueNames.length) {
      throw new UsageError(valueNames.length === 0 ? `${name} takes no value` : `${name} needs ${valueNames.join(' and ')}`);
    }
    applyRow(name, apply, options, values);
  }
  return completed(options);
}

function defaults() {
  return {
    host: '127.0.0.1',
    port: DEFAULT_PORT,
    tls: null,
    accounts: [],
    learners: 0,
    joinEveryMs: 100,
    thinkMs: 300,
    stayMs: 0,
    seed: 0,
    payloadForm: 'mixed',
    remote: false,
    remoteCommands: REMOTE_COMMANDS,
    remoteEveryMs: 500,
    transports: TRANSPORTS,
    tenantProtocols: null,
    collabUrl: null,
    signInLifetimeMs: 1_800_000,
    oauthSingleUse: false,
    httpAuth: null,
    gzip: false,
    log: false,
    record: null,
    help: false,
  };
}

function completed(options) {
  if (options.accounts.length === 0) {
    options.accounts.push({ ...DEFAULT_ACCOUNT });
  }
  options.tenantProtocols ??= TENANT_PROTOCOLS.filter((name) => options.transports.includes(name));
  const incomplete = options.accounts.find(({ password }) => password === null);
  if (incomplete) {
    throw new UsageError(`--user ${incomplete.user} needs a --password`);
  }
  return options;
}

function applyRow(name, apply, options, values) {
  try {
    apply(options, ...values);
  } catch (error) {
    throw new UsageError(`${name}: ${error.message}`);
  }
}

function splitArgument(argument) {
  const mark = argument.indexOf('=');
  return mark < 0 ? [argument] : [argument.slice(0, mark), argument.slice(mark + 1)];
}

function setPassword(options, value) {
  const account = options.accounts.at(-1);
  if (!account || account.password !== null) {
    throw new Error('there is no --user before it');
  }
  account.password = value;
}

function whole(text, max = Number.MAX_SAFE_INTEGER) {
  if (!/^\d+$/.test(text) || Number(text) > max) {
    throw new Error(`"${text}" is not a whole number${max < Number.MAX_SAFE_INTEGER ? ` up to ${max}` : ''}`);
  }
  return Number(text);
}

function seconds(text) {
  if (!/^\d+(\.\d+)?$/.test(text)) {
    throw new Error(`"${text}" is not a number of seconds`);
  }
  return Number(text);
}

function url(text) {
  if (!/^(https?|wss?):\/\/[^/]/.test(text)) {
    throw new Error(`"${text}" is not a URL`);
  }
  return text;
}

function credentials(text) {
  if (!text.includes(':')) {
    throw new Error(`"${text}" is not a name and a password with a colon between`);
  }
  return text;
}

function listOf(text, known) {
  return text === 'none' ? [] : someOf(text, known);
}

function someOf(text, known, atMost = Infinity) {
  const names = text.split(',');
  const unknown = names.find((name) => !known.includes(name));
  if (unknown !== undefined || names.length > atMost) {
    throw new Error(`"${unknown ?? text}" is not one of ${known.join(', ')}`);
  }
  return names;
}

function helpLine([name, valueNames, text]) {
  const usage = `  --${[name, ...valueNames].join(' ')}`;
  const lines = text.split('\n').join(`\n${' '.repeat(34)}`);
  return usage.length < 33 ? `${usage.padEnd(34)}${lines}` : `${usage}\n${' '.repeat(34)}${lines}`;
}
