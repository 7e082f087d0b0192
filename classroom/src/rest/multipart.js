// Reads the upload form as presenters send it: the file first, then its two text fields, with an empty
// line after each boundary line but the first, field names without quotes, and an empty line at the
// end. Nothing in the file is escaped, so the form is read from both ends: whatever stands between the
// file's header and the two text fields is the file, also when it looks like a boundary.

const CRLF = '\r\n';
const FIELDS_FROM_THE_END = ['clientProvidedGUID', 'isTemporary'];

/**
 * Reads a form: {fileName, file, fields}, file being a slice of body. Throws an Error that says what
 * is not as it should be.
 */
export function parseUploadForm(contentType, body, maxNameChars = Infinity) {
  const boundary = /^multipart\/form-data;.*\bboundary=("?)([^";]+)\1/i.exec(contentType ?? '')?.[2];
  if (!boundary) {
    throw new Error('the content type names no boundary');
  }
  const { fileName, start } = readFileHeader(body, `--${boundary}${CRLF}`);
  if (fileName.length > maxNameChars) {
    throw new Error('the file name is too long');
  }
  let end = cutEnd(body, body.length, `${CRLF}--${boundary}--${CRLF}${CRLF}`);
  const fields = {};
  for (const name of FIELDS_FROM_THE_END) {
    const field = readFieldBackwards(body, end, name, `${CRLF}--${boundary}${CRLF}${CRLF}`);
    fields[name] = field.value;
    end = field.start;
  }
  if (end < start) {
    throw new Error('the file part does not end');
  }
  return { fileName, file: body.subarray(start, end), fields };
}

function readFileHeader(body, opening) {
  const headerEnd = body.indexOf(CRLF + CRLF);
  const header = body.subarray(0, Math.max(0, headerEnd)).toString('utf8');
  const match = /^Content-Disposition: form-data; name=files; filename="(.*)"$/.exec(header.slice(opening.length));
  if (!header.startsWith(opening) || !match) {
    throw new Error('the form does not begin with the file');
  }
  return { fileName: match[1], start: headerEnd + 2 * CRLF.length };
}

function cutEnd(body, end, text) {
  const start = end - Buffer.byteLength(text);
  if (start < 0 || body.subarray(start, end).toString('utf8') !== text) {
    throw new Error(`${JSON.stringify(text)} is missing`);
  }
  return start;
}

function readFieldBackwards(body, end, name, opening) {
  const start = body.subarray(0, end).lastIndexOf(opening);
  const header = `Content-Disposition: form-data; name=${name}${CRLF}Content-Type: text/plain; charset=utf-8${CRLF}${CRLF}`;
  const part = start < 0 ? '' : body.subarray(start + Buffer.byteLength(opening), end).toString('utf8');
  if (!part.startsWith(header)) {
    throw new Error(`the field ${name} is not where it should be`);
  }
  return { start, value: part.slice(header.length) };
}
