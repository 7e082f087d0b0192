// A certificate for this machine, made anew for a test by the program openssl.

import { execFileSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

/** A folder that goes with the test. */
export function temporaryFolder(t) {
  const folder = mkdtempSync(join(tmpdir(), 'classroom-'));
  t.after(() => rmSync(folder, { recursive: true }));
  return folder;
}

/** The files of a new certificate for 127.0.0.1: {cert, key}. */
export function newCertificate(t) {
  const folder = temporaryFolder(t);
  const [cert, key] = [join(folder, 'cert.pem'), join(folder, 'key.pem')];
  execFileSync('openssl', ['req', '-x509', '-newkey', 'ec', '-pkeyopt', 'ec_paramgen_curve:P-256', '-nodes',
    '-days', '2', '-subj', '/CN=localhost', '-addext', 'subjectAltName=IP:127.0.0.1', '-keyout', key, '-out', cert],
  { stdio: 'ignore' });
  return { cert, key };
}

/** The same as the texts of the files. */
export function newCertificateTexts(t) {
  const { cert, key } = newCertificate(t);
  return { cert: readFileSync(cert), key: readFileSync(key) };
}
