// One message on its way to its receivers: encoded once and decoded once, whoever asks.

import { parsedOrNull } from './envelope.js';

/**
 * A message whose body is JSON already, as devices get it: {text, parts}. The body is given in parts, which
 * are texts and messages; a message stands for its own body. What carries the message shares those.
 */
export function ownMessage(address, bodyParts) {
  const parts = [`{"type":"message","address":${JSON.stringify(address)},"body":`, ...bodyParts, '}'];
  // Put together one by one, the text is no copy as long as nobody reads it.
  return { parts, text: parts.reduce((text, part) => text + (part.bodyText ?? part), '') };
}

/** What use() makes of a value, or a promise of that for the promise of a value. */
export function whenKnown(value, use) {
  return value instanceof Promise ? value.then(use) : use(value);
}

export class BusMessage {
  #bodyText = null;
  #own = null;
  #payload = null;
  #codec;
  #maxBytes;
  #from;

  /** maxBytes: what the payload may hold when it is unpacked; from: what the journal calls the sender. */
  constructor(codec, address, body, maxBytes, from = body.from) {
    this.#codec = codec;
    this.#maxBytes = maxBytes;
    this.#from = from;
    this.address = address;
    this.body = body;
  }

  get bodyText() {
    this.#bodyText ??= JSON.stringify(this.body);
    return this.#bodyText;
  }

  /** The message as devices get it. */
  get text() {
    return this.#whole.text;
  }

  /** The same in parts: see ownMessage(). */
  get parts() {
    return this.#whole.parts;
  }

  get #whole() {
    this.#own ??= ownMessage(this.address, [this]);
    return this.#own;
  }

  /** The unpacked payload, or a promise of it: {form, text, data}, data being the parsed text or null. */
  payload() {
    this.#payload ??= this.#unpack(this.body.data, { maxBytes: this.#maxBytes });
    return this.#payload;
  }

  /** What the journal notes about the message without unpacking it. */
  get outline() {
    const { type, action, version, sourceSystem, client } = this.body;
    return { address: this.address, from: this.#from, type, action, version, sourceSystem, client };
  }

  /** What the journal notes about the message, or a promise of it. */
  description() {
    return whenKnown(this.payload(), (payload) => Object.assign(this.outline, payload));
  }

  #unpack(data, bounds) {
    const unpacked = this.#codec.unpackAtOnce(data, bounds) ?? this.#codec.unpack(data, bounds);
    return whenKnown(unpacked, (payload) => ({ ...payload, data: parsedOrNull(payload.text) }));
  }
}
