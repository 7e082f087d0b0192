// What tests read payloads with: on a busy machine decoding may take longer than the service bears.

import { Codec } from '../../src/codec/codec.js';
import { limitsWith } from '../../src/limits.js';

export const PATIENT = { decodingMs: 120_000 };

/** A codec; limits: changed bounds. */
export function patientCodec(limits = {}) {
  return new Codec({ limits: limitsWith({ ...PATIENT, ...limits }) });
}
