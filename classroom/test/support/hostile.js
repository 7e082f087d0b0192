// A class that is attacked, in the two ways the service runs, and what shows that it has held.

import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';

import { newCertificate } from './certificate.js';
import { Device } from './device.js';
import { Presenter, RestClient, startService } from './service.js';

/** How the service is started, by the name that tests show. */
export const WAYS = {
  'a local service': () => [],
  'a served class': () => ['--serve', '--password', 'secret', '--control-port', '0'],
  'a served class over TLS': (t) => {
    const { cert, key } = newCertificate(t);
    return ['--serve', '--password', 'secret', '--control-port', '0', '--tls', cert, key];
  },
};

/** Runs the test for each way and each transport. */
export function forEach(ways, transports, define) {
  for (const way of ways) {
    for (const transport of transports) {
      define(way, transport, `${way} over ${transport}`);
    }
  }
}

/** A class with its presenter: arrive(name) brings a learner, holds() says that all of it still works. */
export async function startClass(t, way, transport, ...args) {
  // The certificate is the test's own.
  process.env.NODE_TLS_REJECT_UNAUTHORIZED = '0';
  const service = await startService(t, ...WAYS[way](t), ...args);
  const rest = new RestClient(service.url);
  assert.equal((await rest.signIn()).status, 200);
  const session = await rest.startSession();
  const presenter = await Presenter.open(service.url, session);
  t.after(() => presenter.close());
  const newDevice = async (name) => {
    const device = new Device(service.url);
    t.after(() => device.close());
    assert.equal((await device.join(session.sessionCode, name)).status, 200);
    return device;
  };
  const arrive = async (name) => {
    const device = await (await newDevice(name)).enter(transport);
    await presenter.meets(device);
    return device;
  };
  let asked = 0;
  return {
    service,
    rest,
    session,
    presenter,
    newDevice,
    arrive,
    peakMb: () => peakMb(service.child.pid),
    // An honest learner comes, is asked and answers; resolves with the time that took.
    holds: async () => {
      const start = Date.now();
      const id = `honest-${++asked}`;
      const device = await arrive('Honest');
      presenter.publish('', 'questionStart', JSON.stringify({ id }));
      await device.heard('questionStart');
      device.answer(id, 'A');
      await device.heard('confirmed');
      device.close();
      assert.equal(service.child.exitCode, null);
      return Date.now() - start;
    },
  };
}

/** The most memory that a process has had, in MB. */
export function peakMb(pid) {
  return Number(/VmHWM:\s+(\d+)/.exec(readFileSync(`/proc/${pid}/status`, 'utf8'))[1]) / 1024;
}
