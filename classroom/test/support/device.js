// A learner's device as a pupil holds it: it joins with the session's code, keeps its cookies, and speaks
// SockJS over the transport of the test.

import SockJS from 'sockjs-client';

import { patientCodec } from './codec.js';
import { LINE_MS, RestClient, until } from './service.js';

const codec = patientCodec();

export class Device {
  rest;
  bodies = [];
  errors = [];
  closing = null; // {code, reason} when the line has gone

  constructor(url) {
    this.url = url;
    this.rest = new RestClient(url);
  }

  /** The reply to a join; with a sign-in of the teacher's, it may be a controller's. */
  async join(sessionCode, userName = 'Ada', mode = 'learner') {
    const reply = await this.rest.postJson('/vantora/classroom/session/join', {
      userName, sessionCode, mode, deviceName: `${userName}'s tablet`, deviceType: 'tablet',
    });
    Object.assign(this, reply.json?.data);
    return reply;
  }

  /** Opens a line that says nothing yet. */
  async open(transport) {
    this.closing = null;
    const socket = new SockJS(`${this.url}/eventbus`, null, { transports: [transport], timeout: LINE_MS });
    this.socket = socket;
    socket.onmessage = ({ data }) => this.#take(JSON.parse(data));
    socket.onclose = ({ code, reason }) => {
      if (this.socket === socket) {
        this.closing = { code, reason };
      }
    };
    await new Promise((resolve, reject) => {
      socket.onopen = resolve;
      socket.addEventListener('close', ({ code, reason }) => reject(new Error(`closed: ${code} ${reason}`)));
    });
    return this;
  }

  /** Opens a line and registers as learners do. */
  async enter(transport) {
    await this.open(transport);
    [this.sessionToken, `${this.sessionToken}.learner`, `${this.sessionToken}.user.${this.userToken}`]
      .forEach((address) => this.send({ type: 'register', address }));
    return this;
  }

  send(envelope) {
    this.socket.send(typeof envelope === 'string' ? envelope : JSON.stringify(envelope));
  }

  publish(place, type, payload, fields = {}) {
    const body = { type, data: codec.pack(JSON.stringify(payload), 'base64'), ...fields };
    this.send({ type: 'publish', address: `${this.sessionToken}${place}`, body });
  }

  answer(questionId, answer) {
    this.publish('.presenter', 'questionResponse', { questionId, questionSetMode: 'Poll', answer, optionAnswers: [] });
  }

  /** The bodies of a type or action, once there are so many. */
  heard(type, count = 1) {
    return until(() => {
      const bodies = this.bodies.filter((body) => (body.type ?? body.action) === type);
      return bodies.length >= count && bodies;
    });
  }

  close() {
    this.socket?.close();
  }

  #take({ type, body, message }) {
    if (type === 'error') {
      this.errors.push(message);
    } else {
      this.bodies.push(body);
    }
  }
}
