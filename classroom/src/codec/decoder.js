// One thread that decodes, and the queue in front of it. It starts with the first job, does not keep the
// process alive while it is idle, and is ended when its work takes too long or too much memory. The job
// that broke it fails; those that happened to be in the same batch are done again, each for itself.

import { Worker } from 'node:worker_threads';

import { LIMITS } from '../limits.js';

const SOURCE = new URL('./worker.js', import.meta.url);

const MIB = 1024 * 1024;

// A thread starts in 50 ms when the machine has nothing else to do.
const STARTING_MS = 8_000;

// The code, what the decoder sets up for a block, and its buffers: two arrays of eight bytes for each byte
// of text, one of which is copied as it grows.
const LEAST_HEAP_MIB = 48;
const HEAP_BYTES_PER_BYTE = 32;

// Few messages share one trip to the thread and back, so that none of them waits long for the others.
const BATCH_JOBS = 32;
const BATCH_WEIGHT = 256 * 1024;

export const ENDED = 'the decoder has ended';

export class Decoder {
  #atOnceBytes;
  #heapMib;
  #decodingMs;
  #decodingMsPerMib;
  #worker = null;
  #queue = []; // {job, weight, resolve, alone}
  #running = [];
  #timer = null;
  #isSending = false;
  #isClosed = false;

  /** atOnceBytes: what declares more is not decoded here; heapBytes: the largest text that has to fit. */
  constructor({ atOnceBytes, heapBytes, decodingMs = LIMITS.decodingMs, decodingMsPerMib = LIMITS.decodingMsPerMib }) {
    this.#atOnceBytes = atOnceBytes;
    this.#heapMib = LEAST_HEAP_MIB + Math.ceil(heapBytes * HEAP_BYTES_PER_BYTE / MIB);
    this.#decodingMs = decodingMs;
    this.#decodingMsPerMib = decodingMsPerMib;
  }

  /** A promise of the thread's result for a job (see worker.js); {broken: reason} when there is none. */
  run(job, weight) {
    if (this.#isClosed) {
      return Promise.resolve({ broken: ENDED });
    }
    return new Promise((resolve) => {
      this.#queue.push({ job, weight, resolve, alone: false });
      this.#sendSoon();
    });
  }

  async close() {
    this.#isClosed = true;
    const worker = this.#worker;
    this.#abandon(worker, ENDED);
    await worker?.terminate();
  }

  // What comes in the same turn of the event loop goes to the thread together.
  #sendSoon() {
    if (!this.#isSending && this.#running.length === 0) {
      this.#isSending = true;
      queueMicrotask(() => {
        this.#isSending = false;
        this.#send();
      });
    }
  }

  #send() {
    if (this.#running.length > 0 || this.#queue.length === 0) {
      return;
    }
    this.#running = this.#nextBatch();
    this.#limit(this.#worker ? 0 : STARTING_MS, this.#running.reduce((sum, { weight }) => sum + weight, 0));
    this.#worker ??= this.#start();
    this.#worker.ref();
    this.#worker.postMessage(this.#running.map(({ job }) => job));
  }

  #nextBatch() {
    let weight = 0;
    let count = 0;
    for (const entry of this.#queue) {
      weight += entry.weight;
      if (count === BATCH_JOBS || (count > 0 && (entry.alone || this.#queue[0].alone || weight > BATCH_WEIGHT))) {
        break;
      }
      ++count;
    }
    return this.#queue.splice(0, count);
  }

  #start() {
    const worker = new Worker(SOURCE, {
      workerData: { atOnceBytes: this.#atOnceBytes },
      resourceLimits: { maxOldGenerationSizeMb: this.#heapMib },
    });
    worker.on('message', (message) => this.#heard(worker, message));
    worker.on('error', (error) => this.#abandon(worker, error.message));
    worker.on('exit', () => this.#abandon(worker, ENDED));
    return worker;
  }

  #heard(worker, { declared, results }) {
    if (worker !== this.#worker) {
      return;
    }
    if (!results) {
      this.#limit(0, declared);
      return;
    }
    const finished = this.#endBatch();
    finished.forEach(({ resolve }, at) => resolve(results[at]));
    if (this.#queue.length === 0) {
      worker.unref();
    }
    this.#send();
  }

  // A main thread that was busy finds the time over and the answer there at once: the answer goes first.
  #limit(startingMs, bytes) {
    clearTimeout(this.#timer);
    const batch = this.#running;
    const expire = () => setImmediate(() => {
      if (this.#running === batch) {
        this.#abandon(this.#worker, 'decoding takes too long');
      }
    });
    const decodingMs = this.#decodingMs + this.#decodingMsPerMib * bytes / MIB;
    this.#timer = setTimeout(expire, startingMs + decodingMs);
  }

  #endBatch() {
    clearTimeout(this.#timer);
    const batch = this.#running;
    this.#running = [];
    return batch;
  }

  // The thread is lost; another one starts with the next batch.
  #abandon(worker, reason) {
    if (worker !== this.#worker) {
      return;
    }
    this.#worker = null;
    worker?.terminate();
    const batch = this.#endBatch();
    if (batch.length === 1 || this.#isClosed) {
      batch.forEach(({ resolve }) => resolve({ broken: reason }));
    } else {
      this.#queue.unshift(...batch.map((entry) => ({ ...entry, alone: true })));
    }
    if (this.#isClosed) {
      this.#queue.splice(0).forEach(({ resolve }) => resolve({ broken: reason }));
    }
    this.#send();
  }
}
