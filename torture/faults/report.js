// What has become of the faults, as a table in Markdown.

import { readFileSync } from 'node:fs';

const UNSEEN = new URL('unseen.json', import.meta.url);

/** Why no test can see this fault, or undefined. */
function reasonOf({ file, before, after }) {
  const all = JSON.parse(readFileSync(UNSEEN, 'utf8'));
  return all.find((one) => one.file === file && one.before === before.trim() && one.after === after.trim())?.why;
}

/** {found, visible, waiting}: of those that can be seen at all how many were found, and how many wait. */
export function scoreOf(faults) {
  const done = faults.filter(({ result }) => result);
  const found = done.filter(({ result }) => result.by).length;
  const unseen = done.filter((fault) => !fault.result.by && reasonOf(fault)).length;
  return { found, visible: done.length - unseen, unseen, waiting: faults.length - done.length };
}

/** The score in a sentence. */
export function sentence(faults, { seed, broken, same }) {
  const { found, visible, unseen, waiting } = scoreOf(faults);
  return `Seed ${seed}: ${found} of ${visible} faults found${unseen ? `, ${unseen} more that nobody can see` : ''}`
    + `${waiting ? `, ${waiting} not tried` : ''}; ${broken} others did not compile, ${same} changed no code.`;
}

export function report(faults, drawn) {
  const missed = faults.filter(({ result }) => result && !result.by);
  const doubted = faults.filter(({ result }) => result?.doubted.length > 0);
  return [
    sentence(faults, drawn), '',
    '| | File | Before | After | Found by |', '|---|---|---|---|---|',
    ...faults.map((fault, i) => row(i + 1, fault.file, code(fault.before), code(fault.after), finder(fault))), '',
    ...missed.length > 0 ? ['| Not found | Why |', '|---|---|'] : [],
    ...missed.map((fault) => row(faults.indexOf(fault) + 1, reasonOf(fault) ?? 'a gap?')), '',
    ...doubted.map((fault) => `- ${faults.indexOf(fault) + 1}: failed, but not twice, or without the fault, too: ${fault.result.doubted.join('; ')}`), '',
  ].join('\n');
}

export function finder({ result }) {
  if (!result) return '';
  return result.by ? `${result.by}: ${result.what}` : '**nobody**';
}

function code(line) {
  return `\`${line.trim().replaceAll('|', '\\|')}\``;
}

function row(...cells) {
  return `| ${cells.join(' | ')} |`;
}
