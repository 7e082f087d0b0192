// A class over TLS, with a certificate of its own.

import assert from 'node:assert/strict';
import test from 'node:test';

import { startService } from '../../classroom/test/support/service.js';
import { newDevice } from './support/browser.js';
import { newTrustedCertificate } from './support/certificate.js';
import { openClass } from './support/class.js';

test('a learner joins and answers, and the page trusts this certificate alone', async (t) => {
  const certificate = newTrustedCertificate(t);
  const { url, host, learner } = await openClass(t, { certificate });
  assert.match(url, /^https:/);
  for (const [transports, name] of [['websocket', 'Ada'], ['xhr-polling', 'Ben']]) {
    const device = await learner(name, { transports });
    await host.ask('MULTIPLE', `${name}?`, ['Yes', 'No']);
    await device.sees(`${name}?`);
    await device.choose(/Yes$/);
    await device.isHeard();
    await host.call('stopActivity');
  }
  await host.answered(2);
  await refusesOthers(t, certificate);
});

async function refusesOthers(t, certificate) {
  const page = await (await newDevice(t, certificate)).newPage();
  const { cert, key } = newTrustedCertificate(t);
  const other = await startService(t, '--serve', '--password', 'secret', '--tls', cert, key);
  await assert.rejects(page.goto(other.url), /ERR_CERT_AUTHORITY_INVALID/);
}
