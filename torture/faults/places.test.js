// What a line can become, and which lines are asked.

import assert from 'node:assert/strict';
import { mkdirSync, mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { test } from 'node:test';

import { mutationsOf } from './operators.js';
import { bodyLines, drawnPlaces, linesOf } from './places.js';

const OPERATORS = 'condition negated, comparison changed, and, or exchanged, call dropped, number changed, '
  + 'letter changed, true, false exchanged, return dropped, sum changed, assignment dropped';

// All that a line becomes by an operator, behind this code.
function becomes(operator, text, before = '    int before = 0;', depth = 1) {
  assert.ok(OPERATORS.includes(operator));
  const [line] = linesOf(text);
  return mutationsOf(line, before, depth).filter((one) => one.operator === operator).map(({ after }) => after);
}

test('a condition is negated whole', () => {
  assert.deepEqual(becomes('condition negated', '    if (f(a) && b) {'), ['    if (!(f(a) && b)) {']);
  assert.deepEqual(becomes('condition negated', '    } else if (a)'), ['    } else if (!(a))']);
});

test('a condition that goes on in the next line or names a variable is left alone', () => {
  assert.deepEqual(becomes('condition negated', '    if (f(a)'), []);
  assert.deepEqual(becomes('condition negated', '    if (auto *a = f())'), []);
});

test('comparisons move by one or turn around', () => {
  assert.deepEqual(becomes('comparison changed', '    return a < b || c == d;'),
    ['    return a <= b || c == d;', '    return a < b || c != d;']);
});

test('brackets of templates and shifts are no comparisons', () => {
  assert.deepEqual(becomes('comparison changed', '    QList<int> a = b->c << d;'), []);
});

test('and becomes or', () => {
  assert.deepEqual(becomes('and, or exchanged', '        && a || b)'), ['        || a || b)', '        && a && b)']);
});

test('a call that stands alone is dropped', () => {
  assert.deepEqual(becomes('call dropped', '    m_timer.start(f(1));'), ['    ;']);
  assert.deepEqual(becomes('call dropped', '    Q_EMIT done();'), ['    ;']);
  assert.deepEqual(becomes('call dropped', '        f();', '    if (a)'), ['        ;']);
});

test('the rest of a longer statement is no call', () => {
  assert.deepEqual(becomes('call dropped', '        f(1));', '    g(a,'), []);
  assert.deepEqual(becomes('call dropped', '        f(1);', '    const int a ='), []);
  assert.deepEqual(becomes('call dropped', '    return f(1);'), []);
});

test('a number becomes its neighbour or its double', () => {
  assert.deepEqual(becomes('number changed', '    a3 = 5 * 0.5 * b[0];'),
    ['    a3 = 6 * 0.5 * b[0];', '    a3 = 10 * 0.5 * b[0];', '    a3 = 5 * 0.5 * b[1];']);
  assert.deepEqual(becomes('number changed', '    f(1LL);'), ['    f(2LL);']);
});

test('a letter of a text becomes the next one', () => {
  assert.deepEqual(becomes('letter changed', String.raw`    f("a\nz", 'q'); // text "t"`),
    [String.raw`    f("b\nz", 'q'); // text "t"`, String.raw`    f("a\na", 'q'); // text "t"`]);
});

test('true becomes false', () => {
  assert.deepEqual(becomes('true, false exchanged', '    f(true, isTrue);'), ['    f(false, isTrue);']);
});

test('only a return that depends on something is dropped', () => {
  assert.deepEqual(becomes('return dropped', '        return a;', '    if (b)', 2), ['        ;']);
  assert.deepEqual(becomes('return dropped', '    return a;', '    f();', 1), []);
});

test('sums and steps turn around', () => {
  assert.deepEqual(becomes('sum changed', '    a += b - c;'), ['    a -= b - c;', '    a += b + c;']);
  assert.deepEqual(becomes('sum changed', '    ++a;'), ['    --a;']);
});

test('an assignment is dropped, but no declaration', () => {
  assert.deepEqual(becomes('assignment dropped', '    a->b = c;'), ['    ;']);
  assert.deepEqual(becomes('assignment dropped', '    int b = c;'), []);
});

const SOURCE = `// Comment.
const int LIMIT = 1;

namespace
{

class Local
{
    int a = 1;
};

} // namespace

void f()
{
    // first
    first();

    if (a) {
        second(); /* and
        that */
    }
}

int g = 1;
`;

test('what is inside functions is asked, without comments', () => {
  assert.deepEqual(bodyLines(linesOf(SOURCE)).map(({ number, depth }) => [number, depth]), [[17, 1], [19, 1], [20, 2], [22, 1]]);
});

function drawnFrom(t, sources, seed) {
  const root = mkdtempSync(join(tmpdir(), 'faults-'));
  t.after(() => rmSync(root, { recursive: true }));
  mkdirSync(join(root, 'folder'));
  for (const [name, text] of Object.entries(sources)) writeFileSync(join(root, 'folder', name), text);
  return drawnPlaces(root, ['folder'], seed);
}

const MANY = `void f()\n{\n${Array.from({ length: 20 }, (_, i) => `    f${i}();\n`).join('')}}\n`;
const order = (places) => places.map(({ before }) => before);

test('a seed gives an order, and another seed another one', (t) => {
  const once = order(drawnFrom(t, { 'a.cpp': MANY }, 1));
  assert.equal(once.length, 20);
  assert.deepEqual(order(drawnFrom(t, { 'a.cpp': MANY }, 1)), once);
  assert.notDeepEqual(order(drawnFrom(t, { 'a.cpp': MANY }, 2)), once);
});

test('a change of other lines leaves the order of a line among those that remain', (t) => {
  const once = order(drawnFrom(t, { 'a.cpp': MANY }, 1));
  const shorter = drawnFrom(t, { 'a.cpp': MANY.replace('    f7();\n', ''), 'b.h': MANY }, 1);
  assert.deepEqual(order(shorter), once.filter((line) => line !== '    f7();'));
});
