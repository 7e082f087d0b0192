// The block that every payload travels in: a 13-byte header (properties, dictionary size, and the length
// twice) and an LZMA stream, as base64. Packing and unpacking is done by the lzma package in a worker of
// its own, so that a picture of megabytes holds up nothing on the screen.

const WORKER = '/packages/lzma.js';

const HEADER_BYTES = 13;
const LENGTH_HIGH_OFFSET = 9;

// As the worker numbers what it is asked for, and the encoder's fastest level: payloads are small.
const COMPRESS = 1;
const DECOMPRESS = 2;
const LEVEL = 1;

// Bytes become text for btoa() in pieces that fit on the stack.
const CHUNK_BYTES = 8192;

let worker = null;
let lastJob = 0;
const jobs = new Map(); // by number: {resolve, reject}

/** A promise of the value of "data" for a value. */
export async function pack(value) {
  const bytes = new TextEncoder().encode(JSON.stringify(value));
  const block = await run({ action: COMPRESS, data: bytes, mode: LEVEL });
  return [base64Of(Uint8Array.from(block))];
}

/**
 * A promise of the value that "data" holds: of a list of blocks, or of one. What cannot be unpacked is null, and so
 * is what is no JSON.
 */
export async function unpack(data) {
  try {
    const blocks = [data].flat().filter((text) => text !== '');
    const texts = await Promise.all(blocks.map(textOf));
    return JSON.parse(texts.join(''));
  } catch {
    return null;
  }
}

async function textOf(base64) {
  const block = withPlainHeader(bytesOf(base64));
  if (block === null) {
    return '';
  }
  const decoded = await run({ action: DECOMPRESS, data: block });
  // The decoder gives bytes back where a character takes four of them.
  return typeof decoded === 'string' ? decoded : new TextDecoder().decode(Uint8Array.from(decoded));
}

// Presenters write the length into both halves of its field. The decoder reads the field as one number,
// so the upper half is cleared for it; null for a block of nothing.
function withPlainHeader(block) {
  if (block.length <= HEADER_BYTES) {
    throw new Error(`a block of ${block.length} bytes holds no stream`);
  }
  const view = new DataView(block.buffer);
  view.setUint32(LENGTH_HIGH_OFFSET, 0, true);
  return view.getUint32(LENGTH_HIGH_OFFSET - 4, true) === 0 ? null : block;
}

function bytesOf(base64) {
  const characters = atob(base64);
  const bytes = new Uint8Array(characters.length);
  for (let i = 0; i < characters.length; ++i) {
    bytes[i] = characters.charCodeAt(i);
  }
  return bytes;
}

function base64Of(bytes) {
  let characters = '';
  for (let start = 0; start < bytes.length; start += CHUNK_BYTES) {
    characters += String.fromCharCode(...bytes.subarray(start, start + CHUNK_BYTES));
  }
  return btoa(characters);
}

function run(job) {
  worker ??= start();
  const cbn = ++lastJob;
  return new Promise((resolve, reject) => {
    jobs.set(cbn, { resolve, reject });
    worker.postMessage({ ...job, cbn });
  });
}

function start() {
  const started = new Worker(WORKER);
  started.onmessage = ({ data: { cbn, result, error } }) => finish(cbn, result, error);
  started.onerror = (event) => abandon(started, event);
  return started;
}

// The worker tells of its progress as well, under the same number and without a result that is one.
function finish(cbn, result, error) {
  const job = jobs.get(cbn);
  if (!job || typeof result === 'number') {
    return;
  }
  jobs.delete(cbn);
  if (error || !result) {
    job.reject(new Error(String(error)));
  } else {
    job.resolve(result);
  }
}

// What broke the worker is not known, so all that it had to do fails; the next job starts another.
function abandon(broken, event) {
  event.preventDefault?.();
  broken.terminate();
  worker = null;
  jobs.forEach(({ reject }) => reject(new Error('the worker has ended')));
  jobs.clear();
}
