// The learners' devices, in a process of their own. Its parent sends one message, which says how many come
// and to which class; each device joins, opens its line, answers a question when it has it, and has seen a
// slide when the slide's bytes are there. What it says has been made before. The process ends with its
// parent's connection.

import { LINES, request } from './lines.js';

// As many doors as devices come through at the same time.
const DOORS = 50;

class Device {
  #plan;
  #number;
  #line;
  #user;

  constructor(plan, number) {
    this.#plan = plan;
    this.#number = number;
  }

  async come() {
    const { url, sessionCode, transport, device } = this.#plan;
    const details = { ...device, sessionCode, mode: 'learner', deviceName: 'Tablet' };
    const { status, head } = await request('POST', `${url}/vantora/classroom/session/join`, JSON.stringify(details));
    if (status !== 200) {
      throw new Error(`a device cannot join: ${status} ${head}`);
    }
    this.#user = JSON.parse(head).data;
    const place = `${url}/eventbus/119/${String(this.#number).padStart(8, '0')}`;
    this.#line = new LINES[transport](place, { hears: (frame) => this.#hear(frame), fails: report });
    await this.#line.opened;
    this.#enter();
  }

  #enter() {
    const { sessionToken, userToken } = this.#user;
    const addresses = [sessionToken, `${sessionToken}.learner`, `${sessionToken}.user.${userToken}`];
    this.#line.send([
      ...addresses.map((address) => JSON.stringify({ type: 'register', address })),
      this.#toPresenter('join'),
    ]);
  }

  #hear(frame) {
    if (frame.includes('questionStart')) {
      this.#line.send([this.#toPresenter('questionResponse')]);
    } else if (frame.includes('showCard')) {
      this.#see().catch(report);
    }
  }

  async #see() {
    const { slideUrl } = this.#plan;
    if (slideUrl) {
      const { status, bytes } = await request('GET', slideUrl);
      if (status !== 200 || bytes !== this.#plan.slideBytes) {
        throw new Error(`no slide: ${status}, ${bytes} bytes`);
      }
    }
    process.send({ seen: true });
  }

  #toPresenter(type) {
    const { sessionToken, userToken } = this.#user;
    return JSON.stringify({
      type: 'publish',
      address: `${sessionToken}.presenter`,
      body: { from: userToken, type, ...this.#plan.common, data: this.#plan.payloads[type] },
    });
  }
}

function report(error) {
  if (process.connected) {
    process.send({ error: error.message });
  }
}

process.on('disconnect', () => process.exit());
process.once('message', async (plan) => {
  const coming = Array.from({ length: plan.count }, (_, i) => new Device(plan, plan.first + i)).values();
  const door = async () => {
    for (const device of coming) {
      await device.come().catch(report);
    }
  };
  await Promise.all(Array.from({ length: DOORS }, door));
});
