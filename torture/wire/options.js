// The options of run.js.

import { cpus } from 'node:os';
import { fileURLToPath } from 'node:url';

import { faultNamed, wayNamed, wayNames } from './faults.js';
import { KINDS } from './proxy.js';

export const HELP = `Usage: scripts/torture wire [options...]

Holds the same lesson again and again; each time, one connection breaks at another byte.

  --transport LIST   ws, polling, robust-ws, robust-streaming, robust-polling (ws,polling)
  --fault LIST       cut, reset, stall (all)
  --tls              over TLS
  --sample N         the first so many of the faults (all); they come in an order that is
                     even however early it ends
  --only NAME        this fault alone, such as ws:cut:2:up:117; prints what the lesson says
  --at-once N        lessons at a time (8 a processor)
  --patience MS      what a lesson gives each of its steps (8000)
  --seconds N        begin no further lesson after this time (no limit)
  --lesson FILE      the program (build/torture/torture/wire/lesson)
`;

const LESSON = fileURLToPath(new URL('../../build/torture/torture/wire/lesson', import.meta.url));

const number = (text) => (/^[1-9]\d*$/.test(text) ? Number(text) : undefined);
const listOf = (isOne) => (text) => (text.split(',').every(isOne) ? text.split(',') : undefined);

// Each with the function that reads its value: undefined for one that it does not take.
const READERS = {
  'transport': listOf((name) => wayNamed(name)?.isTls === false),
  'fault': listOf((name) => KINDS.includes(name)),
  'sample': number,
  'only': (text) => faultNamed(text) ?? undefined,
  'at-once': number,
  'patience': number,
  'seconds': number,
  'lesson': (text) => text,
};

/** {ways, fault, sample, only, 'at-once', patience, seconds, lesson, help}; throws what is wrong. */
export function parseOptions(args) {
  const options = {
    'transport': ['ws', 'polling'],
    'fault': KINDS,
    'sample': Infinity,
    'at-once': 8 * cpus().length,
    'patience': 8000,
    'seconds': Infinity,
    'lesson': LESSON,
  };
  for (const rest = [...args]; rest.length > 0;) {
    const name = rest.shift().replace(/^--/, '');
    if (name === 'help' || name === 'tls') {
      options[name] = true;
      continue;
    }
    options[name] = READERS[name]?.(rest.shift() ?? '');
    if (options[name] === undefined) {
      throw new Error(`--${name} is no option, or its value is none that it takes; try --help.`);
    }
  }
  return { ...options, ways: wayNames(options.transport, options.tls) };
}
