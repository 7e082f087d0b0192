// What the pages read off their address.

import assert from 'node:assert/strict';
import { test } from 'node:test';

import { codeInPath, transportsInQuery } from '../pages/address.js';

// By the path: the code in it.
const CODES = { '/': '', '/join/123456': '123456', '/join/12%2034': '12 34', '/remote': '', '/remote/7': '7', '/join/%E0%A4%A': '' };

test('the code of the class stands in the path', () => {
  for (const [pathname, code] of Object.entries(CODES)) {
    assert.equal(codeInPath({ pathname }), code);
  }
});

test('a line may be tried over some transports alone', () => {
  assert.equal(transportsInQuery({ search: '' }), null);
  assert.deepEqual(transportsInQuery({ search: '?transports=websocket,xhr-polling' }), ['websocket', 'xhr-polling']);
});
