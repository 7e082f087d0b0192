// How a host fares that goes on and on, on every way to the collaboration server: one short lesson after another,
// then a long one with many messages in both directions. The hosts run side by side, each a process of its own
// (steady.cpp), against one classroom service; the devices are here. Prints what each host held as a table, and
// ends with 1 when the later half of either part takes more than its beginning did.
//
// Usage: run.js --program FILE [--cycles N] [--seconds N] [--rate N] [--only WAY] [--slack N]
//
//   --cycles N    short lessons (200)
//   --seconds N   how long the long lesson takes (600); 0 for none
//   --rate N      messages a second in it (200), half of them in either direction where that is possible
//   --only WAY    one way alone: websocket/default, websocket/robust, xhr-polling/default or xhr-polling/robust
//   --slack N     times what memory may grow by (1), for short runs on a busy machine; 0 when it is not looked at,
//                 as the sanitizers keep what has been freed

import { Devices, Host, startClassroom } from './parties.js';
import { findings, tables } from './judge.js';

const WAYS = ['websocket', 'xhr-polling'].flatMap((transport) => (
  ['default', 'robust'].map((way) => ({ transport, way }))
));
const NUMBERS = { '--cycles': 200, '--seconds': 600, '--rate': 200, '--slack': 1 };

// In the default way over HTTP each message of the presenter is a post of its own that waits for an answer.
const POSTS_A_SECOND = 20;

const isWay = (words) => WAYS.some(({ transport, way }) => words === `${transport}/${way}`);

function readOptions(words) {
  const options = { ...NUMBERS };
  for (let i = 0; i < words.length; ++i) {
    if (words[i] in NUMBERS && /^\d{1,6}$/.test(words[i + 1])) {
      options[words[i]] = Number(words[++i]);
    } else if (words[i] === '--program' && words[i + 1] || words[i] === '--only' && isWay(words[i + 1])) {
      options[words[i]] = words[++i];
    } else {
      console.error(`steady: ${words[i]} is no option, or its value is none; see the top of run.js.`);
      process.exit(2);
    }
  }
  return options;
}

/** How many messages a second come from the devices, and from the presenter. */
function ratesOf({ transport, way }, rate) {
  const isSlow = transport === 'xhr-polling' && way === 'default';
  const out = Math.min(Math.floor(rate / 2), isSlow ? POSTS_A_SECOND : Infinity);
  return { in: rate - out, out };
}

/** Runs one host to its end: what it held and what became of the messages. */
async function watch(classroom, way, options) {
  const rates = ratesOf(way, options['--rate']);
  const host = new Host(options['--program'], classroom.url, way, [options['--cycles'], options['--seconds'], rates.out]);
  const result = { ...way, looks: host.looks, messages: null };
  try {
    if (options['--seconds'] > 0) {
      const devices = await Devices.join(classroom.url, await host.says('session'), rates.in);
      result.messages = await talk(host, devices);
      devices.leave();
    }
    await host.ended;
  } catch (error) {
    host.kill();
    result.failure = error.message;
  }
  return result;
}

async function talk(host, devices) {
  host.tell('go');
  devices.speak();
  const published = Number(await host.says('sent'));
  const sent = devices.fallSilent();
  const [heard, inOrder] = (await host.says('heard')).split(' ').map(Number);
  await devices.hears(published);
  host.tell('end');
  return {
    in: { sent, heard, inOrder },
    out: { sent: published, heard: devices.heard, inOrder: devices.inOrder },
  };
}

const options = readOptions(process.argv.slice(2));
const classroom = await startClassroom();
try {
  const ways = WAYS.filter(({ transport, way }) => [undefined, `${transport}/${way}`].includes(options['--only']));
  const results = await Promise.all(ways.map((way) => watch(classroom, way, options)));
  console.log(tables(results, options['--seconds']));
  const found = results.flatMap((result) => findings(result, options['--slack']));
  found.forEach((line) => console.log(line));
  process.exitCode = found.length === 0 ? 0 : 1;
} finally {
  classroom.stop();
}
