// A class in a room: the service as a school runs it, the teacher's host, and devices that open its pages.

import assert from 'node:assert/strict';

import { startService } from '../../../classroom/test/support/service.js';
import { newDevice } from './browser.js';
import { LessonHost } from './host.js';
import { Learner } from './learner.js';
import { Proxy } from './proxy.js';
import { Remote } from './remote.js';

const PASSWORD = 'apple tree 7';

/**
 * A class that learners can join: {host, learner(name), remote(), ...}.
 *
 * transports: those of the host; behindProxy: the devices come through `proxy`, the host does not;
 * certificate: what newTrustedCertificate() made, for TLS.
 */
export async function openClass(t, { transports, behindProxy = false, certificate, serviceArgs = [] } = {}) {
  const tls = certificate ? ['--tls', certificate.cert, certificate.key] : [];
  const service = await startService(t, '--serve', '--password', PASSWORD, ...tls, ...serviceArgs);
  const host = await LessonHost.start(t, { url: service.url, password: PASSWORD, transports, ca: certificate?.cert });
  const proxy = behindProxy ? await Proxy.start(t, service.url) : null;
  const { url } = proxy ?? service;

  const screens = [];
  t.after(() => screens.forEach(({ faults }) => assert.deepEqual(faults, [])));
  // A page of the kind given, on a device of its own or on the one that is told.
  const put = async (Page, { on = null, ...options }) => {
    const device = on ?? await newDevice(t, certificate);
    const screen = new Page(await device.newPage(), { url, code: host.code, password: PASSWORD, ...options });
    screens.push(screen);
    return Object.assign(screen, { device });
  };
  const newLearner = (name = 'Ada', options = {}) => put(Learner, { name, ...options });
  const newRemote = (options = {}) => put(Remote, options);
  return {
    service,
    url,
    host,
    proxy,
    newLearner, // whose page is not open yet
    learner: async (name, options) => (await newLearner(name, options)).join(),
    newRemote,
    remote: async (options) => (await newRemote(options)).enter(),
  };
}
