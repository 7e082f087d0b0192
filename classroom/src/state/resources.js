// Uploaded files, in memory.

import { randomUUID } from 'node:crypto';

const MAGIC_TYPES = [
  [Buffer.from([0x89, 0x50, 0x4e, 0x47]), 'image/png'],
  [Buffer.from([0xff, 0xd8, 0xff]), 'image/jpeg'],
  [Buffer.from('GIF8'), 'image/gif'],
];

export class Resources {
  #files = new Map();

  /** Keeps a file; returns {id, path}, the path being where the store has it. */
  add(fileName, bytes) {
    const id = randomUUID();
    this.#files.set(id, { fileName, bytes, contentType: typeOf(bytes) });
    return { id, path: `/resources/${id}/${encodeURIComponent(fileName)}` };
  }

  /** {fileName, bytes, contentType}, or undefined. */
  get(id) {
    return this.#files.get(id);
  }
}

function typeOf(bytes) {
  const known = MAGIC_TYPES.find(([magic]) => bytes.subarray(0, magic.length).equals(magic));
  return known ? known[1] : 'application/octet-stream';
}
