// The web socket of a line, below the SockJS server: what the packages faye-websocket and
// websocket-driver do not let their users do. Nothing else reaches into those two.

import { FrameMeter } from './frames.js';

// Pieces that are shorter than this on average are put together when there are many of them.
const SHORT_PIECE = 1024;
const MANY_PIECES = 64;

// A device that is hung up on has so long to say goodbye.
const GOODBYE_MS = 5_000;

export class Wire {
  #socket;
  #driver;
  #meter;
  #closingBytes = 0;
  #isClosing = false;
  #isReading = false;
  #limits;
  #failed;

  /**
   * receiver: the SockJS server's. takeFrame(text): a frame's content; failed(error); tooLarge().
   * Nothing of the socket has been read when the wire is made.
   */
  constructor(receiver, { limits, takeFrame, failed, tooLarge }) {
    const { ws, connection } = receiver;
    this.#socket = connection;
    this.#driver = ws._driver;
    this.#meter = new FrameMeter(limits);
    this.#limits = limits;
    this.#failed = failed;
    // Its own object would find "hasOwnProperty" among the pings that wait for their pong, and call it.
    this.#driver._pingCallbacks = Object.create(null);
    receiver.didMessage = takeFrame;
    ws.on('error', ({ message }) => /too large/.test(message) && tooLarge());
    this.#guard(this.#driver.io);
    this.release();
  }

  /** How many bytes a message may have; it holds for the next frame. */
  set messageBytes(bytes) {
    this.#driver._maxLength = bytes;
  }

  /** Reads no further. A device that is not read waits, as its network tells it to. */
  hold() {
    this.#isReading = false;
    this.#socket.unpipe(this.#driver.io);
  }

  release() {
    if (!this.#isReading) {
      this.#isReading = true;
      this.#socket.pipe(this.#driver.io);
    }
  }

  /** The last word has been said; the device may say goodbye, and then the socket goes. */
  close() {
    this.#isClosing = true;
    this.release();
    const timer = setTimeout(() => this.#socket.destroy(), GOODBYE_MS).unref();
    this.#socket.once('close', () => clearTimeout(timer));
  }

  // Whatever is wrong with the bytes of one device ends that device's socket and nothing else.
  #guard(io) {
    const write = io.write.bind(io);
    io.write = (chunk) => {
      try {
        if (!this.#mayPass(chunk)) {
          this.#socket.destroy();
          return false;
        }
        const wantsMore = write(chunk);
        this.#joinShortPieces(this.#driver._reader);
        return wantsMore;
      } catch (error) {
        this.#failed(error);
        this.#socket.destroy();
        return false;
      }
    };
  }

  // The driver looks at no size any more once it has been closed.
  #mayPass(chunk) {
    if (this.#isClosing) {
      this.#closingBytes += chunk.length;
    }
    return this.#closingBytes <= this.#limits.messageBytes && this.#meter.take(chunk);
  }

  // A frame that comes one byte at a time would take a hundred times its size.
  #joinShortPieces(reader) {
    if (reader._queue.length > MANY_PIECES && reader._queueSize < SHORT_PIECE * reader._queue.length) {
      reader._queue = [Buffer.concat(reader._queue)];
    }
  }
}
