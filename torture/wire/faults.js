// Which faults there are: every way to the service, every kind, every connection, both directions, and of the
// bytes all where a connection begins and ends, and some between.

const EDGE = 200; // bytes at each end of a connection, every one of them
const STEPS = { cut: 16, reset: 16, stall: 64 }; // between

const GOLDEN = (Math.sqrt(5) - 1) / 2; // multiples of it never crowd

const TLS = '-tls';
const ROUTES = {
  'ws': { transport: 'websocket' },
  'polling': { transport: 'xhr-polling' },
  'robust-ws': { transport: 'websocket', isRobust: true },
  'robust-streaming': { transport: 'xhr-streaming', isRobust: true },
  'robust-polling': { transport: 'xhr-polling', isRobust: true },
};

/** The names of ways: those that are asked for, with TLS or without. */
export function wayNames(names, isTls) {
  return names.map((name) => name + (isTls ? TLS : ''));
}

/** What a name stands for: {name, transport, isRobust, isTls}, or null. */
export function wayNamed(name) {
  const isTls = name.endsWith(TLS);
  const route = ROUTES[isTls ? name.slice(0, -TLS.length) : name];
  return route ? { name, isRobust: false, isTls, ...route } : null;
}

/** As people type it: ws:cut:2:up:117. */
export function faultName({ way, kind, connection, direction, byte }) {
  return [way, kind, connection, direction, byte].join(':');
}

/** The fault of such a name, or null. */
export function faultNamed(name) {
  const [, way, kind, connection, direction, byte] = /^([a-z-]+):(cut|reset|stall):(\d+):(up|down):(\d+)$/.exec(name) ?? [];
  return kind && wayNamed(way) ? { way, kind, connection: Number(connection), direction, byte: Number(byte) } : null;
}

/** lengths: of each connection of an undisturbed lesson, {up, down}. */
export function faultsOf(way, kind, lengths) {
  return lengths.flatMap((length, i) => ['up', 'down'].flatMap((direction) => bytesOf(kind, length[direction])
    .map((byte) => ({ way, kind, connection: i + 1, direction, byte }))));
}

function bytesOf(kind, length) {
  const step = STEPS[kind];
  const isMeant = (byte) => byte % step === 0 || (kind !== 'stall' && (byte < EDGE || byte > length - EDGE));
  return Array.from({ length: length + 1 }, (_, byte) => byte).filter(isMeant);
}

/** All of them, in an order of which every beginning is spread evenly over the whole. */
export function scattered(faults) {
  const count = faults.length;
  let step = Math.round(count * GOLDEN);
  while (count > 1 && divisor(step, count) !== 1) {
    step += 1;
  }
  return faults.map((_, i) => faults[(i * step) % count]);
}

function divisor(a, b) {
  return b === 0 ? a : divisor(b, a % b);
}
