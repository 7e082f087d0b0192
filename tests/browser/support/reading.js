// What people hear of a page who do not see it: its accessibility tree in lines, and what the rules of
// axe-core have against it.

import { readFileSync } from 'node:fs';
import { createRequire } from 'node:module';

const AXE = readFileSync(createRequire(import.meta.url).resolve('axe-core/axe.min.js'), 'utf8');

// Rules that axe-core leaves out unless it is told.
const FURTHER_RULES = ['target-size', 'label-content-name-mismatch', 'focus-order-semantics', 'p-as-heading'];

// What has no line of its own; what is in it has.
const SILENT = ['none', 'generic', 'paragraph', 'LabelText', 'Legend', 'RootWebArea', 'InlineTextBox',
  'MathMLRow'];

// The texts in these are said as a name, theirs or another one's, or as what a field holds.
const NAMES = ['LabelText', 'Legend', 'heading', 'button', 'DisclosureTriangle', 'textbox', 'ListMarker'];

// What is read in one go.
const BLOCKS = ['paragraph', 'listitem'];
const TEXT_END_AND_BEGINNING = /(?<=^ *text '.*)'\n *text '/gm;

// By role: what people call it.
const ROLES = { StaticText: 'text', ListMarker: 'text', DisclosureTriangle: 'disclosure', MathMLMath: 'formula' };

// Texts in here come and go with the time.
const isSpoken = ({ live }) => live === 'polite';

// What is said behind the name, in this order.
const STATES = [
  ['checked', (value) => (value === 'true' ? 'checked' : 'not checked')],
  ['expanded', (value) => (value ? 'expanded' : 'collapsed')],
  ['disabled', (value) => value && 'not available'],
  ['readonly', (value) => value && 'read only'],
  ['invalid', (value) => value === 'true' && 'invalid'],
  ['focused', (value) => value && 'focused'],
];

/** The page as a screen reader goes through it, a line for each part; what is in a part stands further in. */
export async function treeOf(page) {
  const session = await page.createCDPSession();
  try {
    const { nodes } = await session.send('Accessibility.getFullAXTree');
    const byId = new Map(nodes.map((node) => [node.nodeId, node]));
    return [`page '${nodes[0].name.value}'`, ...linesOf(nodes[0], byId, '  ')];
  } finally {
    await session.detach();
  }
}

/** What axe-core finds: a list of texts. The colours are looked at in both schemes. */
export async function findingsOf(page) {
  if (!await page.evaluate(() => 'axe' in window)) {
    await page.evaluate(AXE);
  }
  const further = Object.fromEntries(FURTHER_RULES.map((rule) => [rule, { enabled: true }]));
  await inScheme(page, 'light');
  const light = await runAxe(page, { rules: further });
  await inScheme(page, 'dark');
  const dark = await runAxe(page, { runOnly: ['cat.color'] });
  return [...light, ...dark.map((finding) => `dark: ${finding}`)];
}

function inScheme(page, scheme) {
  return page.emulateMediaFeatures([
    { name: 'prefers-color-scheme', value: scheme },
    { name: 'prefers-reduced-motion', value: 'reduce' },
  ]);
}

async function runAxe(page, options) {
  const { violations } = await page.evaluate((given) => (
    window.axe.run(document, { ...given, resultTypes: ['violations'] })), options);
  return violations.flatMap(({ id, nodes }) => nodes.map(({ html, failureSummary }) => `${id}: ${html}\n${failureSummary}`));
}

function linesOf(node, byId, indent, isNamed = false) {
  const part = partOf(node);
  const line = isNamed && part.role === 'StaticText' ? '' : lineOf(part);
  const isName = isNamed || NAMES.includes(part.role);
  const further = line === '' ? indent : `${indent}  `;
  const children = isSpoken(part) ? [] : node.childIds.map((id) => byId.get(id));
  const found = children.flatMap((child) => linesOf(child, byId, further, isName));
  const lines = BLOCKS.includes(part.role) ? inOneGo(found) : found;
  return line === '' ? lines : [indent + line, ...lines];
}

// Texts that follow one another are read as one.
function inOneGo(lines) {
  return lines.join('\n').replaceAll(TEXT_END_AND_BEGINNING, ' ').split('\n').filter(Boolean);
}

function partOf({ ignored, role, name, description, value, properties = [] }) {
  const states = Object.fromEntries(properties.map(({ name: key, value: { value: state } }) => [key, state]));
  return {
    ...states,
    role: ignored ? 'none' : role.value,
    name: name?.value ?? '',
    value: value?.value ?? '',
    description: description?.value ?? '',
  };
}

function lineOf(part) {
  const { role, name, level, value, description } = part;
  if (SILENT.includes(role)) {
    return '';
  }
  const words = [
    [ROLES[role] ?? role.replace(/^MathML/, 'formula ').toLowerCase(), role === 'heading' && level, name && `'${name.trim()}'`].filter(Boolean).join(' '),
    role === 'textbox' && value !== '' && `holds '${value}'`,
    ...STATES.filter(([key]) => key in part).map(([key, say]) => say(part[key])),
    description && `described as '${description}'`,
  ];
  return words.filter(Boolean).join(', ');
}
