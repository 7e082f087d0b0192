// The compressed block that every payload travels in: a 13-byte header (one properties byte, four
// bytes of dictionary size, eight bytes of length) and an LZMA stream. Pure functions without state.
// Reading a block costs what its header declares and no more: the stream ends where the declared length
// ends, and neither the dictionary nor the literal tables are larger than that length has use for.

import lzma from 'lzma';

export const HEADER_BYTES = 13;
const DICTIONARY_OFFSET = 1;
const LENGTH_OFFSET = 5;
const LENGTH_HIGH_OFFSET = 9;

// The encoder's fastest level: payloads are small, and presenters read any level.
const LEVEL = 1;

const LEAST_DICTIONARY = 4096;

// The properties byte is (pb * 5 + lp) * 9 + lc. The decoder sets up 768 numbers for each of 2^(lc + lp)
// contexts before the first byte; nobody uses more than four bits of context, and twelve would cost 25 MB.
const LC_VALUES = 9;
const LP_VALUES = 5;
const MAX_CONTEXT_BITS = 4;

/** A message that breaks a bound, in contrast to one that is damaged. */
export class TooLargeError extends Error {
  tooLarge = true;
}

/** The length of the text that a block declares, in bytes; throws an Error when this is no block. */
export function declaredLength(block) {
  if (block.length <= HEADER_BYTES) {
    throw new Error(`a block of ${block.length} bytes holds no stream`);
  }
  const length = block.readUInt32LE(LENGTH_OFFSET);
  if (![0, length].includes(block.readUInt32LE(LENGTH_HIGH_OFFSET))) {
    throw new Error('the length is neither plain nor written twice');
  }
  if (contextBits(block) > MAX_CONTEXT_BITS) {
    throw new Error(`the stream has ${contextBits(block)} bits of context`);
  }
  return length;
}

/** Compresses a text; the bytes of the block are signed, as devices put them into integer lists. */
export function compressText(text) {
  return lzma.compress(Buffer.from(text, 'utf8'), LEVEL);
}

/** Reads a block of at most maxBytes back into its text; throws an Error that says what is wrong with it. */
export function decompressBlock(block, maxBytes) {
  const length = declaredLength(block);
  if (length > maxBytes) {
    throw new TooLargeError(`the block declares ${length} bytes`);
  }
  // The decoder takes 0 for "until the stream says so", and a hostile stream never does.
  return length === 0 ? '' : decode(block, length);
}

function decode(block, length) {
  const decoded = lzma.decompress(withPlainHeader(block, length));
  const text = typeof decoded === 'string' ? decoded : Buffer.from(decoded).toString('utf8');
  const bytes = typeof decoded === 'string' ? Buffer.byteLength(decoded) : decoded.length;
  if (bytes !== length) {
    throw new Error(`the block declares ${length} bytes and holds ${bytes}`);
  }
  return text;
}

function contextBits([properties]) {
  return properties % LC_VALUES + Math.floor(properties / LC_VALUES) % LP_VALUES;
}

// Presenters write the length into both halves of its field. The decoder reads the field as one number,
// so the upper half is cleared for it. No match reaches back farther than the text is long.
function withPlainHeader(block, length) {
  const copy = Buffer.from(block);
  const dictionary = block.readUInt32LE(DICTIONARY_OFFSET);
  copy.writeUInt32LE(Math.min(dictionary, Math.max(length, LEAST_DICTIONARY)), DICTIONARY_OFFSET);
  copy.writeUInt32LE(0, LENGTH_HIGH_OFFSET);
  return copy;
}
