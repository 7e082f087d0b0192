// Counts the frames of a web socket as their bytes go by, before anybody puts them together: a message
// may come in any number of empty fragments, and every ping costs a pong. Sizes are not looked at here,
// the web socket's own reader does that.

const FINAL = 0x80;
const OPCODE = 0x0f;
const MASKED = 0x80;
const LENGTH = 0x7f;

const FIRST_CONTROL_OPCODE = 8;
const MASK_BYTES = 4;
const LONGEST_HEADER = 14;
const SECOND_MS = 1_000;

// The bytes of the length, by the seven bits that announce them.
const LENGTH_BYTES = { 126: 2, 127: 8 };

export class FrameMeter {
  #limits;
  #now;
  #header = Buffer.alloc(LONGEST_HEADER);
  #headerBytes = 0;
  #payloadLeft = 0;
  #fragments = 0;
  #controls = 0;
  #secondBegan = 0;

  /** now: the clock, in milliseconds. */
  constructor({ framesOfMessage, controlFramesPerSecond }, now = Date.now) {
    this.#limits = { framesOfMessage, controlFramesPerSecond };
    this.#now = now;
  }

  /** Takes the next bytes, cut anywhere. False: these are more frames than a device may send. */
  take(bytes) {
    for (let at = 0; at < bytes.length;) {
      if (this.#payloadLeft > 0) {
        const passing = Math.min(this.#payloadLeft, bytes.length - at);
        this.#payloadLeft -= passing;
        at += passing;
        continue;
      }
      this.#header[this.#headerBytes++] = bytes[at++];
      if (this.#headerBytes === this.#headerLength() && !this.#beginFrame()) {
        return false;
      }
    }
    return true;
  }

  #headerLength() {
    if (this.#headerBytes < 2) {
      return 2;
    }
    const [, second] = this.#header;
    return 2 + (LENGTH_BYTES[second & LENGTH] ?? 0) + (second & MASKED ? MASK_BYTES : 0);
  }

  #beginFrame() {
    const [first, second] = this.#header;
    this.#headerBytes = 0;
    this.#payloadLeft = this.#payloadLength(second & LENGTH);
    return (first & OPCODE) >= FIRST_CONTROL_OPCODE
      ? this.#countControl()
      : this.#countFragment((first & FINAL) !== 0);
  }

  #payloadLength(announced) {
    switch (LENGTH_BYTES[announced]) {
      case 2: return this.#header.readUInt16BE(2);
      case 8: return Number(this.#header.readBigUInt64BE(2));
      default: return announced;
    }
  }

  #countFragment(isFinal) {
    const count = this.#fragments + 1;
    this.#fragments = isFinal ? 0 : count;
    return count <= this.#limits.framesOfMessage;
  }

  #countControl() {
    const now = this.#now();
    if (now - this.#secondBegan >= SECOND_MS) {
      this.#secondBegan = now;
      this.#controls = 0;
    }
    return ++this.#controls <= this.#limits.controlFramesPerSecond;
  }
}
