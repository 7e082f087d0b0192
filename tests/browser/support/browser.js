// One browser for the tests of a file, and in it a window of its own for each device: what one keeps, its
// cookies among it, the others do not have.

import { after } from 'node:test';

import puppeteer from 'puppeteer-core';

const CHROMIUM = process.env.CHROMIUM ?? '/usr/bin/chromium';

let browser = null;

/** The file's browser. trustedKey: the hash of a key that a service's certificate may have. */
function browserOf({ trustedKey }) {
  browser ??= puppeteer.launch({
    executablePath: CHROMIUM,
    pipe: true, // a browser that nobody leads any more ends
    args: [
      '--disable-gpu',
      '--disable-dev-shm-usage',
      ...process.getuid() === 0 ? ['--no-sandbox'] : [], // which the sandbox needs not to be
      ...trustedKey ? [`--ignore-certificate-errors-spki-list=${trustedKey}`] : [],
    ],
  });
  return browser;
}

after(async () => (await browser)?.close());

/** A device: pages that are opened in it share its cookies. It goes with the test. */
export async function newDevice(t, options = {}) {
  const context = await (await browserOf(options)).createBrowserContext();
  t.after(() => context.close());
  return context;
}
