// Hostile devices by the thousand: whatever they send to the bus, the service stays, serves an honest
// device all the while, and does not grow.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';

import { frame, HANDSHAKE, rawSocket } from './support/gate.js';
import { Presenter, RestClient, startService, until } from './support/service.js';

const TRIES = 2_000;
const AT_ONCE = 20;
const SEED = 20_240_611;
const GROWTH_BYTES = 300 * 1024 * 1024;

// A generator of its own, so that what was found once is found again.
function generator(seed) {
  let state = seed;
  const below = (bound) => {
    state = (Math.imul(state, 1_664_525) + 1_013_904_223) >>> 0;
    return Math.floor(state / 2 ** 32 * bound);
  };
  const oneOf = (list) => list[below(list.length)];
  const bytes = (count) => Buffer.from(Array.from({ length: count }, () => below(256)));
  const word = (count) => bytes(count).toString('base64').replace(/[+/=]/g, '-');
  return { below, oneOf, bytes, word };
}

const WORDS = ['info', '119', 'abcdefgh', 'websocket', 'xhr', 'xhr_send', 'xhr_streaming', 'eventsource', 'jsonp', 'htmlfile',
  'iframe.html', 'chunking_test', '__proto__', 'constructor', 'hasOwnProperty', '..', '%2e', '%', '', '\\', '?', '#', '[', 'a.b', '//'];
const METHODS = ['GET', 'POST', 'PUT', 'OPTIONS', 'HEAD', 'DELETE', 'PATCH', 'TRACE', 'PROPFIND'];
const TEXTS = ['', '[]', '{}', 'null', '[null]', '[1,2]', '["x"]', '["{}"]', '["{\\"type\\":\\"ping\\"}"]', '["{\\"type\\":\\"register\\"}"]',
  '["{\\"type\\":\\"register\\",\\"address\\":\\"x.presenter.y\\"}"]', '["{\\"type\\":\\"publish\\",\\"address\\":\\"__proto__\\",\\"body\\":{}}"]',
  '[['.repeat(5_000), `["${'x'.repeat(70_000)}"]`, '"', '["\\ud800"]', `[${Array(1_500).fill('""').join()}]`];
const HEADERS = ['Connection: close', 'Upgrade: websocket', 'Connection: Upgrade', 'Connection: keep-alive, Upgrade', 'Upgrade: h2c',
  'Sec-WebSocket-Version: 13', 'Sec-WebSocket-Version: 8', 'Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==', 'Sec-WebSocket-Key1: 1 2',
  'Sec-WebSocket-Extensions: permessage-deflate; "', 'Cookie: JSESSIONID=\x80\xff', 'Cookie: __proto__=1', 'Origin: null',
  'Origin: http://[', 'Content-Type: text/html', 'Content-Type: ;', 'Access-Control-Request-Headers: a,b', 'Transfer-Encoding: chunked',
  'Expect: 100-continue', 'Content-Length: 5', 'Content-Length: 99999999', 'Host: [::'];

const TRICKS = {
  request: ({ below, oneOf, bytes }) => {
    const path = Array.from({ length: below(6) }, () => oneOf(WORDS)).join('/');
    const headers = Array.from({ length: below(6) }, () => oneOf(HEADERS)).join('\r\n');
    return [`${oneOf(METHODS)} /eventbus${oneOf(['/', '?', ''])}${path} HTTP/1.1\r\nHost: x\r\n${headers}${headers && '\r\n'}\r\n`,
      oneOf([oneOf(TEXTS), bytes(below(200))])];
  },
  post: ({ oneOf, word }) => {
    const session = word(9);
    const text = oneOf(TEXTS);
    const post = (path, body) => `POST /eventbus/1/${session}/${path} HTTP/1.1\r\nHost: x\r\nContent-Length: ${body.length}\r\n\r\n${body}`;
    return [post(oneOf(['xhr', 'xhr_streaming']), ''), post('xhr_send', text), post('xhr_send', text), post('xhr', ''), post('xhr', '')];
  },
  frames: ({ below, oneOf, bytes, word }) => [
    `GET /eventbus/1/${word(9)}/websocket HTTP/1.1\r\nHost: x\r\n${HANDSHAKE}\r\n`,
    ...Array.from({ length: below(30) }, () => oneOf([
      () => frame(below(16), oneOf(TEXTS), { final: below(3) > 0 }),
      () => frame(oneOf([0, 1, 2]), '', { final: false }),
      () => frame(oneOf([8, 9, 10]), oneOf(['', 'hasOwnProperty', '__defineGetter__', bytes(below(126))])),
      () => frame(1, 'x', { length: 2 ** below(60) }),
      () => bytes(below(100)),
    ])()),
  ],
  pings: ({ below, word }) => [`GET /eventbus/1/${word(9)}/websocket HTTP/1.1\r\nHost: x\r\n${HANDSHAKE}\r\n`,
    Buffer.concat(Array(below(2_000)).fill(frame(9, 'p'.repeat(125))))],
};

// One device: says its lines, some of them cut in two, waits a moment and goes, some without a goodbye.
async function play(url, random, delays) {
  const raw = await rawSocket(null, url);
  for (const line of random.oneOf(Object.values(TRICKS))(random)) {
    const bytes = Buffer.from(line, 'latin1');
    const cut = random.below(bytes.length + 1);
    raw.write(bytes.subarray(0, cut));
    if (random.below(4) === 0) {
      await new Promise(setImmediate);
    }
    raw.write(bytes.subarray(cut));
  }
  await Promise.race([raw.closed().catch(() => {}), new Promise((resolve) => { setTimeout(resolve, delays); })]);
  return random.below(2) === 0 ? raw.socket.resetAndDestroy() : raw.socket.destroy();
}

function memoryOf({ pid }) {
  return 1024 * Number(/VmRSS:\s+(\d+) kB/.exec(readFileSync(`/proc/${pid}/status`, 'utf8'))[1]);
}

test('the service outlives whatever devices send, and serves an honest one all the while', { timeout: 60_000 }, async (t) => {
  const service = await startService(t, '--learners', '1', '--join-every', '0');
  const rest = new RestClient(service.url);
  await rest.signIn();
  const presenter = await Presenter.open(service.url, await rest.startSession());
  await presenter.received('join');
  const before = memoryOf(service.child);
  let left = TRIES;
  await Promise.all(Array.from({ length: AT_ONCE }, async (_, i) => {
    const random = generator(SEED + i);
    while (left-- > 0) {
      await play(service.url, random, 50);
    }
  }));
  assert.equal(service.child.exitCode, null, service.output.stderr);
  presenter.publish('', 'questionStart', '{"id":"Q1","type":"text"}');
  await presenter.received('questionResponse');
  await until(async () => (await fetch(`${service.url}/eventbus/info`)).status === 200);
  assert.equal(service.output.stderr, '');
  const grown = memoryOf(service.child) - before;
  assert.ok(grown < GROWTH_BYTES, `${grown} bytes`);
});
