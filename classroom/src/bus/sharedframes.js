// Frames of large messages. A picture goes to a whole class: its frame is made once, and what waits in
// the sockets of slow devices is that one piece of memory. The SockJS server by itself quotes and encodes
// the message anew for each of them.

import utils from 'sockjs/lib/utils.js';

const LARGE_CHARS = 64 * 1024;

const FINAL_TEXT = 0x81;
const LENGTH_OF_8_BYTES = 127;
const HEADER_BYTES = 10;

export class SharedFrames {
  // By message: its frame.
  #frames = {
    webSocket: new WeakMap(),
    response: new WeakMap(),
  };

  isLarge(message) {
    return message.text.length >= LARGE_CHARS;
  }

  /** Sends one message to a receiver of the SockJS server; false if it has to do that itself. */
  send(receiver, message) {
    switch (receiver.protocol) {
      case 'websocket':
        receiver.connection.write(this.#frame('webSocket', message, webSocketFrame));
        return true;
      case 'xhr-streaming':
      case 'xhr-polling':
        answer(receiver, this.#frame('response', message, responseFrame));
        return true;
      default:
        return false;
    }
  }

  #frame(kind, message, make) {
    const frames = this.#frames[kind];
    let frame = frames.get(message);
    if (!frame) {
      frame = make(message.text);
      frames.set(message, frame);
    }
    return frame;
  }
}

function responseFrame(text) {
  return Buffer.from(`a[${utils.quote(text)}]\n`);
}

// Frames for devices are not masked, so that all devices can have the same.
function webSocketFrame(text) {
  const payload = Buffer.from(`a[${utils.quote(text)}]`);
  const header = Buffer.alloc(HEADER_BYTES);
  header[0] = FINAL_TEXT;
  header[1] = LENGTH_OF_8_BYTES;
  header.writeBigUInt64BE(BigInt(payload.length), 2);
  return Buffer.concat([header, payload]);
}

// As the SockJS server's own receiver does with a text.
function answer(receiver, frame) {
  receiver.curr_response_size += frame.length;
  receiver.response.write(frame);
  if (receiver.curr_response_size >= receiver.max_response_size) {
    receiver.didClose();
  }
}
