// A display that nobody sees, with one program on it, which is led with keys as a person would.

import { spawn, spawnSync } from 'node:child_process';
import { once } from 'node:events';

import { until } from '../../classroom/test/support/service.js';
import { keep } from './picture.js';

export class Display {
  #environment;

  /** One of this size; it goes with the test. */
  static async open(t, width, height) {
    const server = spawn('Xvfb', ['-displayfd', '3', '-nolisten', 'tcp', '-screen', '0', `${width}x${height}x24`],
      { stdio: ['ignore', 'ignore', 'ignore', 'pipe'] });
    ending(t, server);
    const [number] = await once(server.stdio[3].setEncoding('utf8'), 'data');
    const display = new Display();
    // What a program asks for, such as the whole screen, a window manager gives. This one has no decorations.
    display.#environment = { ...process.env, DISPLAY: `:${number.trim()}`, LANG: 'C.UTF-8', LC_ALL: 'C.UTF-8' };
    display.#spawn(t, 'matchbox-window-manager', ['-use_titlebar', 'no', '-kbdconfig', '/dev/null']);
    return display;
  }

  /** Starts a program on it, and waits until its window, which fills the display, takes keys. */
  async start(t, program, args, environment = {}) {
    this.#spawn(t, program, args, environment);
    await until(() => this.#run('xdotool', 'getactivewindow', 'getwindowname'));
  }

  #spawn(t, program, args, environment = {}) {
    ending(t, spawn(program, args, { env: { ...this.#environment, ...environment }, stdio: 'ignore' }));
  }

  keys(...names) {
    this.#run('xdotool', 'key', '--delay', '60', ...names);
  }

  type(text) {
    this.#run('xdotool', 'type', '--delay', '8', text);
    this.keys('Return');
  }

  /** Keeps what is on the display when it has stopped changing. */
  async shoot(name) {
    let before = null;
    const picture = await until(async () => {
      const now = spawnSync('maim', ['--hidecursor'], { env: this.#environment, maxBuffer: 1 << 26 }).stdout;
      const rests = before?.equals(now);
      before = now;
      return rests ? now : new Promise((resolve) => { setTimeout(resolve, 1000, null); });
    });
    keep(name, picture);
  }

  #run(program, ...args) {
    return spawnSync(program, args, { env: this.#environment, encoding: 'utf8' }).stdout.trim();
  }
}

function ending(t, child) {
  const ended = once(child, 'close');
  t.after(async () => {
    child.kill('SIGTERM');
    await ended;
  });
}
