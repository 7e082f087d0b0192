// One lesson through a line with one fault, in a process of its own.

import { spawn } from 'node:child_process';
import { once } from 'node:events';

import { FaultProxy } from './proxy.js';

/** What lesson.cpp's exit codes mean, in the order of the lesson. */
export const OUTCOMES = new Map([
  [0, 'finished'],
  [10, 'service not found'],
  [11, 'sign-in refused'],
  [12, 'session not created'],
  [13, 'session not started'],
  [14, 'channel not opened'],
  [15, 'channel lost'],
  [16, 'nobody joined'],
  [17, 'poll unanswered'],
  [18, 'stop unconfirmed'],
]);

const KEPT_CHARS = 200_000;
const SANITIZER = /Sanitizer|runtime error:/;
const SETTINGS = {
  ASAN_OPTIONS: 'detect_leaks=1:exitcode=99',
  LSAN_OPTIONS: 'exitcode=99',
  UBSAN_OPTIONS: 'print_stacktrace=1',
  QT_MESSAGE_PATTERN: '%{type} %{message}',
  http_proxy: '',
  https_proxy: '',
  no_proxy: '',
};

/**
 * program: lesson's path; service: {url, cert}; limitMs: a lesson that takes longer hangs and is killed.
 *
 * Resolves with {fault, outcome, ms, descriptors, threads, isReported, isReached, lengths, heard, log}. The
 * outcome is one of OUTCOMES, "crashed" or "hung"; isReported is whether a sanitizer has said something.
 */
export async function holdLesson({ program, way, fault = null, service, patienceMs, limitMs }) {
  const proxy = await FaultProxy.start(service.url, fault);
  const begun = Date.now();
  const args = [proxy.url, '--transport', way.transport, '--patience', String(patienceMs)];
  args.push(...way.isRobust ? ['--robust'] : [], ...way.isTls ? ['--ca', service.cert] : []);
  const child = spawn(program, args, { env: { ...process.env, ...SETTINGS }, stdio: ['ignore', 'pipe', 'pipe'] });
  const ended = await endOf(child, limitMs);
  proxy.stop();
  return {
    fault,
    ...ended,
    ms: Date.now() - begun,
    isReached: proxy.hasFired,
    lengths: proxy.lengths,
  };
}

async function endOf(child, limitMs) {
  let [output, log, hasHung] = ['', '', false];
  child.stdout.setEncoding('utf8').on('data', (text) => { output += text; });
  child.stderr.setEncoding('utf8').on('data', (text) => { log = (log + text).slice(-KEPT_CHARS); });
  const patience = setTimeout(() => {
    hasHung = true;
    child.kill('SIGKILL');
  }, limitMs);
  const [code] = await once(child, 'close');
  clearTimeout(patience);
  const [, descriptors, threads] = /^left: (-?\d+) descriptors, (-?\d+) threads$/m.exec(output) ?? [];
  const told = threads === undefined ? undefined : OUTCOMES.get(code);
  return {
    outcome: hasHung ? 'hung' : told ?? 'crashed',
    descriptors: Number(descriptors ?? 0),
    threads: Number(threads ?? 0),
    isReported: SANITIZER.test(log),
    heard: /^heard: (.*)$/m.exec(output)?.[1] ?? '',
    log: `${output}${log}`,
  };
}
