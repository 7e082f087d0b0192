// Reads what a device sends: one JSON object that registers on an address, publishes a body to one, or
// pings. What is built differently, or deeper than any device builds it, is no envelope.

/** {type, address, body}, or null for what is no envelope. limits: {addressChars, envelopeDepth}. */
export function readEnvelope(text, { addressChars, envelopeDepth }) {
  const envelope = typeof text === 'string' ? parsedOrNull(text) : null;
  if (!isObject(envelope) || !isWithinDepth(envelope, envelopeDepth)) {
    return null;
  }
  const { type, address, body } = envelope;
  if (type === 'ping') {
    return { type };
  }
  if (typeof address !== 'string' || address.length > addressChars) {
    return null;
  }
  switch (type) {
    case 'register': return { type, address };
    case 'publish': return isObject(body) ? { type, address, body } : null;
    default: return null;
  }
}

export function isObject(value) {
  return typeof value === 'object' && value !== null && !Array.isArray(value);
}

export function parsedOrNull(text) {
  try {
    return JSON.parse(text);
  } catch {
    return null;
  }
}

/** An object in an object is two deep. */
export function isWithinDepth(value, depth) {
  if (typeof value !== 'object' || value === null) {
    return true;
  }
  return depth > 0 && Object.values(value).every((part) => isWithinDepth(part, depth - 1));
}
