// A page as a person has it in front of them: found by what it says and by what its parts are called, never
// by how it is built.

import { until } from '../../../classroom/test/support/service.js';

/** How long anything may take that a person waits for. */
export const DEADLINE_MS = 30_000;

const OF_THE_NETWORK = /Failed to load resource|WebSocket connection to|Failed to fetch|net::ERR/;

export class Screen {
  // What should never be: errors that nobody caught, what the security policy stopped, requests elsewhere.
  faults = [];
  #home = null;

  constructor(page) {
    this.page = page;
    page.setDefaultTimeout(DEADLINE_MS);
    page.on('pageerror', (error) => this.faults.push(String(error?.stack ?? error)));
    page.on('console', (message) => this.#hearConsole(message));
    page.on('dialog', (dialog) => {
      this.faults.push(`A script says ${dialog.message()}`);
      dialog.dismiss();
    });
    page.on('request', (request) => this.#takeRequest(request.url()));
    // Some violations are told to the page alone.
    page.evaluateOnNewDocument(() => document.addEventListener('securitypolicyviolation', (violation) => (
      console.error(`The policy forbids ${violation.violatedDirective}: ${violation.blockedURI}`)))).catch(() => {});
  }

  // A line that is lost is one that browsers complain of.
  #hearConsole(message) {
    if (message.type() === 'error' && !OF_THE_NETWORK.test(message.text())) {
      this.faults.push(message.text());
    }
  }

  // A page asks nobody but the service that it came from.
  #takeRequest(url) {
    const { protocol, host } = new URL(url);
    this.#home ??= host;
    if (host !== this.#home && !['data:', 'blob:'].includes(protocol)) {
      this.faults.push(`The page asked for ${url}`);
    }
  }

  async open(url) {
    await this.page.goto(url, { waitUntil: 'load' });
    return this;
  }

  async reload() {
    await this.page.reload({ waitUntil: 'load' });
  }

  /** All that can be read, line by line. */
  text() {
    return this.page.evaluate(() => document.body.innerText);
  }

  /** Waits until this can be read: a text, or a pattern. */
  sees(words) {
    return this.#wait(`can be read: ${words}`, async () => matches(words, await this.text()));
  }

  /** Waits until this can no longer be read. */
  seesNoMore(words) {
    return this.#wait(`can no longer be read: ${words}`, async () => !matches(words, await this.text()));
  }

  /** What screen readers are told of the page: a flat list of {role, name, ...}. */
  async parts() {
    return flat(await this.page.accessibility.snapshot());
  }

  /** Waits for the part of this role and name; `state` are further fields, such as {checked: true}. */
  finds(role, name, state = {}) {
    return this.#wait(`there is a ${role} "${name}" ${JSON.stringify(state)}`, async () => (
      (await this.parts()).find((part) => isPart(part, role, name, state))));
  }

  /** Waits for the part and clicks it. */
  async press(role, name) {
    await this.#use(role, name, (element) => element.click());
  }

  /** Waits for the field and writes into it, key by key, in place of what it holds. */
  async write(name, text, role = 'textbox') {
    await this.#use(role, name, async (element) => {
      await element.click({ count: 3 });
      await element.press('Backspace');
      await element.type(text);
    });
  }

  /** What the field holds. */
  async valueOf(name, role = 'textbox') {
    return (await this.finds(role, name)).value ?? '';
  }

  // A page that is just drawn anew may take the part away again; then it is looked for once more.
  #use(role, name, act) {
    return this.#wait(`a ${role} "${name}" can be used`, async () => {
      await this.page.bringToFront(); // as whoever wants to press something there does
      const part = (await this.parts()).find((each) => isPart(each, role, name, { disabled: undefined }));
      const element = await part?.elementHandle();
      if (!element) {
        return false;
      }
      try {
        await act(element);
        return true;
      } catch (error) {
        if (/not clickable|detached|not connected|Node does not/i.test(error.message)) {
          return false;
        }
        throw error;
      }
    });
  }

  async #wait(what, condition) {
    try {
      return await until(condition, DEADLINE_MS);
    } catch (error) {
      const parts = (await this.parts().catch(() => [])).map(({ role, name }) => `${role} "${name}"`);
      throw new Error(`It should be that ${what}.\nThe page:\n${await this.text()}\n${parts.join('\n')}`, { cause: error });
    }
  }
}

function flat(part) {
  return part ? [part, ...(part.children ?? []).flatMap(flat)] : [];
}

function isPart(part, role, name, state) {
  return part.role === role && matches(name, part.name ?? '', true)
    && Object.entries(state).every(([key, value]) => part[key] === value);
}

function matches(words, text, whole = false) {
  if (words instanceof RegExp) {
    return words.test(text);
  }
  return whole ? text === words : text.includes(words);
}
