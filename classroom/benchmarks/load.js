// How the service bears a school. Usage: load.js DEVICES [OTHER], OTHER being the bin/classroom.js of
// another version, which is measured first. Every class meets a service of its own; scripts/load-classroom
// tells what is measured.

import { randomBytes } from 'node:crypto';
import { setTimeout as pause } from 'node:timers/promises';
import { fileURLToPath } from 'node:url';

import { LoadedClass, packed } from './class.js';
import { MeasuredService } from './service.js';

const THIS_SERVICE = fileURLToPath(new URL('../bin/classroom.js', import.meta.url));
const PHASE_MS = 60_000;
const LOOK_EVERY_MS = 5;
const SETTLING_MS = 2_000;

const POLLING_DEVICES = 300;
const SLIDE_BYTES = 2 * 1024 * 1024;
const PNG_SIGNATURE = Buffer.from('89504e470d0a1a0a', 'hex');
const QUESTION = packed({ id: 'Q1', type: 'multiple', instructions: 'Which?', activityOptions: [{ id: 'A' }, { id: 'B' }] });

// What happens in a class, by name: it prepares, and returns {plan, start, count}: what the devices have to
// know, the presenter's act, and how many devices have done their part.
const ACTS = {
  question: (lesson) => ({
    plan: {},
    start: () => lesson.publish('', 'questionStart', QUESTION),
    count: () => lesson.heard.questionResponse,
  }),
  address: async (lesson, slide) => {
    const slideUrl = await lesson.upload(slide.bytes);
    const card = packed({ url: slideUrl });
    return {
      plan: { slideUrl, slideBytes: slide.bytes.length },
      start: () => lesson.publish('.learner', 'showCard', card),
      count: () => lesson.seen,
    };
  },
  whole: (lesson, slide) => ({
    plan: {},
    start: () => lesson.publish('.learner', 'showCard', slide.whole),
    count: () => lesson.seen,
  }),
};

const FIGURES = [
  ['come', 's', 'all have joined, connected, registered and said so'],
  ['comeCpu', 's', '  processor time of the service'],
  ['act', 's', ''],
  ['actCpu', 's', '  processor time of the service'],
  ['joined', 'MB', 'memory of the service with all there'],
  ['peak', 'MB', '  at the peak'],
  ['after', 'MB', '  2 s after all have gone'],
];

function classes(devices) {
  const few = Math.min(devices, POLLING_DEVICES);
  return [
    { transport: 'websocket', count: devices, act: 'question', meaning: 'the presenter has the answers of all' },
    { transport: 'xhr-polling', count: devices, act: 'question', meaning: 'the presenter has the answers of all' },
    { transport: 'xhr-polling', count: few, act: 'address', meaning: 'all have a slide of 2 MB by its address' },
    { transport: 'xhr-polling', count: few, act: 'whole', meaning: 'all have a slide of 2 MB in the message' },
  ];
}

/** A picture as far as its first bytes tell, that cannot be compressed. */
function makeSlide() {
  const bytes = Buffer.concat([PNG_SIGNATURE, randomBytes(SLIDE_BYTES - PNG_SIGNATURE.length)]);
  return { bytes, whole: packed({ url: `data:image/png;base64,${bytes.toString('base64')}` }) };
}

/** Seconds until so many have done it, and the service's processor time meanwhile. */
async function timed(service, lesson, wanted, count, start) {
  const cpuBefore = await service.processorTime();
  const begin = performance.now();
  start();
  while (count() < wanted) {
    if (performance.now() - begin > PHASE_MS || lesson.error) {
      throw new Error(`${count()} of ${wanted} after ${Math.round((performance.now() - begin) / 1000)} s: ${lesson.error ?? 'time is up'}`);
    }
    await pause(LOOK_EVERY_MS);
  }
  const seconds = (performance.now() - begin) / 1000;
  return [seconds, await service.processorTime() - cpuBefore];
}

async function measure(program, { transport, count, act }, slide) {
  const service = await MeasuredService.start(program);
  const figures = {};
  let lesson = null;
  try {
    lesson = await LoadedClass.open(service.url);
    const { plan, ...phase } = await ACTS[act](lesson, slide);
    const come = () => lesson.come({ transport, count, ...plan });
    [figures.come, figures.comeCpu] = await timed(service, lesson, count, () => lesson.heard.join, come);
    figures.joined = (await service.memory()).now;
    [figures.act, figures.actCpu] = await timed(service, lesson, count, phase.count, phase.start);
    await lesson.leave();
    await pause(SETTLING_MS);
    ({ now: figures.after, peak: figures.peak } = await service.memory());
  } catch (error) {
    figures.failed = error.message;
  } finally {
    await lesson?.close();
    await service.stop();
  }
  return figures;
}

function shown(value, unit) {
  return value === undefined ? '-' : `${value.toFixed(unit === 's' ? 2 : 0)} ${unit}`;
}

function ratio(columns, name) {
  const [before, after] = columns.map((figures) => figures[name]);
  return before > 0 && after !== undefined ? (after / before).toFixed(2) : '-';
}

function print({ transport, count, meaning }, columns) {
  const isComparison = columns.length > 1;
  const heading = isComparison ? ['the other', 'this one', 'ratio'] : [''];
  console.log(`${`${count} devices over ${transport}`.padEnd(54)}${heading.map((word) => word.padStart(12)).join('')}`);
  for (const [name, unit, text] of FIGURES) {
    const cells = columns.map((figures) => shown(figures[name], unit));
    const row = isComparison ? [...cells, ratio(columns, name)] : cells;
    console.log(`  ${(text || meaning).padEnd(52)}${row.map((cell) => cell.padStart(12)).join('')}`);
  }
  columns.filter(({ failed }) => failed).forEach(({ failed }) => console.log(`  not done: ${failed}`));
  console.log();
}

const [devices, other] = process.argv.slice(2);
const programs = other ? [other, THIS_SERVICE] : [THIS_SERVICE];
const slide = makeSlide();
let failures = 0;
for (const kind of classes(Number(devices))) {
  const columns = [];
  for (const program of programs) {
    columns.push(await measure(program, kind, slide));
  }
  print(kind, columns);
  failures += columns.filter(({ failed }) => failed).length;
}
process.exit(failures === 0 ? 0 : 1);
