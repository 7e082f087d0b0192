// The compressed block that every payload travels in: a 13-byte header (one properties byte, four
// bytes of dictionary size, eight bytes of length) and an LZMA stream. Pure functions without state;
// they run on the main thread for small blocks and on the codec's worker for large ones.

import lzma from 'lzma';

export const HEADER_BYTES = 13;
const LENGTH_OFFSET = 5;
const LENGTH_HIGH_OFFSET = 9;

// The encoder's fastest level: payloads are small, and presenters read any level.
const LEVEL = 1;

// Nobody sends more than an image of a few MB; a damaged length must not cost minutes of decoding.
const MAX_TEXT_BYTES = 64 * 1024 * 1024;

/** The length of the text in a block's header, in bytes; 0 when the block is too short to have one. */
export function declaredLength(block) {
  return block.length > HEADER_BYTES ? block.readUInt32LE(LENGTH_OFFSET) : 0;
}

/** Compresses a text; the bytes of the block are signed, as devices put them into integer lists. */
export function compressText(text) {
  return lzma.compress(Buffer.from(text, 'utf8'), LEVEL);
}

/** Reads a block back into its text; throws an Error that says what is wrong with the block. */
export function decompressBlock(block) {
  if (block.length <= HEADER_BYTES) {
    throw new Error(`a block of ${block.length} bytes holds no stream`);
  }
  const length = declaredLength(block);
  if (length > MAX_TEXT_BYTES) {
    throw new Error(`the block declares ${length} bytes`);
  }
  const decoded = lzma.decompress(withPlainLength(block));
  const text = typeof decoded === 'string' ? decoded : Buffer.from(decoded).toString('utf8');
  const bytes = typeof decoded === 'string' ? Buffer.byteLength(decoded) : decoded.length;
  if (bytes !== length) {
    throw new Error(`the block declares ${length} bytes and holds ${bytes}`);
  }
  return text;
}

// Presenters write the length into both halves of its field. The decoder reads the field as one number,
// so the upper half is cleared for it.
function withPlainLength(block) {
  const copy = Buffer.from(block);
  copy.writeUInt32LE(0, LENGTH_HIGH_OFFSET);
  return copy;
}
