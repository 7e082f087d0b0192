// Turns payload texts into the forms that travel in a body's "data" and back. Owns the worker thread
// that decodes large blocks; it starts with the first large block and ends with close().

import { Worker } from 'node:worker_threads';

import { compressText, declaredLength, decompressBlock } from './block.js';

/** How "data" can look when it comes from a device. */
export const PAYLOAD_FORMS = ['base64', 'integers', 'string'];

/** Said instead of a form: each device takes another one. */
export const MIXED_FORMS = 'mixed';

// A block of this size decodes in about a millisecond; only larger ones go to the worker.
const INLINE_BYTES = 64 * 1024;

// The other text form of a block: its bytes as decimal numbers, "[93,0,64,...]".
const BYTE_LIST = /^\[?\s*-?\d+(\s*,\s*-?\d+)*\s*\]?$/;

export class Codec {
  #worker = null;
  #waiting = new Map(); // by request id: {resolve, reject}
  #lastId = 0;

  /** The value of "data" for a text: one of PAYLOAD_FORMS. */
  pack(text, form) {
    const bytes = compressText(text);
    if (form === 'integers') {
      return bytes;
    }
    const base64 = Buffer.from(bytes).toString('base64');
    return form === 'string' ? base64 : [base64];
  }

  /**
   * Reads the value of "data" back: {form, text}, with text null when there is nothing to read.
   * What is not a block is passed on as it came, with the reason in error.
   */
  async unpack(data) {
    if (data === undefined) {
      return { form: 'none', text: null };
    }
    try {
      if (typeof data === 'string') {
        return { form: 'string', text: await this.#readText(data) };
      }
      if (Array.isArray(data) && typeof data[0] === 'string') {
        const texts = await Promise.all(data.filter((part) => part !== '').map((part) => this.#readText(part)));
        return { form: 'base64', text: texts.join('') };
      }
      if (Array.isArray(data) && data.length > 0) {
        return { form: 'integers', text: await this.decompress(Buffer.from(data)) };
      }
    } catch (error) {
      return { form: 'plain', text: typeof data === 'string' ? data : JSON.stringify(data), error: error.message };
    }
    return { form: 'plain', text: JSON.stringify(data) };
  }

  /** The text of one block; rejects with an Error that says what is wrong with it. */
  async decompress(block) {
    if (Math.max(block.length, declaredLength(block)) <= INLINE_BYTES) {
      return decompressBlock(block);
    }
    return this.#askWorker(block);
  }

  async close() {
    const worker = this.#worker;
    this.#worker = null;
    await worker?.terminate();
  }

  #readText(text) {
    const bytes = BYTE_LIST.test(text) && text.includes(',')
      ? text.replace(/[[\]]/g, '').split(',').map(Number)
      : Buffer.from(text, 'base64');
    return this.decompress(Buffer.from(bytes));
  }

  #askWorker(block) {
    this.#worker ??= this.#startWorker();
    return new Promise((resolve, reject) => {
      const id = ++this.#lastId;
      this.#waiting.set(id, { resolve, reject });
      this.#worker.ref();
      this.#worker.postMessage({ id, block });
    });
  }

  #startWorker() {
    const worker = new Worker(new URL('./worker.js', import.meta.url));
    worker.on('message', ({ id, text, error }) => {
      this.#settle(id, (waiting) => (error === undefined ? waiting.resolve(text) : waiting.reject(new Error(error))));
    });
    worker.on('error', (error) => this.#abandon(worker, error));
    worker.on('exit', () => this.#abandon(worker, new Error('the decoder has ended')));
    return worker;
  }

  #settle(id, finish) {
    const waiting = this.#waiting.get(id);
    this.#waiting.delete(id);
    if (this.#waiting.size === 0) {
      this.#worker?.unref();
    }
    if (waiting) {
      finish(waiting);
    }
  }

  #abandon(worker, error) {
    if (this.#worker === worker) {
      this.#worker = null;
    }
    for (const id of [...this.#waiting.keys()]) {
      this.#settle(id, (waiting) => waiting.reject(error));
    }
  }
}
