// A certificate for this machine and, for the browser, the hash of its key: it is to trust this one alone.

import { createHash, X509Certificate } from 'node:crypto';
import { readFileSync } from 'node:fs';

import { newCertificate } from '../../../classroom/test/support/certificate.js';

/** {cert, key, trustedKey}: two files, and the hash that the browser takes. */
export function newTrustedCertificate(t) {
  const { cert, key } = newCertificate(t);
  const der = new X509Certificate(readFileSync(cert)).publicKey.export({ type: 'spki', format: 'der' });
  return { cert, key, trustedKey: createHash('sha256').update(der).digest('base64') };
}
