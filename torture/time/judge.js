// What a host held, as tables, and what of it is too much.

// The looks at a part are divided into so many spans of time. Of each counts the least: what is under way just
// then comes and goes, what leaks stays.
const SPANS = 6;
// By how much the least of the last span may exceed that of the later half's first one, in KiB.
const BOUNDS = { resident: 1024, heap: 64 };
// Of these no more than the most that there were in the first half, as connections come and go.
const COUNTED = ['threads', 'descriptors'];
const HELD = [...Object.keys(BOUNDS), ...COUNTED];
const PARTS = { lessons: 'lessons', messages: 'seconds' };

const nameOf = ({ transport, way }) => `${transport}, ${way}`;

/** The least of each span, {done, resident, heap, threads, descriptors}; none when there are too few looks. */
function spansOf(looks) {
  const length = Math.floor(looks.length / SPANS);
  if (length === 0) {
    return [];
  }
  return Array.from({ length: SPANS }, (_, i) => {
    const span = looks.slice(looks.length - (SPANS - i) * length, looks.length - (SPANS - i - 1) * length);
    const least = HELD.map((what) => [what, Math.min(...span.map((look) => look[what]))]);
    return { done: span.at(-1).done, ...Object.fromEntries(least) };
  });
}

function partTable(results, part) {
  const rows = results.flatMap((result) => spansOf(result.looks[part]).map(({ done, ...held }) => (
    `| ${nameOf(result)} | ${done} | ${HELD.map((what) => Math.round(held[what])).join(' | ')} |`
  )));
  return [
    `| Way | ${PARTS[part]} | resident KiB | heap KiB | threads | descriptors |`,
    '|---|---:|---:|---:|---:|---:|',
    ...rows,
  ].join('\n');
}

function messageTable(results, seconds) {
  const cells = ({ sent, heard, inOrder }) => (
    `${sent} (${Math.round(sent / seconds)}/s) | ${sent === heard && heard === inOrder ? 'all, in order' : `${heard}, ${inOrder} in order`}`
  );
  return [
    '| Way | from devices | heard | from the presenter | heard |',
    '|---|---:|---|---:|---|',
    ...results.filter(({ messages }) => messages).map((result) => (
      `| ${nameOf(result)} | ${cells(result.messages.in)} | ${cells(result.messages.out)} |`
    )),
  ].join('\n');
}

/** results: those of all ways; seconds: of the long lesson. */
export function tables(results, seconds) {
  const all = Object.keys(PARTS).map((part) => partTable(results, part));
  return [...all, messageTable(results, seconds)].map((table) => `${table}\n`).join('\n');
}

function grownMemory(looks, slack) {
  const [first, last] = [spansOf(looks)[SPANS / 2], spansOf(looks).at(-1)];
  return Object.entries(BOUNDS)
    .map(([what, bound]) => ({ what, growth: last[what] - first[what], bound: bound * slack }))
    .filter(({ growth, bound }) => growth > bound)
    .map(({ what, growth, bound }) => `${what} grew by ${Math.round(growth)} KiB, ${bound} would pass`);
}

function grownCounts(looks) {
  const [earlier, last] = [looks.slice(0, looks.length >> 1), spansOf(looks).at(-1)];
  return COUNTED.map((what) => ({ what, most: Math.max(...earlier.map((look) => look[what])) }))
    .filter(({ what, most }) => last[what] > most)
    .map(({ what, most }) => `${what} grew from ${most} to ${last[what]}`);
}

/** What is wrong with one way, a line each. slack: a factor of the bounds of memory, 0 for none at all. */
export function findings({ looks, messages, failure, ...way }, slack) {
  const grown = Object.keys(PARTS).filter((part) => spansOf(looks[part]).length > 0).flatMap((part) => (
    [...slack > 0 ? grownMemory(looks[part], slack) : [], ...grownCounts(looks[part])].map((line) => `${part}: ${line}`)
  ));
  const lost = Object.entries(messages ?? {})
    .filter(([, { sent, heard, inOrder }]) => sent === 0 || heard !== sent || inOrder !== sent)
    .map(([direction, { sent, heard, inOrder }]) => `messages ${direction}: of ${sent} came ${heard}, ${inOrder} in order`);
  return [...failure ? [failure] : [], ...grown, ...lost].map((line) => `FAILED: ${nameOf(way)}: ${line}`);
}
