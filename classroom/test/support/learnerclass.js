// A class with a presenter, and learners' tabs in it as the page keeps them, without the page.

import { TabStorage, visit } from './browser.js';

import { LearnerClass } from '../../pages/class.js';
import { Identity } from '../../pages/identity.js';
import { Presenter, RestClient, startService, until } from './service.js';

// Another one than the presenter's, so that a test can cut the lines of the one and not of the other.
const TAB_TRANSPORT = 'xhr-streaming';

/** {service, rest, session, presenter, say(type, payload, place), arrive(name), openTab(storage, options), cutTabs()}. */
export async function startClass(t, ...args) {
  const service = await startService(t, ...args);
  visit(service.url);
  const rest = new RestClient(service.url);
  await rest.signIn();
  const session = await rest.startSession();
  const presenter = await Presenter.open(service.url, session);
  t.after(() => presenter.close());
  const say = (type, payload = '', place = '') => presenter.publish(place, type, JSON.stringify(payload));
  const openTab = (storage = new TabStorage(), options = {}) => {
    const tab = new LearnerClass(new Identity(storage), {
      deviceType: 'phone', transports: [TAB_TRANSPORT], origin: service.url, ...options,
    });
    t.after(() => tab.leave());
    return Object.assign(tab, { storage });
  };
  const arrive = async (name = 'Ada', options = {}) => {
    const tab = openTab(new TabStorage(), options);
    await tab.join({ code: session.sessionCode, name });
    await until(() => tab.phase === 'in' && tab.connection.isOpen);
    const [{ from }] = (await presenter.received('join')).slice(-1);
    return Object.assign(tab, { userToken: from });
  };
  const cutTabs = () => rest.control('DELETE', `connections?transport=${TAB_TRANSPORT}`);
  return { service, rest, session, presenter, say, openTab, arrive, cutTabs };
}

/** A question of the poll's mode; changes: other fields. */
export function question(id, changes = {}) {
  return {
    id,
    type: 'multiple',
    questionSetMode: 'Poll',
    instructions: `Question ${id}`,
    numberOfCorrectOptions: 1,
    activityOptions: [{ id: 'A', optionText: '17' }, { id: 'B', optionText: '27' }],
    ...changes,
  };
}
