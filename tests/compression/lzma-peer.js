#!/usr/bin/env node
// A learner's device as far as blocks go: reads {"pack": [text...], "unpack": [base64...]} from
// standard input and writes {"blocks": [base64...], "texts": [text...]}, with the JavaScript package
// `lzma` that the classroom service uses.
'use strict';

const fs = require('fs');
const path = require('path');

const classroom = path.join(__dirname, '..', '..', 'classroom');
const lzma = require(require.resolve('lzma', { paths: [classroom] }));

const FASTEST = 1;
const BEST = 9;

// For letters outside the basic plane the package's own conversion is not UTF-8; as bytes they pass.
const bytesOf = (text) => [...Buffer.from(text, 'utf8')];
const textOf = (unpacked) =>
  typeof unpacked === 'string' ? unpacked : Buffer.from(unpacked).toString('utf8');
const toBase64 = (signedBytes) => Buffer.from(signedBytes).toString('base64');

const request = JSON.parse(fs.readFileSync(0, 'utf8'));
const answer = {
  blocks: request.pack.map((text, i) =>
    toBase64(lzma.compress(bytesOf(text), i % 2 ? BEST : FASTEST))),
  texts: request.unpack.map((block) =>
    textOf(lzma.decompress([...Buffer.from(block, 'base64')]))),
};
process.stdout.write(JSON.stringify(answer));
