// Reads the value of a message's "data", whatever form it came in. Everything here costs time in
// proportion to a stranger's message, so it runs on the decoders' threads (worker.js), but for the
// shortest messages.
//
// The value is a text, a list of texts, or a list of bytes as Int16Array, which holds signed and unsigned
// ones alike.

import { TooLargeError, compressText, declaredLength, decompressBlock } from './block.js';

// The other text form of a block: its bytes as decimal numbers, "[93,0,64,...]".
const LIST_CHARACTERS = /^[\s\d,[\]-]*$/;
const LIST_NUMBER = /^\s*-?\d+\s*$/;

/** The value of "data" for a text, in one of the forms of devices. */
export function packText(text, form) {
  const bytes = compressText(text);
  if (form === 'integers') {
    return bytes;
  }
  const base64 = Buffer.from(bytes).toString('base64');
  return form === 'string' ? base64 : [base64];
}

/** What the value is and what it declares, before anything of it is decoded: {form, blocks, declared}. */
export function measure(data, maxBytes) {
  const { form, blocks } = blocksOf(data);
  const declared = blocks.reduce((sum, block) => sum + declaredLength(block), 0);
  if (declared > maxBytes) {
    throw new TooLargeError(`the message declares ${declared} bytes`);
  }
  return { form, blocks, declared };
}

/** The text of what measure() has found: {form, text}. */
export function decode({ form, blocks, declared }) {
  return { form, text: blocks.map((block) => decompressBlock(block, declared)).join('') };
}

/** The result for a message that declares no more than atOnceBytes; {large: true} for any other. */
export function read(data, maxBytes, atOnceBytes) {
  try {
    const found = measure(data, maxBytes);
    return found.declared > atOnceBytes ? { large: true } : decode(found);
  } catch (error) {
    return asItCame(data, maxBytes, error);
  }
}

/** What is no payload, as it came, with the reason. A text stays where it is: the caller has it. */
export function asItCame(data, maxBytes, error) {
  const text = data.length > maxBytes ? null : writtenOut(data);
  const tooLarge = error.tooLarge === true || text === null || text.length > maxBytes;
  const kept = typeof data === 'string' ? {} : { text };
  return { form: 'plain', error: error.message, ...tooLarge ? { text: null, tooLarge } : kept };
}

function blocksOf(data) {
  if (typeof data === 'string') {
    return { form: 'string', blocks: [blockOf(data)] };
  }
  return data instanceof Int16Array
    ? { form: 'integers', blocks: [Buffer.from(data)] }
    : { form: 'base64', blocks: data.filter((part) => part !== '').map(blockOf) };
}

function blockOf(text) {
  return numbersOf(text) ?? Buffer.from(text, 'base64');
}

// One number after the other: a list of all its parts would take many times the memory of the text.
function numbersOf(text) {
  if (!text.includes(',') || !LIST_CHARACTERS.test(text)) {
    return null;
  }
  const list = text.replace(/^\[|\]$/g, '');
  const bytes = Buffer.alloc(Math.ceil(list.length / 2) + 1);
  let count = 0;
  for (let start = 0; start <= list.length;) {
    const comma = list.indexOf(',', start);
    const item = list.slice(start, comma < 0 ? list.length : comma);
    if (!LIST_NUMBER.test(item)) {
      return null;
    }
    bytes[count++] = Number(item);
    start += item.length + 1;
  }
  return bytes.subarray(0, count);
}

function writtenOut(data) {
  return typeof data === 'string' ? data : data instanceof Int16Array ? `[${data.join(',')}]` : JSON.stringify(data);
}
