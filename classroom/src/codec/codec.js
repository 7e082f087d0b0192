// Turns payload texts into the forms that travel in a body's "data" and back. Reading is done by two
// threads, one for small messages and one for large ones, so that neither holds up the event loop and a
// large message holds up no small one. What takes no longer than the trip to a thread is read here.

import { LIMITS } from '../limits.js';
import { Decoder } from './decoder.js';
import { packText, read } from './payload.js';

/** How "data" can look when it comes from a device. */
export const PAYLOAD_FORMS = ['base64', 'integers', 'string'];

/** Said instead of a form: each device takes another one. */
export const MIXED_FORMS = 'mixed';

// What decodes in about ten milliseconds is small, and so is what compresses in so many.
const SMALL_BYTES = 64 * 1024;

// One block of so few bytes decodes in a fifth of a millisecond at most: a learner's name, most answers.
const TINY_BYTES = 256;
const TINY_CHARS = 512;

// The result for what has to be read elsewhere.
const LARGE = { large: true };

// A message takes no more characters than this for a byte: lists of bytes have up to five. What takes more
// is not sent to a thread, which has memory for what may be decoded.
const CHARS_PER_BYTE = 5;
const SMALL_CHARS = CHARS_PER_BYTE * SMALL_BYTES;

// Presenters divide a payload into a few blocks. Each one costs something, however little it holds.
const MAX_BLOCKS = 256;

const LEAST_BYTE = -128;
const GREATEST_BYTE = 255;

export class Codec {
  #maxBytes;
  #small;
  #large;

  constructor({ limits = LIMITS } = {}) {
    const { presenterBytes, decodingMs, decodingMsPerMib } = limits;
    this.#maxBytes = presenterBytes;
    this.#small = new Decoder({ atOnceBytes: SMALL_BYTES, heapBytes: SMALL_BYTES, decodingMs, decodingMsPerMib });
    this.#large = new Decoder({ atOnceBytes: Infinity, heapBytes: presenterBytes, decodingMs, decodingMsPerMib });
  }

  /** The value of "data" for a small text: one of PAYLOAD_FORMS. A large text would hold up everybody. */
  pack(text, form) {
    return packText(text, form);
  }

  /** A promise of what pack() gives, for a text of any length. */
  async packLater(text, form) {
    if (text.length <= SMALL_BYTES) {
      return this.pack(text, form);
    }
    const { data, error, broken } = await this.#large.run({ pack: text, form }, text.length);
    if (data === undefined) {
      throw new Error(error ?? broken);
    }
    return data;
  }

  /**
   * Reads the value of "data" back: {form, text}, with text null when there is nothing to read.
   * What is not a block is passed on as it came, with the reason in error. What declares or is more than
   * maxBytes, or breaks another bound, has no text, an error and tooLarge. Never rejects.
   */
  async unpack(data, { maxBytes = this.#maxBytes } = {}) {
    return this.unpackAtOnce(data, { maxBytes }) ?? this.#unpackLater(data, maxBytes);
  }

  /** What unpack() promises, if it is short enough to be read here, otherwise null. */
  unpackAtOnce(data, { maxBytes = this.#maxBytes } = {}) {
    if (data === undefined) {
      return { form: 'none', text: null };
    }
    const result = isTiny(data) ? read(readableOf(data), maxBytes, TINY_BYTES) : LARGE;
    return result.large ? null : withText(result, data);
  }

  /** Ends the threads; what they have not read yet is given up. */
  async close() {
    await Promise.all([this.#small.close(), this.#large.close()]);
  }

  async #unpackLater(data, maxBytes) {
    const readable = readableOf(data);
    if (readable === null) {
      return asWritten(data, maxBytes);
    }
    if (Array.isArray(readable) && readable.length > MAX_BLOCKS) {
      return tooLarge(`the message has ${readable.length} blocks`);
    }
    const weight = weightOf(readable);
    if (weight > SMALL_CHARS + CHARS_PER_BYTE * Math.min(maxBytes, this.#maxBytes)) {
      return tooLarge(`the data has ${weight} characters`);
    }
    const result = await this.#read({ data: readable, maxBytes }, weight);
    if (result.broken !== undefined) {
      return tooLarge(result.broken);
    }
    return withText(result, data);
  }

  // Only the thread can tell what a message declares.
  async #read(job, weight) {
    const result = weight <= SMALL_CHARS ? await this.#small.run(job, weight) : LARGE;
    return result.large ? this.#large.run(job, weight) : result;
  }
}

// The value as it is read; null when it cannot be.
function readableOf(data) {
  return typeof data === 'string' ? data : readableList(data);
}

// The list as the threads take it: of texts without the empty ones, or of bytes; null when it is neither.
function readableList(data) {
  if (!Array.isArray(data) || data.length === 0) {
    return null;
  }
  if (data.every((part) => typeof part === 'string')) {
    return data.filter((part) => part !== '');
  }
  return data.every(isByte) ? Int16Array.from(data) : null;
}

function isByte(value) {
  return Number.isInteger(value) && value >= LEAST_BYTE && value <= GREATEST_BYTE;
}

// Whether it is one block of few characters, or of few bytes.
function isTiny(data) {
  if (!Array.isArray(data)) {
    return typeof data === 'string' && data.length <= TINY_CHARS;
  }
  const [first] = data;
  return data.length === 1 && typeof first === 'string'
    ? first.length <= TINY_CHARS
    : data.length > 0 && data.length <= TINY_CHARS && data.every(isByte);
}

// A text that is no payload is not sent back and forth.
function withText(result, data) {
  return result.text === undefined ? { ...result, text: data } : result;
}

function weightOf(readable) {
  return Array.isArray(readable) ? readable.reduce((sum, { length }) => sum + length, 0) : readable.length;
}

// Values of other types: writing one costs what reading it from its envelope has cost.
function asWritten(data, maxBytes) {
  try {
    const text = JSON.stringify(data);
    return text.length > maxBytes ? tooLarge(`the data has ${text.length} characters`) : { form: 'plain', text };
  } catch (error) {
    return tooLarge(error.message);
  }
}

function tooLarge(error) {
  return { form: 'plain', text: null, error, tooLarge: true };
}
