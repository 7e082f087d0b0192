// What becomes of a picture: a file in docs/pictures/, small enough for a page.

import { spawnSync } from 'node:child_process';
import { statSync, writeFileSync } from 'node:fs';
import { fileURLToPath } from 'node:url';

const MOST_BYTES = 200_000;

/** Keeps a PNG as docs/pictures/NAME.png, with as many colours as the eye can tell apart. */
export function keep(name, png) {
  const { status, stdout, stderr } = spawnSync('pngquant', ['--speed', '1', '--strip', '-'], { input: png, maxBuffer: 1 << 26 });
  if (status !== 0) {
    throw new Error(`pngquant: ${stderr}`);
  }
  const file = fileURLToPath(new URL(`../../docs/pictures/${name}.png`, import.meta.url));
  writeFileSync(file, stdout);
  spawnSync('optipng', ['-quiet', '-o5', '-strip', 'all', file]);
  const { size } = statSync(file);
  if (size > MOST_BYTES) {
    throw new Error(`${name}.png has ${size} bytes, which is too many for a page`);
  }
}
