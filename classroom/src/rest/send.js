// Sending a reply's body at the speed of its reader.

// What is handed to a connection at a time. A reply that hundreds of slow devices load stays one buffer
// in memory, also where every connection encrypts what it is handed.
const SLICE_BYTES = 16 * 1024;

/** Sends the body, bytes or a text, and ends the reply; a client that takes nothing for `patienceMs` is cut. */
export async function sendBody(response, body, patienceMs) {
  const timer = setTimeout(() => response.destroy(), patienceMs).unref();
  response.on('drain', () => timer.refresh()).once('close', () => clearTimeout(timer));
  if (body.length <= SLICE_BYTES) {
    response.end(body); // a text leaves together with its header
    return;
  }
  const bytes = Buffer.isBuffer(body) ? body : Buffer.from(body);
  let start = 0;
  while (bytes.length - start > SLICE_BYTES && !response.destroyed) {
    const isTaken = response.write(bytes.subarray(start, start + SLICE_BYTES));
    start += SLICE_BYTES;
    if (!isTaken) {
      await drainOrClose(response);
    }
  }
  if (!response.destroyed) {
    response.end(bytes.subarray(start));
  }
}

function drainOrClose(response) {
  return new Promise((resolve) => {
    const done = () => {
      response.off('drain', done).off('close', done);
      resolve();
    };
    response.on('drain', done).on('close', done);
  });
}
