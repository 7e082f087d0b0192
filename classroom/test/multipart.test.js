// The upload form, byte for byte as presenters send it, whatever the file holds.

import assert from 'node:assert/strict';
import { randomBytes } from 'node:crypto';
import { test } from 'node:test';

import { parseUploadForm } from '../src/rest/multipart.js';

const TYPE = 'multipart/form-data; charset=UTF-8; boundary=----boundary';
const HEAD = '------boundary\r\n'
  + 'Content-Disposition: form-data; name=files; filename="card.png"\r\n'
  + '\r\n';
const TAIL = '\r\n'
  + '------boundary\r\n'
  + '\r\n'
  + 'Content-Disposition: form-data; name=isTemporary\r\n'
  + 'Content-Type: text/plain; charset=utf-8\r\n'
  + '\r\n'
  + 'true\r\n'
  + '------boundary\r\n'
  + '\r\n'
  + 'Content-Disposition: form-data; name=clientProvidedGUID\r\n'
  + 'Content-Type: text/plain; charset=utf-8\r\n'
  + '\r\n'
  + 'false\r\n'
  + '------boundary--\r\n'
  + '\r\n';

function formWith(file, head = HEAD, tail = TAIL) {
  return Buffer.concat([Buffer.from(head), Buffer.from(file), Buffer.from(tail)]);
}

for (const [what, file] of [
  ['no bytes', ''],
  ['one byte', 'x'],
  ['every byte value', Buffer.from(Array.from({ length: 256 }, (_, i) => i))],
  ['line ends only', '\r\n\r\n\r\n'],
  ['a boundary line', '\r\n------boundary\r\n\r\n'],
  ['a closing line', '\r\n------boundary--\r\n\r\n'],
  ['a header of its own', 'Content-Disposition: form-data; name=files; filename="other"\r\n\r\nbytes'],
  ['a whole form', formWith('inner')],
  ['what follows a file', TAIL],
  ['5 MB', randomBytes(5 * 1024 * 1024)],
]) {
  test(`a file of ${what} is read as it is`, () => {
    const form = parseUploadForm(TYPE, formWith(file));
    assert.ok(form.file.equals(Buffer.from(file)));
    assert.equal(form.fileName, 'card.png');
    assert.deepEqual(form.fields, { isTemporary: 'true', clientProvidedGUID: 'false' });
  });
}

test('a file name in UTF-8 is read', () => {
  const form = parseUploadForm(TYPE, formWith('x', HEAD.replace('card.png', 'Übung – 1.png')));
  assert.equal(form.fileName, 'Übung – 1.png');
});

for (const [what, type, body, message] of [
  ['a content type without a boundary', 'multipart/form-data; charset=UTF-8', formWith('x'), /names no boundary/],
  ['no content type', undefined, formWith('x'), /names no boundary/],
  ['no body', TYPE, Buffer.alloc(0), /does not begin with the file/],
  ['another boundary', TYPE, formWith('x', HEAD.replace('------boundary', '--boundary')), /does not begin with the file/],
  ['a quoted field name', TYPE, formWith('x', HEAD.replace('name=files', 'name="files"')), /does not begin with the file/],
  ['a content type in the file part', TYPE, formWith('x', HEAD.replace('\r\n\r\n', '\r\nContent-Type: image/png\r\n\r\n')), /does not begin with the file/],
  ['no empty line at the end', TYPE, formWith('x', HEAD, TAIL.slice(0, -2)), /is missing/],
  ['no closing line', TYPE, formWith('x', HEAD, TAIL.replace('boundary--', 'boundary')), /is missing/],
  ['no empty line behind a boundary', TYPE, formWith('x', HEAD, TAIL.replace('boundary\r\n\r\n', 'boundary\r\n')), /isTemporary is not where/],
  ['the fields in the other order', TYPE, formWith('x', HEAD, TAIL.replace('isTemporary', 'X').replace('clientProvidedGUID', 'isTemporary').replace('X', 'clientProvidedGUID')), /clientProvidedGUID is not where/],
  ['a file part that does not end', TYPE, formWith('', HEAD.slice(0, -2), TAIL), /does not end/],
]) {
  test(`a form with ${what} is refused`, () => {
    assert.throws(() => parseUploadForm(type, body), message);
  });
}
