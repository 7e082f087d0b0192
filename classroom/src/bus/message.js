// One message on its way to its receivers: encoded once and decoded once, whoever asks.

import { parsedOrNull } from './envelope.js';

/** The text of a message whose body is JSON already. */
export function messageText(address, bodyText) {
  return `{"type":"message","address":${JSON.stringify(address)},"body":${bodyText}}`;
}

/** What use() makes of a value, or a promise of that for the promise of a value. */
export function whenKnown(value, use) {
  return value instanceof Promise ? value.then(use) : use(value);
}

export class BusMessage {
  #bodyText = null;
  #text = null;
  #payload = null;
  #codec;
  #maxBytes;

  /** maxBytes: what the payload may hold when it is unpacked. */
  constructor(codec, address, body, maxBytes) {
    this.#codec = codec;
    this.#maxBytes = maxBytes;
    this.address = address;
    this.body = body;
  }

  get bodyText() {
    this.#bodyText ??= JSON.stringify(this.body);
    return this.#bodyText;
  }

  /** The message as devices get it. */
  get text() {
    this.#text ??= messageText(this.address, this.bodyText);
    return this.#text;
  }

  /** The unpacked payload, or a promise of it: {form, text, data}, data being the parsed text or null. */
  payload() {
    this.#payload ??= this.#unpack(this.body.data, { maxBytes: this.#maxBytes });
    return this.#payload;
  }

  /** What the journal notes about the message without unpacking it. */
  get outline() {
    const { from, type, action, version, sourceSystem, client } = this.body;
    return { address: this.address, from, type, action, version, sourceSystem, client };
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
