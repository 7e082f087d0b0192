// The command line: what it accepts, what it refuses, and how the program ends then.

import assert from 'node:assert/strict';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';

import { exposureOf } from '../src/exposure.js';
import { LIMITS } from '../src/limits.js';
import { HELP, parseOptions } from '../src/options.js';
import { run, startService } from './support/service.js';

test('without arguments there is the documented account, no learner, every transport', () => {
  const options = parseOptions([]);
  assert.equal(options.host, '127.0.0.1');
  assert.equal(options.port, 8089);
  assert.deepEqual(options.accounts, [{ user: 'teacher', password: 'secret' }]);
  assert.equal(options.learners, 0);
  assert.deepEqual(options.transports, ['websocket', 'xhr-streaming', 'xhr-polling', 'eventsource']);
  assert.deepEqual(options.tenantProtocols, ['websocket', 'xhr-polling']);
  assert.equal(options.signInLifetimeMs, 1_800_000);
  assert.equal(options.stock, false);
  assert.equal(options.pingTimeoutMs, 0);
  assert.equal(options.serve, false);
  assert.equal(options.controlPort, null);
  assert.equal(options.limits.proofMs, 10_000);
});

test('values stand behind an option or after its equals sign', () => {
  const options = parseOptions(['--port=0', '--learners', '5', '--think=20', '--learner-stay', '1.5', '--expire-sign-in-after=2',
    '--ping-timeout', '10', '--stock']);
  assert.equal(options.port, 0);
  assert.equal(options.learners, 5);
  assert.equal(options.thinkMs, 20);
  assert.equal(options.stayMs, 1500);
  assert.equal(options.signInLifetimeMs, 2000);
  assert.equal(options.pingTimeoutMs, 10_000);
  assert.equal(options.stock, true);
});

test('presenters are told only of transports that are offered', () => {
  assert.deepEqual(parseOptions(['--transports', 'xhr-polling,xhr-streaming']).tenantProtocols, ['xhr-polling']);
  assert.deepEqual(parseOptions(['--transports', 'eventsource']).tenantProtocols, []);
  assert.deepEqual(parseOptions(['--transports', 'none', '--tenant-protocols', 'websocket']).tenantProtocols, ['websocket']);
});

test('each --user takes the --password behind it', () => {
  const { accounts } = parseOptions(['--user', 'a', '--password', 'p=1', '--user=b', '--password=x%1"']);
  assert.deepEqual(accounts, [{ user: 'a', password: 'p=1' }, { user: 'b', password: 'x%1"' }]);
});

test('a password alone is that of the teacher, whichever way the service runs', () => {
  for (const way of [[], ['--serve']]) {
    assert.deepEqual(parseOptions([...way, '--password', 'p']).accounts, [{ user: 'teacher', password: 'p' }]);
  }
});

test('who serves without a password gets one that nobody guesses', () => {
  const { accounts, madeUp } = parseOptions(['--serve']);
  assert.deepEqual(accounts.map(({ user }) => user), ['teacher']);
  assert.match(accounts[0].password, /^([a-hjkmnp-z2-9]{4}-){3}[a-hjkmnp-z2-9]{4}$/);
  assert.deepEqual(madeUp, accounts);
  assert.notEqual(parseOptions(['--serve']).accounts[0].password, accounts[0].password);
  const named = parseOptions(['--serve', '--user', 'a', '--user', 'b', '--password', 'p']);
  assert.deepEqual(named.accounts[1], { user: 'b', password: 'p' });
  assert.deepEqual(named.madeUp, [named.accounts[0]]);
  assert.equal(named.madeUp[0].user, 'a');
});

for (const [host, serves] of [
  ['127.0.0.1', false], ['127.3.2.1', false], ['localhost', false], ['LOCALHOST', false], ['::1', false],
  ['0.0.0.0', true], ['::', true], ['192.168.1.20', true], ['fe80::1', true], ['127.0.0.1.example.org', true], ['class.local', true],
]) {
  test(`--host ${host} ${serves ? 'is served to a class' : 'stays local'}`, () => {
    assert.equal(parseOptions(['--host', host]).serve, serves);
    assert.equal(parseOptions(['--host', host, '--serve']).serve, true);
  });
}

