// Which requests lead to the bus. Everything else below its prefix is not there: neither the SockJS
// server's own pages nor its transports for browsers of old.

/** Devices find the bus here, below the collaboration server's URL. */
export const BUS_PREFIX = '/eventbus';

// The transports that can be switched off, with the path that opens them.
const TRANSPORT_PATHS = {
  'websocket': 'websocket',
  'xhr-streaming': 'xhr_streaming',
  'xhr-polling': 'xhr',
  'eventsource': 'eventsource',
};

export const TRANSPORTS = Object.keys(TRANSPORT_PATHS);

// How each path of a session may be asked for. The one that devices send on belongs to all but the web
// socket.
const METHODS = {
  websocket: ['upgrade'],
  xhr: ['POST', 'OPTIONS'],
  xhr_streaming: ['POST', 'OPTIONS'],
  eventsource: ['GET'],
  xhr_send: ['POST', 'OPTIONS'],
};

const INFO_METHODS = ['GET', 'OPTIONS'];

const BELOW_PREFIX = new RegExp(`^${BUS_PREFIX}(?=[/?#]|$)`);
const INFO = new RegExp(`^(${BUS_PREFIX}/info)(?:\\?|$)`);
const SESSION = new RegExp(`^(${BUS_PREFIX}/[\\w-]{1,64}/([\\w-]{1,64})/([a-z_]+))(?:\\?|$)`);

/** Whether a request is one for the bus at all. */
export function isForBus(url) {
  return BELOW_PREFIX.test(url);
}

/** The doors that are open when these transports are offered. */
export class Doors {
  #paths;

  constructor(transports) {
    const paths = transports.map((name) => TRANSPORT_PATHS[name]);
    this.#paths = new Set(paths);
    if (paths.some((path) => path !== TRANSPORT_PATHS.websocket)) {
      this.#paths.add('xhr_send');
    }
  }

  /**
   * Where a request leads: {path, method, session, transport}, path being without the query, or null.
   * The method is "upgrade" for an upgrade.
   */
  find(method, url) {
    const [, infoPath] = INFO.exec(url) ?? [];
    if (infoPath) {
      return INFO_METHODS.includes(method) ? { path: infoPath, method, session: null, transport: 'info' } : null;
    }
    const [, path, session, transport] = SESSION.exec(url) ?? [];
    const isOpen = this.#paths.has(transport) && METHODS[transport].includes(method);
    // The SockJS server looks its sessions up in an object that knows these names already.
    return isOpen && !(session in {}) ? { path, method, session, transport } : null;
  }
}
