// Uploads an image of the teacher's to the service, from where learners' devices load it.

import { ServiceError } from './service.js';
import { objectOf } from './values.js';

const PATH = '/vantora/resource/uploadResourceFile';
const DOWNLOAD = '/vantora/resource/downloadResourceFile?resourceId=';
const BOUNDARY = '----remote';
const PART = `--${BOUNDARY}\r\n`;

// By the key of a refusal: what there is to do, for people.
const SENTENCES = {
  'resource.error.notAnImage': 'This is no image that can be shown. Take a PNG, JPEG, GIF or WebP file.',
  'resource.error.tooMuch': 'There is no more room for images in this class.',
  'request.error.tooLarge': 'This image is too large. Take one of at most 10 MB.',
};

/** A promise of the address of the image; a ServiceError says what went wrong. */
export async function uploadImage(file) {
  let response;
  let reply;
  try {
    response = await fetch(PATH, {
      method: 'POST',
      headers: { 'Content-Type': `multipart/form-data; charset=UTF-8; boundary=${BOUNDARY}` },
      body: formAround(file),
    });
    reply = objectOf(await response.json());
  } catch {
    throw new ServiceError('connection');
  }
  if (!response.ok || !reply.success) {
    throw errorFor(reply.errorMsgKeys?.[0] ?? '');
  }
  return location.origin + DOWNLOAD + encodeURIComponent(reply.data.id);
}

// As presenters write it: the file first, and an empty line behind the boundaries that follow. The name of
// the file is nobody's business.
export function formAround(file) {
  return new Blob([
    `${PART}Content-Disposition: form-data; name=files; filename="image"\r\n\r\n`, file,
    field('isTemporary', 'true'), field('clientProvidedGUID', 'false'), `\r\n--${BOUNDARY}--\r\n\r\n`,
  ]);
}

function field(name, value) {
  return `\r\n${PART}\r\nContent-Disposition: form-data; name=${name}\r\nContent-Type: text/plain; charset=utf-8\r\n\r\n${value}`;
}

function errorFor(key) {
  const error = new ServiceError(key);
  error.sentence = Object.hasOwn(SENTENCES, key) ? SENTENCES[key] : error.sentence;
  return error;
}