test('bounds are changed by their names, and the others stay', () => {
  const { limits } = parseOptions(['--limit', 'proofMs=500', '--limit=messagesPerSecond=7']);
  assert.equal(limits.proofMs, 500);
  assert.equal(limits.messagesPerSecond, 7);
  assert.equal(limits.headerMs, 10_000);
});

for (const [args, exposure] of [
  [[], { name: 'local', oauth: true, control: { where: 'same port', token: null }, journal: 'whole' }],
  [['--serve'], { name: 'serve', oauth: false, control: { where: 'off', token: null }, journal: 'off' }],
  [['--serve', '--log'], { name: 'serve', oauth: false, control: { where: 'off', token: null }, journal: 'outline' }],
  [['--serve', '--record', 'f'], { name: 'serve', oauth: false, control: { where: 'off', token: null }, journal: 'outline' }],
]) {
  test(`what is open with ${args.join(' ') || 'no options'}`, () => {
    assert.deepEqual(exposureOf(parseOptions(args)), exposure);
  });
}

test('a control port of its own has a token that nobody guesses', () => {
  const options = parseOptions(['--serve', '--control-port', '0']);
  const { control, journal } = exposureOf(options);
  assert.equal(journal, 'outline');
  assert.equal(control.where, 'own port');
  assert.match(control.token, /^[0-9a-f]{48}$/);
  assert.notEqual(exposureOf(options).control.token, control.token);
});

test('lists are read by their commas, and none is an empty list', () => {
  const options = parseOptions(['--transports', 'xhr-polling', '--remote-commands', 'none', '--tenant-protocols', 'a,b']);
  assert.deepEqual(options.transports, ['xhr-polling']);
  assert.deepEqual(options.remoteCommands, []);
  assert.deepEqual(options.tenantProtocols, ['a', 'b']);
  assert.deepEqual(parseOptions(['--tenant-protocols', 'none']).tenantProtocols, []);
});

for (const [args, message] of [
  [['--nonsense'], 'unknown option --nonsense'],
  [['here'], 'unknown option here'],
  [['--port'], '--port needs PORT'],
  [['--port', 'x'], '--port: "x" is not a whole number'],
  [['--port', '65536'], '--port: 65536 is more than 65535'],
  [['--port', '-1'], '--port: "-1" is not a whole number'],
  [['--learners', '1.5'], '--learners: "1.5" is not a whole number'],
  [['--learner-stay', 'long'], '--learner-stay: "long" is not a number of seconds'],
  [['--learner-stay', '1073741.825'], '--learner-stay: that is more than twelve days'],
  [['--ping-timeout', 'never'], '--ping-timeout: "never" is not a number of seconds'],
  [['--stock=yes'], '--stock takes no value'],
  [['--think', '1073741825'], '--think: that is more than twelve days'],
  [['--log=yes'], '--log takes no value'],
  [['--tls', 'cert.pem'], '--tls needs CERT and KEY'],
  [['--tls', '/nowhere/cert.pem', '/nowhere/key.pem'], "--tls: ENOENT: no such file or directory, open '/nowhere/cert.pem'"],
  [['--host', ''], '--host: that would be every address; name one'],
  [['--host='], '--host: that would be every address; name one'],
  [['--control-port', '0'], '--control-port needs --serve'],
  [['--serve', '--control-port', '65536'], '--control-port: 65536 is more than 65535'],
  [['--limit', 'patience=1'], '--limit: "patience" is no bound; --help names them'],
  [['--limit', 'toString=1'], '--limit: "toString" is no bound; --help names them'],
  [['--limit', 'proofMs'], '--limit: "" is not a whole number'],
  [['--limit', 'proofMs=1.5'], '--limit: "1.5" is not a whole number'],
  [['--limit', 'proofMs=-1'], '--limit: "-1" is not a whole number'],
  [['--limit', 'proofMs=1073741825'], '--limit: that is more than twelve days'],
  [['--password', 'x', '--password', 'y'], '--password: there is no --user before it'],
  [['--user', 'a', '--password', ''], '--password: it is empty'],
  [['--user', 'a', '--password', 'x', '--password', 'y'], '--password: there is no --user before it'],
  [['--user', 'a'], '--user a needs a --password'],
  [['--transports', 'carrier-pigeon'], '--transports: "carrier-pigeon" is not one of websocket, xhr-streaming, xhr-polling, eventsource'],
  [['--payload-form', 'base64,string'], '--payload-form: "base64,string" is not one of base64, integers, string, mixed'],
  [['--remote-commands', 'dance'], '--remote-commands: "dance" is not one of requestLessonInfo, requestLesson, presenterActive, pause, resume, lockAll, unlockAll, nextCard, previousCard, pushCurrentCard, addImageCard, stopSession'],
  [['--collab-url', 'here'], '--collab-url: "here" is not a URL'],
  [['--http-auth', 'name'], '--http-auth: "name" is not a name and a password with a colon between'],
]) {
  test(`${args.join(' ')} is refused`, () => {
    assert.throws(() => parseOptions(args), { message });
  });
}

