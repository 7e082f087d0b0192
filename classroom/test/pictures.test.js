// Large messages that everybody gets, at once or when coming: they arrive as they were sent, whatever they
// hold, and cost the service their room once.

import assert from 'node:assert/strict';
import net from 'node:net';
import { test } from 'node:test';
import { isDeepStrictEqual } from 'node:util';

import { frame, HANDSHAKE } from './support/gate.js';
import { startClass } from './support/hostile.js';
import { until } from './support/service.js';

const PICTURE = 'é😀%25%"\\\u2028</script>\u0007'.repeat(20_000);

for (const transport of ['websocket', 'xhr-streaming', 'xhr-polling', 'eventsource']) {
  test(`a picture arrives as it was sent, and so does the state that holds it: ${transport}`, async (t) => {
    const { session, presenter, arrive } = await startClass(t, 'a served class', transport);
    const body = { type: 'showCard', data: [PICTURE] };
    const here = await arrive('Here');
    presenter.send({ type: 'publish', address: `${session.sessionToken}.learner`, body });
    presenter.send({ type: 'publish', address: session.sessionToken, body: { type: 'questionStart', data: ['%'] } });
    await here.heard('questionStart');
    const card = { ...body, from: 'presenter' };
    const question = { type: 'questionStart', data: ['%'], from: 'presenter' };
    assert.ok(isDeepStrictEqual(here.bodies, [card, question]));
    here.answer('Q1', 'A %"\u00e9');
    await here.heard('confirmed');
    await here.enter(transport);
    const [state] = await here.heard('state');
    assert.ok(isDeepStrictEqual(state, {
      action: 'state',
      paused: false,
      messages: [card, question],
      answers: [{ questionId: 'Q1', questionSetMode: 'Poll', answer: 'A %"\u00e9', optionAnswers: [] }],
    }));
  });
}

test('learners who come again and again and read nothing cost the room of one picture', async (t) => {
  const { service, session, presenter, newDevice, holds, peakMb } = await startClass(t, 'a served class', 'websocket');
  const data = ['x'.repeat(8_000_000)];
  presenter.send({ type: 'publish', address: `${session.sessionToken}.learner`, body: { type: 'showCard', data } });
  const eve = await newDevice('Eve');
  await eve.enter('websocket');
  const before = peakMb();
  const sockets = [];
  t.after(() => sockets.forEach((socket) => socket.destroy()));
  for (let i = 0; i < 100; ++i) {
    const socket = net.connect(Number(new URL(service.url).port), '127.0.0.1').on('error', () => {}).pause();
    sockets.push(socket);
    socket.write(`GET /eventbus/1/abcdefgh/websocket HTTP/1.1\r\nHost: x\r\n${HANDSHAKE}\r\n`);
    socket.write(frame(1, JSON.stringify([JSON.stringify({ type: 'register', address: `${session.sessionToken}.user.${eve.userToken}` })])));
  }
  await until(() => eve.closing);
  await holds();
  const grown = peakMb() - before;
  assert.ok(grown < 200, `${grown} MB`);
});
