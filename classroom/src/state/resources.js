// Uploaded images, in memory: each belongs to the teacher who uploaded it, and goes when the last of
// the teacher's sessions has ended.

import { randomUUID } from 'node:crypto';

import { LIMITS } from '../limits.js';

export class Resources {
  #limits;
  #files = new Map(); // by id: {owner, bytes, contentType}

  constructor({ limits = LIMITS, sessions = null } = {}) {
    this.#limits = limits;
    sessions?.on('stopped', ({ owner }) => {
      if (sessions.ofOwner(owner).length === 0) {
        this.#forgetThoseOf(owner);
      }
    });
  }

  /**
   * Keeps a teacher's file; returns {id, path}, the path being where the store has it, or null when
   * the teacher has uploaded too much.
   */
  add(owner, { fileName, bytes, contentType }) {
    if (this.#bytesOf(owner) + bytes.length > this.#limits.uploadTotalBytes) {
      return null;
    }
    const id = randomUUID();
    this.#files.set(id, { owner, bytes, contentType });
    return { id, path: `/resources/${id}/${encodeURIComponent(fileName)}` };
  }

  /** {owner, bytes, contentType}, or undefined. */
  get(id) {
    return this.#files.get(id);
  }

  #bytesOf(owner) {
    return [...this.#files.values()]
      .filter((file) => file.owner === owner)
      .reduce((sum, { bytes }) => sum + bytes.length, 0);
  }

  #forgetThoseOf(owner) {
    for (const [id, file] of this.#files) {
      if (file.owner === owner) {
        this.#files.delete(id);
      }
    }
  }
}
