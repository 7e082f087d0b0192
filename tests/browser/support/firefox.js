// A learner with Firefox, which tells no accessibility tree: parts are found by the names and roles alone.

import { existsSync } from 'node:fs';

import puppeteer from 'puppeteer-core';

import { until } from '../../../classroom/test/support/service.js';
import { DEADLINE_MS } from './screen.js';

const FIREFOX = process.env.FIREFOX || '/usr/bin/firefox-esr';

/** Why there can be no such learner, or false. */
export const LACKING = !existsSync(FIREFOX) && 'Firefox (Debian package firefox-esr) is not installed';

/** A device with Firefox. It goes with the test. */
export async function newFirefox(t) {
  const browser = await puppeteer.launch({ browser: 'firefox', executablePath: FIREFOX });
  t.after(() => browser.close());
  return browser;
}

/** Waits for the part of the page and clicks it. */
export async function press({ page }, role, name) {
  const part = await until(() => page.$(`aria/${name}[role="${role}"]`), DEADLINE_MS);
  await part.click();
  return part;
}

/** Waits for the field and writes into it. */
export async function write(screen, name, text) {
  await (await press(screen, 'textbox', name)).type(text);
}
