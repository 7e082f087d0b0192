// A line to the service that can be cut, stalled and reset, as those in a school are.

import { once } from 'node:events';
import net from 'node:net';

export class Proxy {
  #target;
  #server = net.createServer((socket) => this.#take(socket));
  #sockets = new Set();
  #mode = 'open';

  /** Starts one in front of the service of this address; it ends with the test. */
  static async start(t, url) {
    const proxy = new Proxy();
    proxy.#target = Number(new URL(url).port);
    proxy.#server.listen(0, '127.0.0.1');
    await once(proxy.#server, 'listening');
    t.after(() => {
      proxy.#server.close();
      proxy.#end((socket) => socket.destroy());
    });
    proxy.url = `${new URL(url).protocol}//127.0.0.1:${proxy.#server.address().port}`;
    return proxy;
  }

  /** Ends all connections, and lets nobody in. */
  cut() {
    this.#mode = 'closed';
    this.#end((socket) => socket.destroy());
  }

  /** The same, as a middlebox that has forgotten the connections does it. */
  reset() {
    this.#mode = 'closed';
    this.#end((socket) => socket.resetAndDestroy());
  }

  /** Passes nothing on, without a word. */
  stall() {
    this.#mode = 'stalled';
    this.#sockets.forEach((socket) => socket.pause());
  }

  /** Lets everything through again, also what has waited. */
  letThrough() {
    this.#mode = 'open';
    this.#sockets.forEach((socket) => socket.resume());
  }

  #take(near) {
    if (this.#mode === 'closed') {
      near.resetAndDestroy();
      return;
    }
    const far = net.connect(this.#target, '127.0.0.1');
    this.#pass(near, far);
    this.#pass(far, near);
  }

  // When a side goes, so does the other.
  #pass(from, to) {
    this.#sockets.add(from);
    from.on('data', (bytes) => to.write(bytes));
    from.on('error', () => {});
    from.on('close', () => {
      this.#sockets.delete(from);
      to.destroy();
    });
    from.on('end', () => to.end());
    if (this.#mode === 'stalled') {
      from.pause();
    }
  }

  #end(how) {
    [...this.#sockets].forEach(how);
  }
}
