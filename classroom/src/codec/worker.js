// A decoder's thread. Receives a batch of jobs, each {data, maxBytes} to unpack or {pack, form} to pack, and
// answers with {results} in the order of the jobs; before that, if they take their time, with {declared},
// the bytes that it is going to decode. What declares more than workerData.atOnceBytes is not decoded here:
// its result is {large: true}.

import { parentPort, workerData } from 'node:worker_threads';

import { asItCame, decode, measure, packText } from './payload.js';

// Compressing takes so much longer than decoding.
const PACKING_WEIGHT = 8;

// A trip between the threads takes half as long as decoding a small message.
const UNANNOUNCED_BYTES = 64 * 1024;

parentPort.on('message', (jobs) => {
  const measured = jobs.map((job) => attempt(job, () => begun(job)));
  const declared = measured.reduce((sum, found) => sum + (found.declared ?? 0), 0);
  if (declared > UNANNOUNCED_BYTES) {
    parentPort.postMessage({ declared });
  }
  parentPort.postMessage({ results: measured.map((found, at) => attempt(jobs[at], () => finished(found))) });
});

function begun({ data, maxBytes, pack, form }) {
  if (pack !== undefined) {
    return { declared: pack.length * PACKING_WEIGHT, pack, form };
  }
  const found = measure(data, maxBytes);
  return found.declared > workerData.atOnceBytes ? { large: true } : found;
}

function finished(found) {
  if (found.pack !== undefined) {
    return { data: packText(found.pack, found.form) };
  }
  return found.blocks ? decode(found) : found;
}

function attempt({ data, maxBytes, pack }, run) {
  try {
    return run();
  } catch (error) {
    return pack === undefined ? asItCame(data, maxBytes, error) : { error: error.message };
  }
}
