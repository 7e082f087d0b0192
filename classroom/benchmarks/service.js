// A classroom service as a child process, and what it costs the machine: memory and processor time, read
// from the system's own account of the process.

import { spawn } from 'node:child_process';
import { once } from 'node:events';
import { readFile } from 'node:fs/promises';

const LISTENING = /^classroom: listening on (\S+)$/m;
const KIB_OF_MIB = 1024;
const TICKS_OF_SECOND = 100;

export class MeasuredService {
  #child;

  /** program: the path of a bin/classroom.js. */
  static async start(program) {
    const service = new MeasuredService();
    service.#child = spawn(process.execPath, [program, '--port', '0', '--end-with-stdin'], {
      stdio: ['pipe', 'pipe', 'inherit'],
    });
    service.url = await service.#listening();
    return service;
  }

  /** {now, peak} in MiB. */
  async memory() {
    const status = await this.#account('status');
    const mib = (name) => Number(new RegExp(`^${name}:\\s*(\\d+) kB$`, 'm').exec(status)[1]) / KIB_OF_MIB;
    return { now: mib('VmRSS'), peak: mib('VmHWM') };
  }

  /** Seconds of processor time since the start, of all its threads. */
  async processorTime() {
    const stat = await this.#account('stat');
    // Behind the program's name, which may hold blanks: the state, ten more fields, then the two times.
    const fields = stat.slice(stat.lastIndexOf(')') + 2).split(' ');
    return (Number(fields[11]) + Number(fields[12])) / TICKS_OF_SECOND;
  }

  async stop() {
    if (this.#child.exitCode === null && this.#child.signalCode === null) {
      const ended = once(this.#child, 'close');
      this.#child.kill('SIGKILL');
      await ended;
    }
  }

  #account(name) {
    return readFile(`/proc/${this.#child.pid}/${name}`, 'utf8');
  }

  async #listening() {
    let output = '';
    for await (const text of this.#child.stdout.setEncoding('utf8')) {
      output += text;
      const url = LISTENING.exec(output)?.[1];
      if (url) {
        return url;
      }
    }
    throw new Error(`the service did not start: ${output}`);
  }
}
