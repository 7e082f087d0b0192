// Where a line's messages leave for the network: the socket of its web socket, or the response to one of
// its requests.

export class Outlet {
  #writable;
  #taken = 0;
  #takenAt = Date.now();

  /** writable: what counts the bytes that wait; socket: what the network takes them from. */
  constructor(writable, socket) {
    this.#writable = writable;
    this.socket = socket;
  }

  get waiting() {
    return this.#writable.writableLength;
  }

  /** Whether something waits here of which nothing was taken for so long, as far as anybody looked. */
  isStalled(stalledMs, now) {
    const taken = takenFrom(this.socket);
    if (this.waiting === 0 || taken > this.#taken) {
      this.#taken = Math.max(taken, this.#taken);
      this.#takenAt = now;
    }
    return now - this.#takenAt >= stalledMs;
  }
}

// What was written and does not wait in the socket any more. The stream knows only of whole writes, and
// one of them may be a picture that takes minutes. Below TLS is the network's own socket.
function takenFrom({ _handle: handle }) {
  const { bytesWritten = 0, writeQueueSize = 0 } = handle?._parent ?? handle ?? {};
  return bytesWritten - writeQueueSize;
}
