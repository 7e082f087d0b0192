// Formulas in TeX, shown as MathML. Elements are made one by one from what is known to be harmless; the
// policy of the page forbids styles in markup.

import { make } from './dom.js';

const NAMESPACE = 'http://www.w3.org/1998/Math/MathML';

// Learners write formulas themselves: neither length nor what macros make of it may take long.
const MAX_CHARS = 500;
const BOUNDS = { maxExpand: 100, maxSize: 10, trust: false };

// Whoever defines macros can make a page full of a line, so nobody does.
const DEFINITION = /\\(?:[egx]?def|g?let|futurelet|global|long|(?:re)?newcommand|providecommand)(?![a-z])/i;

const ELEMENTS = new Set(['math', 'mrow', 'mi', 'mn', 'mo', 'mtext', 'mspace', 'mfrac', 'msqrt', 'mroot', 'msub',
  'msup', 'msubsup', 'munder', 'mover', 'munderover', 'mtable', 'mtr', 'mtd', 'mstyle', 'mpadded', 'mphantom',
  'menclose', 'merror']);
const ATTRIBUTES = new Set(['accent', 'accentunder', 'columnalign', 'columnspacing', 'display', 'displaystyle',
  'fence', 'height', 'linethickness', 'lspace', 'mathcolor', 'mathsize', 'mathvariant', 'maxsize', 'minsize',
  'notation', 'rowspacing', 'rspace', 'scriptlevel', 'separator', 'stretchy', 'voffset', 'width']);

// What only groups others, or only says them again.
const TRANSPARENT = 'semantics';
const SKIPPED = 'annotation';

const FORMULA_IN_TEXT = /\$([^$]{1,500})\$|\\\((.{1,500}?)\\\)/gs;

// Beyond, a text stays as it was written: nobody reads so many, and a phone would stand still over them.
const MOST_FORMULAS = 200;
const MOST_TEXT = 20_000;

let loading = null;

/** Loads what reads formulas, once; rejects when it is not to be had, and tries again when next asked. */
export function loadMath() {
  loading ??= import('/packages/katex.js').then(() => globalThis.katex, (error) => {
    loading = null;
    throw error;
  });
  return loading;
}

/** The formula as an element, or null while it cannot be read. math: what loadMath() gave. */
export function formulaElement(math, tex) {
  if (tex.length > MAX_CHARS || DEFINITION.test(tex)) {
    return null;
  }
  try {
    const markup = math.renderToString(tex, { ...BOUNDS, output: 'mathml', throwOnError: true, strict: 'ignore' });
    const read = new DOMParser().parseFromString(markup, 'application/xml');
    const formula = copyOf(read.querySelector('math'));
    formula.setAttribute('displaystyle', 'true'); // fractions are too small otherwise
    return formula;
  } catch {
    return null;
  }
}

/** Writes a text that may hold formulas, between $ and $ or \( and \), or is one as a whole. */
export function writeText(element, text, { hasFormulas = false, isFormula = false } = {}) {
  element.textContent = text;
  if (hasFormulas || isFormula) {
    // Without its formulas the text is still there, as it was written.
    loadMath().then((math) => element.replaceChildren(...partsOf(math, text, isFormula)), () => {});
  }
}

function partsOf(math, text, isFormula) {
  const matches = text.length > MOST_TEXT ? [] : [...text.matchAll(FORMULA_IN_TEXT)].slice(0, MOST_FORMULAS);
  if (isFormula && matches.length === 0) {
    return [formulaElement(math, text) ?? text];
  }
  const parts = [];
  let end = 0;
  for (const match of matches) {
    parts.push(text.slice(end, match.index), formulaElement(math, match[1] ?? match[2]) ?? match[0]);
    end = match.index + match[0].length;
  }
  return [...parts, text.slice(end)];
}

function copyOf(source) {
  const copy = ELEMENTS.has(source.localName) ? document.createElementNS(NAMESPACE, source.localName) : make('span');
  for (const { name, value } of source.attributes) {
    if (ATTRIBUTES.has(name)) {
      copy.setAttribute(name, value);
    }
  }
  copy.append(...childrenOf(source));
  return copy;
}

function childrenOf(source) {
  return [...source.childNodes].flatMap((child) => {
    if (child.nodeType === Node.TEXT_NODE) {
      return [child.data];
    }
    if (child.localName === TRANSPARENT) {
      return childrenOf(child);
    }
    return child.localName === SKIPPED ? [] : [copyOf(child)];
  });
}
