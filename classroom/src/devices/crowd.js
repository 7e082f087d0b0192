// The simulated devices of every running session. They come when the presenter's channel is up (its
// presenter address is registered), so that the presenter hears each of them join, and go when the
// session stops.

import { setImmediate as nextTurn, setTimeout as pause } from 'node:timers/promises';

import { describeLearner, Learner } from './learner.js';
import { Remote, REMOTE_DETAILS } from './remote.js';

export class Crowd {
  #services;
  #options;
  #sessions = new Map(); // by session token: {session, learners, joined, remote}

  constructor(services, options) {
    this.#services = services;
    this.#options = options;
    services.bus.on('registered', (connection, { sessionToken, place }) => {
      if (place === '.presenter' && !this.#sessions.has(sessionToken)) {
        this.#welcome(services.sessions.withToken(sessionToken));
      }
    });
    services.sessions.on('stopped', (session) => this.#dismiss(session));
  }

  /** Lets `count` more learners join a session, as far as it has room; resolves with them. */
  async addLearners(session, count) {
    const group = this.#groupOf(session);
    const added = [];
    for (let i = 0; i < count; ++i) {
      await (this.#options.joinEveryMs > 0 ? pause(this.#options.joinEveryMs) : nextTurn());
      const user = this.#services.sessions.isRunning(session.token)
        ? this.#services.sessions.join(session, describeLearner(group.joined))
        : null;
      if (user === null) {
        break;
      }
      const learner = new Learner(this.#services, session, user, group.joined++, this.#options);
      group.learners.push(learner);
      learner.join();
      added.push(learner);
    }
    return added;
  }

  /** Lets the session's remote controller join, unless it is there already; null when there is no room. */
  addRemote(session) {
    const group = this.#groupOf(session);
    if (!group.remote?.isConnected) {
      const user = this.#services.sessions.join(session, REMOTE_DETAILS);
      group.remote = user && new Remote(this.#services, session, user);
      group.remote?.join();
    }
    return group.remote;
  }

  /** The learners that are connected. */
  get learners() {
    return [...this.#sessions.values()].flatMap(({ learners }) => learners).filter((learner) => learner.isConnected);
  }

  /** The remote controllers that are connected. */
  get remotes() {
    return [...this.#sessions.values()].map(({ remote }) => remote).filter((remote) => remote?.isConnected);
  }

  #welcome(session) {
    this.addLearners(session, this.#options.learners);
    if (this.#options.remote) {
      this.addRemote(session)?.play(this.#options.remoteCommands, this.#options.remoteEveryMs);
    }
  }

  #dismiss(session) {
    const group = this.#sessions.get(session.token);
    this.#sessions.delete(session.token);
    group?.learners.forEach((learner) => learner.leave('session stopped'));
    group?.remote?.leave('session stopped');
  }

  #groupOf(session) {
    let group = this.#sessions.get(session.token);
    if (!group) {
      group = { session, learners: [], joined: 0, remote: null };
      this.#sessions.set(session.token, group);
    }
    return group;
  }
}
