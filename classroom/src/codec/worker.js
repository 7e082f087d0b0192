// Decodes large blocks off the main thread, so that a card image of several MB does not hold up the
// bus. Receives {id, block}, answers {id, text} or {id, error}.

import { parentPort } from 'node:worker_threads';

import { decompressBlock } from './block.js';

parentPort.on('message', ({ id, block }) => {
  try {
    parentPort.postMessage({ id, text: decompressBlock(Buffer.from(block)) });
  } catch (error) {
    parentPort.postMessage({ id, error: error.message });
  }
});