test('a bad option ends the program with 2, the reason and a hint', async () => {
  assert.deepEqual(await run('--port', 'x'), {
    code: 2,
    stdout: '',
    stderr: 'classroom: --port: "x" is not a whole number\nTry --help.\n',
  });
});

test('--help shows every option and ends with 0', async () => {
  assert.deepEqual(await run('--help', '--port', '1'), { code: 0, stdout: HELP, stderr: '' });
  assert.match(HELP, /^Usage: classroom \[options\]\n/);
  for (const name of ['host', 'port', 'tls', 'serve', 'control-port', 'limit', 'user', 'password', 'learners', 'join-every', 'think', 'learner-stay', 'seed',
    'payload-form', 'remote', 'remote-commands', 'remote-every', 'transports', 'tenant-protocols', 'stock', 'ping-timeout', 'collab-url',
    'expire-sign-in-after', 'oauth-single-use', 'http-auth', 'gzip', 'log', 'record', 'end-with-stdin', 'help']) {
    assert.match(HELP, new RegExp(`^  --${name}( |$)`, 'm'));
  }
  const bounds = HELP.slice(HELP.indexOf('\nBounds: ') + 9).replace(/\s+/g, ' ');
  assert.equal(bounds, `${Object.keys(LIMITS).join(', ')}. `);
});

test('the manual has every option', () => {
  const manual = readFileSync(new URL('../../docs/classroom.md', import.meta.url), 'utf8');
  for (const [, usage] of HELP.matchAll(/^  (--.+?)(?:  |$)/gm)) {
    assert.ok(manual.includes(`\`${usage}\``), usage);
  }
});

test('the manual has every bound, with its value', () => {
  const manual = readFileSync(new URL('../../docs/classroom.md', import.meta.url), 'utf8');
  const [, section] = /^## Bounds\n([^]*?)^## /m.exec(manual);
  const units = { KiB: 2 ** 10, MiB: 2 ** 20, s: 1_000, min: 60_000, days: 86_400_000 };
  const told = [...section.matchAll(/^\| `(\w+)` \| ([\d,]+)(?: (\w+))? \|/gm)]
    .map(([, name, number, unit]) => [name, Number(number.replaceAll(',', '')) * (units[unit] ?? 1)]);
  assert.deepEqual(Object.fromEntries(told), LIMITS);
});

test('a port that is taken ends the program with 1 and the reason', async (t) => {
  const { url } = await startService(t);
  const { code, stdout, stderr } = await run('--port', new URL(url).port);
  assert.equal(code, 1);
  assert.equal(stdout, '');
  assert.match(stderr, /^classroom: listen EADDRINUSE/);
});

test('a record file that cannot be written ends the program with 1 and the reason', async (t) => {
  const folder = mkdtempSync(join(tmpdir(), 'classroom-'));
  t.after(() => rmSync(folder, { recursive: true }));
  const { code, stderr } = await run('--port', '0', '--record', join(folder, 'no', 'record'));
  assert.equal(code, 1);
  assert.match(stderr, /^classroom: ENOENT: no such file or directory, open /);
});
