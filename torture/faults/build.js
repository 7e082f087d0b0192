// What a fault changes, built beside the checkout's own build: the library, and the test programs that take
// the faulty file in. Neither the checkout nor its build is touched.

import { execFile } from 'node:child_process';
import { createHash } from 'node:crypto';
import { mkdirSync, readFileSync, rmSync, symlinkSync, writeFileSync } from 'node:fs';
import { basename, dirname, join } from 'node:path';
import { promisify } from 'node:util';

const run = promisify(execFile);

const LINKED = /^build (\S+): CXX_(SHARED_LIBRARY|EXECUTABLE)_LINKER\S* ([^|\n]*)/gm;

export class Build {
  #root;
  #folder;
  #objects = new Map(); // by file: [{object, command}]
  #programs; // what is linked: [{output, objects, isLibrary}]
  #healthy = new Map(); // by file: the healthy object's sum

  /** Of the sources in root, configured in folder. */
  constructor(root, folder) {
    this.#root = root;
    this.#folder = folder;
    for (const { file, command } of JSON.parse(readFileSync(join(folder, 'compile_commands.json'), 'utf8'))) {
      const object = / -o (\S+)/.exec(command)[1];
      this.#objects.set(file, [...(this.#objects.get(file) ?? []), { object, command }]);
    }
    const rules = readFileSync(join(folder, 'build.ninja'), 'utf8');
    this.#programs = [...rules.matchAll(LINKED)].map(([, output, kind, inputs]) => (
      { output, objects: new Set(inputs.split(' ')), isLibrary: kind === 'SHARED_LIBRARY' }));
  }

  get folder() {
    return this.#folder;
  }

  /** Brings the library and those of these programs that there are up to date. */
  async update(programs) {
    const known = new Set(this.#programs.map(({ output }) => basename(output)));
    const targets = ['tarvoclient', ...programs.filter((program) => known.has(program))];
    await run('cmake', ['--build', this.#folder, '--parallel', '2', '--target', ...targets], { maxBuffer: 1 << 28 });
  }

  /** 'broken' for a fault that the compiler refuses, 'same' for one that changes no code, else 'differs'. */
  async difference({ file, text }, place) {
    const healthy = readFileSync(join(this.#root, file), 'utf8');
    try {
      if (!this.#healthy.has(file)) this.#healthy.set(file, await this.#sum(file, healthy, place));
      return await this.#sum(file, text, place) === this.#healthy.get(file) ? 'same' : 'differs';
    } catch (error) {
      if (error.code === 'ENOENT' || text === healthy) throw error;
      return 'broken';
    } finally {
      rmSync(place, { recursive: true, force: true });
    }
  }

  /** Builds all that a fault changes in a place: {libraries, programs}, paths by the names of what they replace. */
  async make({ file, text }, place, isWanted) {
    const built = { libraries: new Map(), programs: new Map() };
    for (const { object, command } of this.#objects.get(join(this.#root, file))) {
      const users = this.#programs.filter(({ objects, isLibrary, output }) => objects.has(object)
        && (isLibrary || isWanted(basename(output))));
      if (users.length === 0) continue;
      const faulty = await this.#compile(file, text, command, join(place, 'objects', String(built.programs.size + built.libraries.size)));
      for (const { output, isLibrary } of users) {
        (isLibrary ? built.libraries : built.programs).set(output, await this.#link(output, isLibrary, place, object, faulty));
      }
    }
    return built;
  }

  async #sum(file, text, place) {
    const [{ command }] = this.#objects.get(join(this.#root, file));
    return createHash('sha256').update(readFileSync(await this.#compile(file, text, command, place))).digest('hex');
  }

  // The file's name and place are the same each time, because an object may tell them.
  async #compile(file, text, command, place) {
    const source = join(place, basename(file));
    const object = `${source}.o`;
    mkdirSync(place, { recursive: true });
    writeFileSync(source, text);
    await this.#shell(command.replace(/ -o \S+ -c \S+$/, ` -w -o '${object}' -c '${source}'`).replaceAll(/ -W\S+/g, ''));
    return object;
  }

  async #link(output, isLibrary, place, object, faulty) {
    const { stdout } = await run('ninja', ['-C', this.#folder, '-t', 'commands', '-s', output], { maxBuffer: 1 << 26 });
    const command = stdout.trim().split('\n').at(-1);
    const linked = join(place, isLibrary ? 'lib' : 'bin', basename(output));
    mkdirSync(dirname(linked), { recursive: true });
    await this.#shell(command.split(' ').map((word, i, words) => {
      if (word === object) return faulty;
      return words[i - 1] === '-o' ? linked : word;
    }).join(' '));
    const [, alias] = /-soname,(\S+)/.exec(command) ?? [];
    if (alias) symlinkSync(basename(linked), join(dirname(linked), alias));
    return linked;
  }

  async #shell(command) {
    await run('/bin/sh', ['-c', command], { cwd: this.#folder, maxBuffer: 1 << 26 });
  }
}
