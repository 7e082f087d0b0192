// The pages that people open in a browser. Read when the service starts; nothing else of the disk is
// served.

import { readFileSync } from 'node:fs';

import { splitTarget } from './rest/http.js';

const FOLDER = new URL('../pages/', import.meta.url);

// By path: the file, and its type.
const FILES = {
  '/': ['index.html', 'text/html; charset=UTF-8'],
  '/classroom.css': ['classroom.css', 'text/css; charset=UTF-8'],
};

export class Pages {
  #pages = new Map(Object.entries(FILES).map(([path, [file, type]]) => (
    [path, { type, bytes: readFileSync(new URL(file, FOLDER)) }])));

  /** Says whether the request was one for a page. */
  handle(request, response) {
    const page = this.#pages.get(splitTarget(request.url).path);
    if (!page || !['GET', 'HEAD'].includes(request.method)) {
      return false;
    }
    response.writeHead(200, { 'Content-Type': page.type, 'Content-Length': page.bytes.length, 'Cache-Control': 'no-cache' });
    response.end(page.bytes);
    return true;
  }
}
