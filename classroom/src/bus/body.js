// Reads the body of a post into one buffer, and no more of it than it may have.

const FIRST_BYTES = 4 * 1024;

/**
 * Resolves with the text; with null when there is more than `bound` bytes of it; rejects when the device
 * goes away. The body of a line that has not said who it is may say so itself: when mayBeLarge() says
 * yes to its first bytes, `largeBound` holds.
 */
export function readText(request, { bound, largeBound = bound, mayBeLarge = () => false }) {
  if (Number(request.headers['content-length'] ?? 0) > largeBound) {
    return Promise.resolve(null);
  }
  const body = new GrowingBuffer();
  let allowed = bound;
  return new Promise((resolve, reject) => {
    request.on('data', function take(chunk) {
      body.add(chunk);
      if (body.length > allowed && allowed < largeBound && mayBeLarge(body.text(FIRST_BYTES))) {
        allowed = largeBound;
      }
      if (body.length > allowed) {
        request.off('data', take).pause();
        resolve(null);
      }
    });
    request.on('end', () => resolve(body.text()));
    request.on('close', () => request.readableEnded || reject(new Error('the device went away')));
  });
}

// A body may come one byte at a time; a list of such pieces would take a hundred times its size.
class GrowingBuffer {
  #bytes = Buffer.allocUnsafe(FIRST_BYTES);

  length = 0;

  add(chunk) {
    const length = this.length + chunk.length;
    if (length > this.#bytes.length) {
      const larger = Buffer.allocUnsafe(Math.max(length, 2 * this.#bytes.length));
      this.#bytes.copy(larger, 0, 0, this.length);
      this.#bytes = larger;
    }
    chunk.copy(this.#bytes, this.length);
    this.length = length;
  }

  text(most = this.length) {
    return this.#bytes.toString('utf8', 0, Math.min(most, this.length));
  }
}
