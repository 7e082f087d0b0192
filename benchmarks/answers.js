#!/usr/bin/env node
// The far end of bench_answer: the SockJS server of the classroom service with the settings that it
// comes with, and learners who answer at random moments.
//
//   answers.js
//
// Prints its address and ends with its standard input. A publication to the address
// "answers.N.LEAST.MOST" makes N answers follow, each LEAST to MOST milliseconds after the one before.
// An answer's sender is the reading of the system's monotonic clock, in nanoseconds, right before it is
// handed to the SockJS server. A web socket below the prefix itself gets back what it sends, and /bare
// answers with a line.
'use strict';

const http = require('http');
const path = require('path');

const classroom = path.join(__dirname, '..', 'classroom');
const load = (name) => require(require.resolve(name, { paths: [classroom] }));
const lzma = load('lzma');
const sockjs = load('sockjs');

const PREFIX = '/eventbus';
const BARE_PATH = '/bare';
const BARE_ANSWER = 'bare\n';
const ORDER = /"address":"answers\.(\d+)\.(\d+)\.(\d+)"/;
const FASTEST = 1;

// Packed once: what a device does before it publishes is not the connection's.
const BLOCK = Buffer.from(lzma.compress(JSON.stringify({
  pollId: '0c0b5b2e-8f0a-4d3c-9f5e-1a2b3c4d5e6f',
  responseTime: 1000,
  pick: { blob: ['2'] },
}), FASTEST)).toString('base64');

let version; // that devices speak, once it is loaded

function answer() {
  const from = String(process.hrtime.bigint());
  return JSON.stringify({
    type: 'message',
    address: '5f0b8f6e-session-token.presenter',
    body: { from, type: 'pollResponse', version, data: [BLOCK] },
  });
}

// Goes on until all are out or the connection has ended.
function publish(connection, answers, least, most) {
  const pause = least + Math.random() * (most - least);
  setTimeout(() => {
    if (connection.write(answer()) && answers > 1) {
      publish(connection, answers - 1, least, most);
    }
  }, pause);
}

const bus = sockjs.createServer({ log: () => {} });
bus.on('connection', (connection) => {
  if (connection.protocol === 'websocket-raw') {
    connection.on('data', (text) => connection.write(text));
    return;
  }
  connection.on('data', (text) => {
    const order = ORDER.exec(text);
    if (order) {
      publish(connection, ...order.slice(1).map(Number));
    }
  });
});

const server = http.createServer((request, response) => {
  response.statusCode = request.url === BARE_PATH ? 200 : 404;
  response.end(BARE_ANSWER);
});
bus.installHandlers(server, { prefix: PREFIX });
import(path.join(classroom, 'src', 'protocol.js')).then((protocol) => {
  version = protocol.PROTOCOL_VERSION;
  server.listen(0, '127.0.0.1', () => {
    console.log(`answers: listening on http://127.0.0.1:${server.address().port}`);
  });
});
process.stdin.once('end', () => process.exit(0)).resume();
