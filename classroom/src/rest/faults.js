// Faults on request: a path of the REST interface can be made to answer late, with another status or
// body, or not at all. Set through the control endpoints.

import { setTimeout as pause } from 'node:timers/promises';

export class Faults {
  #pending = [];

  /**
   * Adds a fault: {path, times, delayMs, status, body, headers, hangUp}. It applies to the next
   * `times` requests of the path (1 unless given). With only a delay the real reply follows; the
   * headers go with a status or body.
   */
  add({ path, times = 1, delayMs = 0, status, body, headers = {}, hangUp = false }) {
    this.#pending.push({ path, times, delayMs, status, body, headers, hangUp });
  }

  clear() {
    this.#pending = [];
  }

  /** Waits as the path's fault says; the reply to give instead of the real one, or null. */
  async apply(path) {
    const fault = this.#pending.find((candidate) => candidate.path === path);
    if (!fault) {
      return null;
    }
    fault.times -= 1;
    this.#pending = this.#pending.filter((candidate) => candidate.times > 0);
    if (fault.delayMs > 0) {
      await pause(fault.delayMs, null, { ref: false });
    }
    if (fault.hangUp) {
      return { status: 0, body: '', hangUp: true };
    }
    return fault.status === undefined && fault.body === undefined
      ? null
      : { status: fault.status ?? 200, body: fault.body ?? '', headers: fault.headers };
  }
}
