// Where faults can go: the lines of code inside function bodies, as clang-format leaves them.

import { createHash } from 'node:crypto';
import { readFileSync, readdirSync } from 'node:fs';
import { join } from 'node:path';

import { mutationsOf } from './operators.js';

const NO_BODY = /^\s*(class|struct|union|enum|namespace)\b/;
const TOKENS = /\/\/[^\n]*|\/\*[^]*?\*\/|R"([^(\s]*)\([^]*?\)\1"|"(?:\\.|[^"\\\n])*"|(?<!\w)'(?:\\.|[^'\\\n])+'/g;

/**
 * The lines of a text: each {raw, code, texts}. In code, comments are blanks and what stands in quotes is
 * hidden; texts tells from where to where it stands.
 */
export function linesOf(text) {
  const texts = [];
  const code = text.replace(TOKENS, (token, delimiter, at) => {
    if (token.startsWith('/')) return token.replace(/[^\n]/g, ' ');
    const opening = token.startsWith('R') ? 3 + delimiter.length : 1;
    const closing = token.startsWith('R') ? 2 + delimiter.length : 1;
    if (!token.startsWith("'")) texts.push([at + opening, at + token.length - closing]);
    return token.slice(0, opening) + token.slice(opening, token.length - closing).replace(/[^\n]/g, '#')
      + token.slice(token.length - closing);
  }).split('\n');
  let start = 0;
  return text.split('\n').map((raw, i) => {
    const from = start;
    start += raw.length + 1;
    const own = texts.filter(([begin, end]) => begin >= from && end < start);
    return { raw, code: code[i].trimEnd(), texts: own.map(([begin, end]) => [begin - from, end - from]) };
  });
}

/** Of these lines, those inside function bodies: each {number, line, before, depth}, before the code above it. */
export function bodyLines(lines) {
  const found = [];
  let indent = -1; // of the body that the line is in
  let before = '';
  lines.forEach((line, i) => {
    const { code } = line;
    if (code === '') return;
    const here = code.search(/\S/);
    if (indent >= 0 && here === indent && code.trim().startsWith('}')) indent = -1;
    else if (indent >= 0) found.push({ number: i + 1, line, before, depth: (here - indent) / 4 });
    else if (code.trim() === '{' && !NO_BODY.test(before)) indent = here;
    before = code;
  });
  return found;
}

/** All places in the folders, in the order that the seed gives: each {file, number, before, after, operator}. */
export function drawnPlaces(root, folders, seed) {
  const places = folders.flatMap((folder) => readdirSync(join(root, folder))
    .filter((name) => name.endsWith('.cpp'))
    .flatMap((name) => placesIn(root, `${folder}/${name}`, seed)));
  return places.sort((a, b) => (a.rank < b.rank ? -1 : 1));
}

// A line's rank depends on nothing but the seed and the line, so that changes elsewhere leave the choice alone.
function placesIn(root, file, seed) {
  const seen = new Map();
  return bodyLines(linesOf(readFileSync(join(root, file), 'utf8'))).flatMap(({ number, line, before, depth }) => {
    const nth = (seen.get(line.raw) ?? 0) + 1;
    seen.set(line.raw, nth);
    const mutations = mutationsOf(line, before, depth);
    const lot = createHash('sha256').update([seed, file, line.raw, nth].join('\n')).digest();
    return mutations.length === 0 ? []
      : [{ file, number, before: line.raw, ...chosen(mutations, lot), rank: lot.toString('hex', 8) }];
  });
}

// First a kind of fault, then one of that kind.
function chosen(mutations, lot) {
  const operators = [...new Set(mutations.map(({ operator }) => operator))];
  const operator = operators[lot.readUInt32LE(0) % operators.length];
  const alike = mutations.filter((mutation) => mutation.operator === operator);
  return alike[lot.readUInt32LE(4) % alike.length];
}
