// What a host should never send: the page stays usable, and nothing in it fails.

import assert from 'node:assert/strict';
import test from 'node:test';

import { Presenter, RestClient, startService } from '../../classroom/test/support/service.js';
import { newDevice } from './support/browser.js';
import { Learner } from './support/learner.js';

const options = (count, text) => Array.from({ length: count }, (_, i) => ({ id: String(i), optionText: `${text} ${i}`, math: true }));
const nested = (depth) => JSON.parse('['.repeat(depth) + ']'.repeat(depth));

// By what is wrong with it: the type of the message, and what it holds.
const DAMAGE = {
  'fields that are missing': ['questionStart', {}],
  'numbers in the place of texts': ['questionStart', { id: 7, type: 7, instructions: 7, activityOptions: 7, card: 7, metadata: 7 }],
  'names that every object has': ['questionStart', { id: '__proto__', type: 'constructor', metadata: { ordinalType: '__proto__' } }],
  '10,000 options': ['questionStart', { id: 'Q', type: 'multiple', activityOptions: options(10_000, 'x') }],
  '10,000 options to be put in order': ['questionStart', { id: 'Q', type: 'sort', activityOptions: options(10_000, 'x') }],
  'a text of 1 MB': ['questionStart', { id: 'Q', type: 'text', instructions: 'word '.repeat(200_000) }],
  'formulas without end': ['questionStart', { id: 'Q', type: 'text', math: true, instructions: '\\('.repeat(200_000), passage: '$x$ '.repeat(5_000) }],
  'a list in lists': ['questionStart', { id: 'Q', type: 'multiple', activityOptions: nested(1_000), feedBack: nested(1_000) }],
  'a dialog of nothing': ['dialogShow', { text: { toString: 1 } }],
  'an assessment of nothing': ['assessmentStart', { assessmentToken: nested(10), questionCount: '1e9', title: {} }],
  'a card of nothing': ['showCard', { components: [null, { type: 'image', blob: { url: 'data:image/png,none' } }], styles: 5 }],
};

async function openPage(t) {
  const service = await startService(t);
  const rest = new RestClient(service.url);
  await rest.signIn();
  const device = await newDevice(t);
  const session = await rest.startSession();
  const presenter = await Presenter.open(service.url, session);
  t.after(() => presenter.close());
  const ada = new Learner(await device.newPage(), { url: service.url, code: session.sessionCode, name: 'Ada' });
  await ada.join();
  return { presenter, ada };
}

test('whatever a message holds, the next question can be answered', async (t) => {
  const { presenter, ada } = await openPage(t);
  for (const [i, [fault, [type, payload]]] of Object.entries(DAMAGE).entries()) {
    presenter.publish('', type, JSON.stringify(payload));
    const asked = `Behind ${fault}?`;
    presenter.publish('', 'questionStart', JSON.stringify({
      id: `N${i}`, type: 'multiple', instructions: asked, activityOptions: [{ id: 'A', optionText: 'Alps' }, { id: 'B', optionText: 'Rhine' }],
    }));
    await ada.sees(asked);
    await ada.choose(/Rhine$/);
    await ada.isHeard();
    await presenter.received('questionResponse', i + 1);
    presenter.publish('', 'assessmentStop', '{}');
    presenter.publish('', 'pollStop', '"p"');
    await ada.seesNoMore(asked);
  }
  assert.deepEqual(ada.faults, []);
});
