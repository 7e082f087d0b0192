// The options of run.js.

import { fileURLToPath } from 'node:url';

import { FOLDERS } from './tests.js';

export const HELP = `Usage: scripts/torture faults [options...]

Puts faults into the library's code, one at a time and blindly chosen, and looks whether a test fails.

  --seed N         another number chooses other faults (1)
  --count N        so many (40)
  --folders LIST   where they go (support,compression,model,sockjs,client,collab; host can be named, too)
  --list           only show them
  --only LIST      only those with these numbers, such as 3,17; the others keep their results
  --missed         only those that no test found the last time
  --at-once N      faults at a time (2)
  --tests N        tests at a time for each fault (4)
  --build FOLDER   a configured build of the tests, source by source (build/separate)

Faults that no test can see stand in torture/faults/unseen.json, each with the reason.
`;

const number = (text) => (/^[1-9]\d*$/.test(text) ? Number(text) : undefined);
const listOf = (read) => (text) => {
  const list = text.split(',').map(read);
  return list.includes(undefined) ? undefined : list;
};

// Each with the function that reads its value: undefined for one that it does not take.
const READERS = {
  'seed': number,
  'count': number,
  'folders': listOf((name) => (FOLDERS.includes(name) ? name : undefined)),
  'only': listOf(number),
  'at-once': number,
  'tests': number,
  'build': (text) => text || undefined,
};

/** {seed, count, folders, only, missed, list, 'at-once', tests, build, help}; throws what is wrong. */
export function parseOptions(args) {
  const options = {
    'seed': 1,
    'count': 40,
    'folders': FOLDERS.filter((folder) => folder !== 'host'),
    'at-once': 2,
    'tests': 4,
    'build': fileURLToPath(new URL('../../build/separate', import.meta.url)),
  };
  for (const rest = [...args]; rest.length > 0;) {
    const name = rest.shift().replace(/^--/, '');
    const isFlag = ['help', 'list', 'missed'].includes(name);
    options[name] = isFlag || READERS[name]?.(rest.shift() ?? '');
    if (options[name] === undefined) {
      throw new Error(`--${name} is no option, or its value is none that it takes; try --help.`);
    }
  }
  return options;
}
