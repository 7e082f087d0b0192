// A picture of 2 MB for a whole class on XHR polling: what it takes of the service.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import http from 'node:http';
import { test } from 'node:test';

import { peakMb } from './support/hostile.js';
import { Presenter, RestClient, startService } from './support/service.js';
import { uploadForm } from './support/rest.js';

const DEVICES = 300;
const PICTURE = Buffer.concat([Buffer.from('\x89PNG\r\n\x1a\n', 'latin1'), randomBytes(2_000_000)]);

// One device on one socket: requests follow one another.
class Poller {
  #agent = new http.Agent({ keepAlive: true, maxSockets: 1 });

  constructor(url, number) {
    this.url = url;
    this.path = `/eventbus/119/device${number}`;
    this.userName = `Learner ${number}`;
  }

  async enter(sessionCode) {
    const joined = await this.ask('/vantora/classroom/session/join', {
      userName: this.userName, sessionCode, mode: 'learner', deviceName: 'phone', deviceType: 'phone',
    });
    const { sessionToken, userToken } = JSON.parse(joined).data;
    await this.ask(`${this.path}/xhr`);
    const registrations = ['', '.learner', `.user.${userToken}`].map((place) => JSON.stringify({ type: 'register', address: sessionToken + place }));
    await this.ask(`${this.path}/xhr_send`, registrations);
  }

  poll() {
    return this.ask(`${this.path}/xhr`);
  }

  ask(path, json) {
    return new Promise((resolve, reject) => {
      const method = path.includes('download') ? 'GET' : 'POST';
      const request = http.request(this.url + path, { method, agent: this.#agent }, (response) => {
        const parts = [];
        response.on('data', (part) => parts.push(part)).on('end', () => resolve(Buffer.concat(parts))).on('error', reject);
      });
      request.on('error', reject).end(json && JSON.stringify(json));
    });
  }

  close() {
    this.#agent.destroy();
  }
}

async function startClass(t) {
  const service = await startService(t, '--serve', '--password', 'secret');
  const rest = new RestClient(service.url);
  await rest.signIn();
  const session = await rest.startSession();
  const presenter = await Presenter.open(service.url, session);
  const devices = Array.from({ length: DEVICES }, (_, number) => new Poller(service.url, number));
  t.after(() => [presenter, ...devices].forEach((device) => device.close()));
  await Promise.all(devices.map((device) => device.enter(session.sessionCode)));
  await presenter.received('register', DEVICES);
  return { service, rest, session, presenter, devices };
}

test('a picture that is sent by its address is loaded by everybody and stays small', async (t) => {
  const { service, rest, presenter, devices } = await startClass(t);
  const uploaded = await rest.post('/vantora/resource/uploadResourceFile', uploadForm(PICTURE),
    'multipart/form-data; charset=UTF-8; boundary=----boundary');
  const { id } = uploaded.json.data;
  const polls = devices.map((device) => device.poll());
  presenter.publish('.learner', 'showCard', JSON.stringify({ url: `/vantora/resource/downloadResourceFile?resourceId=${id}` }));
  await Promise.all(devices.map(async (device, i) => {
    assert.match(String(await polls[i]), /showCard/);
    const loaded = await device.ask(`/vantora/resource/downloadResourceFile?resourceId=${id}`);
    assert.ok(PICTURE.equals(loaded), loaded.subarray(0, 200).toString());
  }));
  assert.ok(peakMb(service.child.pid) < 300, `${peakMb(service.child.pid)} MB`);
});

test('a picture that a host sends whole reaches everybody as it is', async (t) => {
  const { service, session, presenter, devices } = await startClass(t);
  const polls = devices.map((device) => device.poll());
  const data = [PICTURE.toString('base64')];
  presenter.send({ type: 'publish', address: `${session.sessionToken}.learner`, body: { type: 'showCard', data } });
  for (const poll of polls) {
    const [text] = JSON.parse(String(await poll).slice(1));
    assert.deepEqual(JSON.parse(text).body, { type: 'showCard', data, from: 'presenter' });
  }
  assert.ok(peakMb(service.child.pid) < 300, `${peakMb(service.child.pid)} MB`);
});
