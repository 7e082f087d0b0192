// The faults: what a line can become, without a thought of what it means.

const COMPARISONS = { '<': '<=', '<=': '<', '>': '>=', '>=': '>', '==': '!=', '!=': '==' };
const LOGIC = { '&&': '||', '||': '&&' };
const SUMS = { '+': '-', '-': '+', '+=': '-=', '-=': '+=' };
const STEPS = { '++': '--', '--': '++' };
const TRUTH = { true: 'false', false: 'true' };

const NO_CALL = /^\s*(return|if|for|while|switch|else|delete|case|throw|using|new|do)\b/;
const CALL = /^\s*(Q_EMIT )?[A-Za-z_]\w*((::|\.|->)[A-Za-z_]\w*)*(<[\w:<>, *]+>)?\(.*\);$/;
const ASSIGNMENT = /^\s*\*?[A-Za-z_]\w*((\.|->|::)\w+)*(\[[^=]*\])? ([-+|&]?=) .*;$/;

const OPERATORS = {
  'condition negated': ({ raw, code }) => {
    const [head] = /^\s*(\} else )?(if|while) \((?!.* = )/.exec(code) ?? [];
    const end = head ? closing(code, head.length) : -1;
    return end < 0 ? [] : [`${head}!(${raw.slice(head.length, end)})${raw.slice(end)}`];
  },
  'comparison changed': (line) => swapped(line, /(?<=\s)(<=|>=|==|!=|<|>)(?=\s)/g, COMPARISONS),
  'and, or exchanged': (line) => swapped(line, /(?<=\s)(&&|\|\|)(?=\s)/g, LOGIC),
  'call dropped': ({ code }, before) => {
    const isCall = CALL.test(code) && !NO_CALL.test(code) && isBalanced(code) && beginsStatement(before);
    return isCall ? [nothing(code)] : [];
  },
  'number changed': ({ raw, code }) => [...code.matchAll(/(?<![\w.])\d+(?=(LL|L|U)?\b(?!\.))/g)].flatMap((match) => {
    const number = BigInt(match[0]);
    const others = new Set([number + 1n, number * 2n].filter((other) => other !== number));
    return [...others].map((other) => replaced(raw, match.index, match[0], String(other)));
  }),
  'letter changed': ({ raw, texts }) => texts.flatMap(([from, to]) => [...raw.slice(from, to).matchAll(/(?<![\\%])[a-zA-Z]/g)]
    .map((match) => replaced(raw, from + match.index, match[0], next(match[0])))),
  'true, false exchanged': (line) => swapped(line, /\b(true|false)\b/g, TRUTH),
  'return dropped': ({ code }, before, depth) => (
    /^\s*return\b.*;$/.test(code) && depth > 1 && isBalanced(code) ? [nothing(code)] : []),
  'sum changed': (line) => [
    ...swapped(line, /(?<=\s)(\+|-|\+=|-=)(?=\s)/g, SUMS),
    ...swapped(line, /(\+\+|--)(?=\w)|(?<=\w)(\+\+|--)/g, STEPS)],
  'assignment dropped': ({ code }, before) => (
    ASSIGNMENT.test(code) && isBalanced(code) && beginsStatement(before) ? [nothing(code)] : []),
};

/** line as linesOf() has it, before the code above, depth in the body: each {operator, after}. */
export function mutationsOf(line, before, depth) {
  return Object.entries(OPERATORS).flatMap(([operator, make]) => make(line, before, depth)
    .map((after) => ({ operator, after })));
}

function swapped({ raw, code }, pattern, others) {
  return [...code.matchAll(pattern)].map((match) => replaced(raw, match.index, match[0], others[match[0]]));
}

function replaced(raw, at, old, other) {
  return raw.slice(0, at) + other + raw.slice(at + old.length);
}

function nothing(code) {
  return `${' '.repeat(code.search(/\S/))};`;
}

function next(letter) {
  return { z: 'a', Z: 'A' }[letter] ?? String.fromCharCode(letter.charCodeAt(0) + 1);
}

// Where the bracket ends that is open at this place, or -1.
function closing(code, from) {
  for (let at = from, open = 1; at < code.length; ++at) {
    if (code[at] === '(') ++open;
    else if (code[at] === ')' && --open === 0) return at;
  }
  return -1;
}

function isBalanced(code) {
  const count = (bracket) => code.split(bracket).length;
  return count('(') === count(')') && count('{') === count('}');
}

// Whether a statement begins behind this line of code.
function beginsStatement(before) {
  return /[;{}:]$/.test(before) || /^\s*(\} )?(else|do)$/.test(before)
    || (/^\s*(\} else )?(if|for|while) \(.*\)$/.test(before) && isBalanced(before));
}
