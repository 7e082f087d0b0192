// Small pieces of HTTP that the REST interface and the control endpoints share.

import { failures } from './reply.js';

/** A request target's {path, query}; it may be anything a client cares to send. */
export function splitTarget(target) {
  const mark = target.indexOf('?');
  return mark < 0
    ? { path: target, query: new URLSearchParams() }
    : { path: target.slice(0, mark), query: new URLSearchParams(target.slice(mark + 1)) };
}

/**
 * The whole body of a request, as bytes. One that is too large is given up as soon as that is known:
 * what follows is discarded as it comes, so that an honest client gets to the reply.
 */
export function readBody(request, maxBytes) {
  if (Number(request.headers['content-length']) > maxBytes) {
    request.resume();
    return Promise.reject(failures.tooLarge());
  }
  return new Promise((resolve, reject) => {
    const chunks = [];
    let size = 0;
    const take = (chunk) => {
      size += chunk.length;
      chunks.push(chunk);
      if (size > maxBytes) {
        chunks.length = 0;
        request.off('data', take).resume();
        reject(failures.tooLarge());
      }
    };
    request.on('data', take)
      .once('end', () => resolve(Buffer.concat(chunks)))
      .once('error', reject)
      .once('close', () => request.readableEnded || reject(new Error('the client has gone')));
  });
}

/** A body that has to be a JSON object. */
export function parseObject(bytes) {
  let value = null;
  try {
    value = JSON.parse(bytes.toString('utf8'));
  } catch {
    // answered below, like any other value that is no object
  }
  if (typeof value !== 'object' || value === null || Array.isArray(value)) {
    throw failures.invalidJson();
  }
  return value;
}

/** The value of a cookie in a Cookie header, or ''. */
export function cookieValue(header, name) {
  const pair = header?.split(';').map((text) => text.trim()).find((text) => text.startsWith(`${name}=`));
  return pair ? pair.slice(name.length + 1) : '';
}

/** A Set-Cookie line for a cookie that no page's script and no other site's page gets hold of. */
export function cookieLine(name, value, { maxAgeSeconds, secure = false } = {}) {
  const lifetime = maxAgeSeconds === undefined ? '' : `; Max-Age=${maxAgeSeconds}`;
  return `${name}=${value}; Path=/; HttpOnly; SameSite=Strict${lifetime}${secure ? '; Secure' : ''}`;
}

/** Finds the route of a path: {route, params}; ":name" in a route's path stands for one segment. */
export function matchRoute(routes, path) {
  if (Object.hasOwn(routes, path)) {
    return { route: routes[path], params: [] };
  }
  for (const [template, route] of Object.entries(routes)) {
    const params = template.includes(':') && matchTemplate(template, path);
    if (params) {
      return { route, params };
    }
  }
  return null;
}

function matchTemplate(template, path) {
  const wanted = template.split('/');
  const given = path.split('/');
  if (wanted.length !== given.length || !wanted.every((part, i) => part.startsWith(':') || part === given[i])) {
    return null;
  }
  return given.filter((part, i) => wanted[i].startsWith(':'));
}
