'use strict';

// node fuzz/reached.js TARGET <EXPORT
//
// Prints a line of Markdown for each function that the target is meant for (functions.txt), from what
// `llvm-cov export` says of all: how many of its stretches of code and of the outcomes of its branches ran.

const { execFileSync } = require('child_process');
const { readFileSync } = require('fs');
const { join } = require('path');

// Where these stand in the lists that tell of a stretch of code and of a branch. What macros are made of,
// such as the question whether a line is to be written, bears the number of another file.
const REGION = { count: 4, file: 5, kind: 7 };
const BRANCH = { whenTrue: 4, whenFalse: 5, file: 6 };
const CODE = 0; // a kind; others are gaps and macros
const OWN_FILE = 0;

function meantFor(target) {
  const rows = readFileSync(join(__dirname, 'functions.txt'), 'utf8').split('\n').map((line) => line.split(/ +/));
  return rows.filter((row) => row[0] === target).map((row) => row[1]);
}

// As functions.txt writes them, with what stands behind the name.
function readableNames(functions) {
  const mangled = functions.map((each) => each.name.replace(/^[^:]*:/, ''));
  return execFileSync('c++filt', { input: mangled.join('\n'), encoding: 'utf8' })
    .split('\n')
    .map((name) => name.replace(/\(anonymous namespace\)::|Tarvo::/g, '').replace(/^(bool|void|int) /, ''));
}

function isOf(name, meant) {
  return name.startsWith(meant) && /^([(<]|$)/.test(name.slice(meant.length));
}

function share(counts) {
  return `${counts.filter((count) => count > 0).length} of ${counts.length}`;
}

const { functions } = JSON.parse(readFileSync(0, 'utf8')).data[0];
const names = readableNames(functions);
for (const meant of meantFor(process.argv[2])) {
  const found = functions.filter((each, index) => isOf(names[index], meant));
  const stretches = found.flatMap((each) => each.regions)
    .filter((region) => region[REGION.kind] === CODE && region[REGION.file] === OWN_FILE)
    .map((region) => region[REGION.count]);
  const outcomes = found.flatMap((each) => each.branches)
    .filter((branch) => branch[BRANCH.file] === OWN_FILE)
    .flatMap((branch) => [branch[BRANCH.whenTrue], branch[BRANCH.whenFalse]]);
  console.log(`| \`${process.argv[2]}\` | \`${meant}\` | ${share(stretches)} | ${share(outcomes)} |`);
}
