// Which tests look for a fault, and how they are run.

import { execFileSync, spawn } from 'node:child_process';
import { readFileSync, statSync, writeFileSync } from 'node:fs';
import { basename, join } from 'node:path';

// What is looked at for a fault in a folder: its own tests, and those of the folders above that use it.
const LOOKED_AT = {
  support: ['support', 'sockjs', 'client', 'collab', 'e2e'],
  compression: ['compression', 'collab', 'e2e'],
  model: ['model', 'collab'],
  sockjs: ['sockjs', 'collab', 'client', 'e2e'],
  client: ['client', 'e2e'],
  collab: ['collab', 'client', 'e2e'],
  host: ['host'],
};
// Of the whole lessons those that are short.
const LESSONS = ['e2e/tst_livepolls', 'e2e/tst_livesignin', 'e2e/tst_liveassessment', 'e2e/tst_livestreaming'];

// A fault can make a loop that takes all memory there is.
const BOUNDED = ['-c', 'ulimit -c 0; ulimit -d 5242880; exec "$@"', 'sh']; // KiB

export const FOLDERS = Object.keys(LOOKED_AT);

/** The tests for faults in these folders: each {name, folder, isSlow, limit, args, environment}. */
export function testsFor(build, folders) {
  const wanted = new Set(folders.flatMap((folder) => LOOKED_AT[folder]));
  const listed = execFileSync('ctest', ['--show-only=json-v1'], { cwd: build.folder, maxBuffer: 1 << 28 });
  return JSON.parse(listed).tests.map(({ name, command, properties }) => {
    const property = Object.fromEntries(properties.map((one) => [one.name, one.value]));
    const labels = property.LABELS ?? [];
    const isLesson = name.startsWith('e2e/');
    return {
      name,
      folder: name.split('/')[0],
      args: command,
      environment: Object.fromEntries((property.ENVIRONMENT ?? []).map((line) => line.split(/=(.*)/s))),
      limit: property.TIMEOUT ?? 300,
      isLesson,
      isSlow: labels.includes('slow'),
      isMeant: wanted.has(name.split('/')[0]) && !labels.includes('measures') && (!isLesson || LESSONS.includes(name)),
    };
  }).filter(({ isMeant }) => isMeant);
}

/** Those that look for a fault in this file, in the order in which they are asked: likely and fast ones first. */
export function asked(tests, file, times) {
  const [folder] = file.split('/');
  const rank = (test) => [test.isLesson, test.isSlow, test.folder !== folder].map(Number).join('');
  return tests.filter((test) => LOOKED_AT[folder].includes(test.folder))
    .sort((a, b) => rank(a).localeCompare(rank(b)) || times.get(a.name) - times.get(b.name));
}

/**
 * Runs a test with what is built for a fault, or without: {passed, what, seconds}, what being the function that
 * failed, or how the program ended. It ends when the signal is aborted, or at its limit, which counts as a failure.
 */
export async function runTest(test, build, made, place, { limit = test.limit, signal } = {}) {
  const started = Date.now();
  const child = spawn('/bin/sh', [...BOUNDED, ...replaced(test.args, build, made)], {
    cwd: place,
    detached: true,
    stdio: ['ignore', 'pipe', 'pipe'],
    env: { ...process.env, ...test.environment, ...(made ? { LD_LIBRARY_PATH: join(place, 'lib') } : {}) },
  });
  let heard = '';
  for (const stream of [child.stdout, child.stderr]) {
    stream.setEncoding('utf8').on('data', (text) => { heard = (heard + text).slice(-200000); });
  }
  let isLate = false;
  const end = () => { try { process.kill(-child.pid, 'SIGKILL'); } catch { /* it has ended */ } };
  const timer = setTimeout(() => { isLate = true; end(); }, limit * 1000);
  signal?.addEventListener('abort', end);
  const [code, killer] = await new Promise((resolve) => {
    child.on('error', (error) => resolve([error.code, null]));
    child.on('exit', (...how) => { setTimeout(() => resolve(how), 100); });
  });
  clearTimeout(timer);
  signal?.removeEventListener('abort', end);
  end(); // what it has started and left
  return { passed: code === 0, what: whatFailed(heard, isLate, code, killer), heard, seconds: (Date.now() - started) / 1000 };
}

// The command with what is built for the fault in the place of the healthy programs and libraries.
function replaced(command, build, made) {
  const others = [...made?.programs ?? [], ...made?.libraries ?? []];
  return command.map((word) => {
    const [output, path] = others.find(([name]) => word.endsWith(join(build.folder, name))) ?? [];
    return output ? word.slice(0, -join(build.folder, output).length) + path : word;
  });
}

function whatFailed(heard, isLate, code, killer) {
  const failed = /^FAIL!\s+: \w+::(\w+\(.*?\)) /m.exec(heard)?.[1] ?? /^XPASS\s*: \w+::(\w+)/m.exec(heard)?.[1];
  if (failed) return failed.replace('()', '');
  if (isLate) return 'did not end';
  return killer ? `ended by ${killer}` : `ended with ${code}`;
}

/**
 * How long every test takes without a fault: {times, unreliable}, in seconds by name, and the names of those that
 * fail, which are not asked. What is known of a program and a library that have not changed is read from the file.
 */
export async function baseline(tests, build, place, file, atOnce) {
  let known = {};
  try { known = JSON.parse(readFileSync(file, 'utf8')); } catch { /* the first time */ }
  const library = statSync(join(build.folder, 'libtarvoclient.so')).mtimeMs;
  const waiting = tests.map((test) => ({ test, stamp: `${library} ${stampOf(test)}` }))
    .filter(({ test, stamp }) => known[test.name]?.stamp !== stamp);
  const next = async () => {
    for (let one = waiting.shift(); one; one = waiting.shift()) {
      const { passed, what, seconds } = await runTest(one.test, build, null, place);
      if (!passed) console.error(`faults: without a fault, ${one.test.name} fails: ${what}`);
      known[one.test.name] = { stamp: passed ? one.stamp : '', seconds };
      writeFileSync(file, JSON.stringify(known, null, 1));
    }
  };
  await Promise.all(Array.from({ length: atOnce }, next));
  return {
    times: new Map(tests.map(({ name }) => [name, known[name].seconds])),
    unreliable: new Set(tests.map(({ name }) => name).filter((name) => known[name].stamp === '')),
  };
}

function stampOf({ args }) {
  const program = args.find((word) => basename(word).startsWith('tst_'));
  return program ? statSync(program).mtimeMs : 0;
}
