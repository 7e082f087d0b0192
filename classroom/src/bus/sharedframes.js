// Frames of large messages. A picture goes to a whole class: it is quoted and encoded once, and what waits
// in the sockets of slow devices is that one piece of memory, whatever stands around it. The SockJS server
// by itself quotes and encodes the message anew for each of them.

import utils from 'sockjs/lib/utils.js';

const LARGE_CHARS = 64 * 1024;

const FINAL_TEXT = 0x81;
const LENGTH_OF_8_BYTES = 127;
const HEADER_BYTES = 10;

const BEGINNING = Buffer.from('a["');
const END = Buffer.from('"]');

// What stands around a frame in a response, by the transport, and what its frames are written with.
const IN_RESPONSES = {
  'xhr-streaming': { before: [], after: [Buffer.from('\n')], encode: quoted },
  'xhr-polling': { before: [], after: [Buffer.from('\n')], encode: quoted },
  'eventsource': { before: [Buffer.from('data: ')], after: [Buffer.from('\r\n\r\n')], encode: quotedForEvents },
};

export class SharedFrames {
  // By the way it is encoded, then by the part of a message: its bytes.
  #encoded = new Map([[quoted, new WeakMap()], [quotedForEvents, new WeakMap()]]);

  isLarge(message) {
    return message.text.length >= LARGE_CHARS;
  }

  /**
   * Sends one message to a receiver of the SockJS server; false if it has to do that itself. A message is
   * {text}; it may have parts, which are texts and whatever has a bodyText, and together the text.
   */
  send(receiver, message) {
    if (receiver.protocol === 'websocket') {
      const frame = this.#frame(message, quoted);
      write(receiver.connection, [webSocketHeader(frame), ...frame]);
      return true;
    }
    const shape = IN_RESPONSES[receiver.protocol];
    if (shape) {
      answer(receiver, [...shape.before, ...this.#frame(message, shape.encode), ...shape.after]);
    }
    return shape !== undefined;
  }

  #frame(message, encode) {
    const parts = message.parts ?? [message];
    return [BEGINNING, ...parts.map((part) => (typeof part === 'string' ? encode(part) : this.#shared(part, encode))), END];
  }

  #shared(part, encode) {
    const known = this.#encoded.get(encode);
    let bytes = known.get(part);
    if (!bytes) {
      bytes = encode(part.bodyText ?? part.text);
      known.set(part, bytes);
    }
    return bytes;
  }
}

// The inside of a JSON text.
function quoted(text) {
  return Buffer.from(utils.quote(text).slice(1, -1));
}

// Devices take the percent sign of such a frame for the beginning of an escape.
function quotedForEvents(text) {
  return Buffer.from(utils.quote(text).slice(1, -1).replaceAll('%', '%25'));
}

// Frames for devices are not masked, so that all devices can have the same.
function webSocketHeader(pieces) {
  const header = Buffer.alloc(HEADER_BYTES);
  header[0] = FINAL_TEXT;
  header[1] = LENGTH_OF_8_BYTES;
  header.writeBigUInt64BE(BigInt(lengthOf(pieces)), 2);
  return header;
}

// As the SockJS server's own receiver does with a text.
function answer(receiver, pieces) {
  receiver.curr_response_size += lengthOf(pieces);
  write(receiver.response, pieces);
  if (receiver.curr_response_size >= receiver.max_response_size) {
    receiver.didClose();
  }
}

function write(writable, pieces) {
  writable.cork();
  pieces.forEach((piece) => writable.write(piece));
  writable.uncork();
}

function lengthOf(pieces) {
  return pieces.reduce((sum, { length }) => sum + length, 0);
}
