// A line between a lesson and the service that breaks at a byte. It understands nothing of what it carries:
// it counts connections, in the order in which they are accepted, and the bytes that they pass on.

import { once } from 'node:events';
import net from 'node:net';

/** What can become of a connection. */
export const KINDS = ['cut', 'reset', 'stall'];

export class FaultProxy {
  lengths = []; // of each connection so far, what has been passed on: {up, down}
  hasFired = false;
  #target;
  #fault;
  #sockets = new Set();
  #server = net.createServer({ allowHalfOpen: true }, (near) => this.#take(near));

  /**
   * Starts one in front of the service at url. fault: {kind, connection, direction, byte}, or null. The first
   * connection is number 1; "up" is what the lesson says, "down" what it hears; the fault comes as soon as so
   * many bytes have passed, with 0 when the connection is accepted.
   */
  static async start(url, fault = null) {
    if (fault?.kind === 'reset' && !net.Socket.prototype.resetAndDestroy) {
      throw new Error('Resetting a connection needs Node.js 18.3.');
    }
    const proxy = new FaultProxy();
    const { protocol, port } = new URL(url);
    proxy.#target = Number(port);
    proxy.#fault = fault;
    proxy.#server.listen(0, '127.0.0.1');
    await once(proxy.#server, 'listening');
    proxy.url = `${protocol}//127.0.0.1:${proxy.#server.address().port}`;
    return proxy;
  }

  stop() {
    this.#server.close();
    this.#sockets.forEach((socket) => socket.destroy());
  }

  #take(near) {
    const passed = { up: 0, down: 0 };
    this.lengths.push(passed);
    const far = net.connect({ port: this.#target, host: '127.0.0.1', allowHalfOpen: true });
    const line = { near, far, passed, isBroken: false };
    const isMeant = this.#fault?.connection === this.lengths.length;
    const limits = { up: Infinity, down: Infinity, ...isMeant && { [this.#fault.direction]: this.#fault.byte } };
    this.#pass(line, near, far, 'up', limits.up);
    this.#pass(line, far, near, 'down', limits.down);
    if (limits.up === 0 || limits.down === 0) {
      this.#break(line);
    }
  }

  #pass(line, from, to, direction, limit) {
    this.#sockets.add(from);
    from.setNoDelay(true);
    from.on('data', (bytes) => {
      if (line.isBroken) {
        return; // behind a cut, both sides talk to nobody
      }
      const part = bytes.subarray(0, limit - line.passed[direction]);
      line.passed[direction] += part.length;
      to.write(part, line.passed[direction] === limit ? () => this.#break(line) : undefined);
      line.isBroken = line.passed[direction] === limit;
    });
    from.on('end', () => line.isBroken || to.end());
    from.on('error', () => line.isBroken || reset(to));
    from.on('close', () => {
      this.#sockets.delete(from);
      line.isBroken || to.destroySoon();
    });
  }

  // What has passed so far is with the system and arrives.
  #break(line) {
    line.isBroken = true;
    this.hasFired = true;
    const { kind } = this.#fault;
    [line.near, line.far].forEach((socket) => {
      if (kind === 'cut') {
        socket.end();
      } else if (kind === 'reset') {
        reset(socket);
      } else {
        socket.pause();
      }
    });
  }
}

function reset(socket) {
  socket.resetAndDestroy?.() ?? socket.destroy();
}
