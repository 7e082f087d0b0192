// Secrets of clients: what the service keeps of them, and how it compares them.

import { createHash, timingSafeEqual } from 'node:crypto';

/** What is kept in the place of a secret: nobody who gets hold of it could come with it. */
export function digestOf(secret) {
  return createHash('sha256').update(secret).digest('base64');
}

/** Compares two texts; how long that takes says nothing about how alike they are. */
export function isSameSecret(one, other) {
  return timingSafeEqual(Buffer.from(digestOf(one)), Buffer.from(digestOf(other)));
}
