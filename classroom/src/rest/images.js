// The kinds of images that devices show, known by how their files begin.

const KINDS = [
  { contentType: 'image/png', extension: 'png', isBeginningOf: (bytes) => begins(bytes, '\x89PNG\r\n\x1a\n') },
  { contentType: 'image/jpeg', extension: 'jpg', isBeginningOf: (bytes) => begins(bytes, '\xff\xd8\xff') },
  { contentType: 'image/gif', extension: 'gif', isBeginningOf: (bytes) => begins(bytes, 'GIF87a') || begins(bytes, 'GIF89a') },
  // The size of the file stands between the two words.
  { contentType: 'image/webp', extension: 'webp', isBeginningOf: (bytes) => begins(bytes, 'RIFF') && begins(bytes.subarray(8), 'WEBP') },
];

/** The content type of an image, or null for a file that is none. */
export function imageTypeOf(bytes) {
  return KINDS.find((kind) => kind.isBeginningOf(bytes))?.contentType ?? null;
}

/** The usual end of the names of such images. */
export function extensionOf(contentType) {
  return KINDS.find((kind) => kind.contentType === contentType).extension;
}

function begins(bytes, signature) {
  return bytes.subarray(0, signature.length).toString('latin1') === signature;
}
