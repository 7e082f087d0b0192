#!/usr/bin/env node
// The command: reads the options, starts the classroom, says where it listens, ends on a signal.

const USAGE_ERROR = 2;
const FAILURE = 1;

// The sources need packages that scripts/setup installs; whoever starts without them is told so.
async function loadSources() {
  try {
    return { ...(await import('../src/classroom.js')), ...(await import('../src/options.js')) };
  } catch (error) {
    const [, lacking] = /^Cannot find package '([^']+)'/.exec(error.message) ?? [];
    if (!lacking) throw error;
    console.error(`classroom: the package ${lacking} is missing; run scripts/setup classroom first.`);
    return process.exit(FAILURE);
  }
}

const { Classroom, HELP, parseOptions, UsageError } = await loadSources();

async function main() {
  const options = parseOptions(process.argv.slice(2));
  if (options.help) {
    process.stdout.write(HELP);
    return;
  }
  const classroom = new Classroom(options);
  const lines = await classroom.start();
  console.log(lines.map((line) => `classroom: ${line}`).join('\n'));
  const end = async () => {
    await classroom.stop();
    // The SockJS server still waits for sessions to come back; nobody else does.
    process.exit(0);
  };
  process.once('SIGTERM', end).once('SIGINT', end);
  if (options.endWithStdin) {
    process.stdin.once('end', end).resume();
  }
}

main().catch((error) => {
  console.error(`classroom: ${error.message}`);
  if (error instanceof UsageError) {
    console.error('Try --help.');
  }
  process.exit(error instanceof UsageError ? USAGE_ERROR : FAILURE);
});
