// Holds the same lesson again and again, each time with a fault at another byte; docs/torture.md tells more.
// Exits with 1 when the library has to answer for something.

import { existsSync } from 'node:fs';

import { newCertificate } from '../../classroom/test/support/certificate.js';
import { startService } from '../../classroom/test/support/service.js';
import { faultName, faultsOf, scattered, wayNamed } from './faults.js';
import { holdLesson } from './lessons.js';
import { HELP, parseOptions } from './options.js';
import { Report } from './report.js';

const HANG_MS = 180_000; // more than all the steps of a lesson can take together
const CLEAN_TRIES = 3;
const CLEAN_PATIENCE = 4; // times that of the others: nothing is waited for in vain
const MS_OF_SECOND = 1_000;
const RUNS_OF_SERVICE = 1_000; // then a new one: sessions whose end was lost stay for a while
const TOLD_EVERY_MS = 30_000;

// One learner who answers quickly, and no bound on what so many lessons of one teacher need.
const SERVICE = ['--learners', '1', '--join-every', '1', '--think', '10',
  ...['signInsOfTeacher', 'sessionsOfTeacher', 'failedAttempts', 'failedAttemptsOfAll', 'connections']
    .flatMap((name) => ['--limit', `${name}=100000`]),
  '--limit', 'presenterAwayMs=120000'];

class Torture {
  #options;
  #report = new Report();
  #services = new Map(); // one of each kind
  #ends = []; // what ends them
  #again = []; // faults

  constructor(options) {
    this.#options = options;
  }

  /** The exit code. */
  async run() {
    try {
      return this.#options.only ? await this.#runOne() : await this.#runAll();
    } finally {
      await this.#endServices();
    }
  }

  async #runOne() {
    const result = await this.#hold(wayNamed(this.#options.only.way), this.#options.only);
    const { outcome, ms, isReached } = result;
    this.#report.add(result);
    console.log(`${result.log}\n${outcome} after ${ms} ms; the byte was ${isReached ? '' : 'not '}reached`);
    return this.#report.hasFailed ? 1 : 0;
  }

  async #runAll() {
    const all = await this.#allFaults();
    const faults = scattered(all).slice(0, this.#options.sample);
    const begun = Date.now();
    const until = begun + this.#options.seconds * MS_OF_SECOND;
    const telling = setInterval(() => console.error(`${this.#report.count} of ${faults.length} after ${seconds(begun)} s`), TOLD_EVERY_MS);
    const waiting = [...faults];
    while (waiting.length > 0 && Date.now() < until) {
      await this.#runSome(waiting.splice(0, RUNS_OF_SERVICE), until);
      await this.#endServices();
    }
    clearInterval(telling);
    await this.#holdAgain();
    console.log(this.#report.text());
    console.log(`${this.#report.count} lessons for ${all.length} faults in ${seconds(begun)} s, ${this.#options['at-once']} at a time; ${this.#again.length} held twice.`);
    return this.#report.hasFailed ? 1 : 0;
  }

  // What each way needs when nothing happens tells where something can happen.
  async #allFaults() {
    const lengths = new Map();
    for (const name of this.#options.ways) {
      lengths.set(name, await this.#lengthsOf(wayNamed(name)));
      console.error(`${name}: ${lengths.get(name).map(({ up, down }) => `${up} up, ${down} down`).join('; ')}`);
    }
    const columns = this.#options.fault.flatMap((kind) => this.#options.ways.map((way) => ({ way, kind })));
    columns.forEach((column) => this.#report.expect(column));
    return columns.flatMap(({ way, kind }) => faultsOf(way, kind, lengths.get(way)));
  }

  async #lengthsOf(way) {
    for (let tries = 1; ; ++tries) {
      const { outcome, heard, log, lengths } = await this.#hold(way);
      if (outcome === 'finished') {
        return lengths;
      }
      if (tries === CLEAN_TRIES) {
        throw new Error(`${way.name} does not finish a lesson without faults: ${outcome}, ${heard}\n${log}`);
      }
    }
  }

  async #runSome(faults, until) {
    const runNext = async () => {
      for (let fault = faults.shift(); fault && Date.now() < until; fault = faults.shift()) {
        const result = await this.#hold(wayNamed(fault.way), fault);
        if (hasLackedTime(result)) {
          this.#again.push(fault);
        } else {
          this.#report.add(result);
        }
      }
    };
    await Promise.all(Array.from({ length: this.#options['at-once'] }, runNext));
  }

  // A machine that has too much to do may have kept a lesson from ending. What counts is how it ends alone.
  async #holdAgain() {
    for (const fault of this.#again) {
      console.error(`once more, alone: ${faultName(fault)}`);
      this.#report.add(await this.#hold(wayNamed(fault.way), fault));
    }
  }

  async #hold(way, fault = null) {
    const { lesson: program, patience } = this.#options;
    const patienceMs = fault ? patience : patience * CLEAN_PATIENCE;
    return holdLesson({ program, way, fault, service: await this.#service(way), patienceMs, limitMs: HANG_MS });
  }

  // The robust transport is for servers with the stock settings.
  #service({ isTls, isRobust }) {
    const kind = `${isTls} ${isRobust}`;
    if (!this.#services.has(kind)) {
      this.#services.set(kind, this.#startService(isTls, isRobust));
    }
    return this.#services.get(kind);
  }

  async #startService(isTls, isRobust) {
    const t = { after: (end) => this.#ends.push(end) };
    const { cert, key } = isTls ? newCertificate(t) : {};
    const { url } = await startService(t, ...SERVICE, ...isTls ? ['--tls', cert, key] : [], ...isRobust ? ['--stock'] : []);
    return { url, cert };
  }

  async #endServices() {
    this.#services.clear();
    for (const end of this.#ends.splice(0)) {
      await end();
    }
  }
}

function hasLackedTime({ outcome, isReported, descriptors, threads }) {
  return !isReported && (outcome === 'hung' || (outcome !== 'crashed' && (descriptors > 0 || threads > 0)));
}

function seconds(begun) {
  return Math.round((Date.now() - begun) / MS_OF_SECOND);
}

async function main() {
  const options = parseOptions(process.argv.slice(2));
  if (options.help) {
    process.stdout.write(HELP);
    return 0;
  }
  if (!existsSync(options.lesson)) {
    throw new Error(`There is no program ${options.lesson}.`);
  }
  return new Torture(options).run();
}

// Node.js leaves a socket open that is reset while its end is under way, and would wait for it.
main().then((code) => process.exit(code), (error) => {
  console.error(error.message);
  process.exit(2);
});
