'use strict';
// The mutation harness: each mutant of scripts/mutants.js is applied alone to a scratch copy
// of the tree, that copy is built incrementally and the tests that can see the change are run.
// A mutant is killed when a test fails (or hangs past the time limit), survives when they all
// pass, is invalid when the copy no longer builds, and stale when its snippet does not occur
// exactly once in its file, so that it can be brought up to date with the code.
//
//   npm run mutate [-- [--jobs N] [--timeout S] [--scratch DIR] [--list] NAME-OR-PATTERN...]
//
// A pattern is matched against a mutant's name ('*' for any run of characters). The scratch
// copies (one per job) live outside the repository and are kept between runs, so a later
// run builds only what changed. The report goes to standard output and to report.txt there.
const fs = require('fs');
const os = require('os');
const path = require('path');
const { execFileSync, spawn } = require('child_process');

const root = path.join(__dirname, '..');
const mutants = require('./mutants.js');

function parseArgs(argv) {
  const opts = { jobs: 1, timeout: 240, scratch: path.join(os.tmpdir(), 'zanvodb-mutate'), list: false, patterns: [] };
  for (let i = 0; i < argv.length; i++) {
    const a = argv[i];
    if (a === '--jobs') opts.jobs = Math.max(1, Number(argv[++i]) || 1);
    else if (a === '--timeout') opts.timeout = Math.max(1, Number(argv[++i]) || opts.timeout);
    else if (a === '--scratch') opts.scratch = path.resolve(argv[++i]);
    else if (a === '--list') opts.list = true;
    else opts.patterns.push(a);
  }
  return opts;
}

function matches(name, patterns) {
  if (patterns.length === 0) return true;
  return patterns.some((p) => {
    const re = new RegExp('^' + p.split('*').map((s) => s.replace(/[.+?^${}()|[\]\\]/g, '\\$&')).join('.*') + '$');
    return re.test(name) || name.includes(p);
  });
}

function occurrences(text, snippet) {
  let n = 0;
  for (let at = text.indexOf(snippet); at >= 0; at = text.indexOf(snippet, at + 1)) n++;
  return n;
}

// ---- the scratch copy ------------------------------------------------------------------

// The tree's files (tracked and untracked, as they are now) into dir; only files whose bytes
// differ are written, so their new times rebuild them and nothing else.
function syncCopy(dir) {
  const files = execFileSync('git', ['ls-files', '-co', '--exclude-standard', '-z'], { cwd: root })
    .toString().split('\0').filter(Boolean);
  for (const f of files) {
    const from = path.join(root, f);
    let stat;
    try { stat = fs.lstatSync(from); } catch { continue; }
    if (!stat.isFile()) continue;
    const to = path.join(dir, f);
    const bytes = fs.readFileSync(from);
    let same = false;
    try { same = fs.readFileSync(to).equals(bytes); } catch { /* not there yet */ }
    if (same) continue;
    fs.mkdirSync(path.dirname(to), { recursive: true });
    fs.writeFileSync(to, bytes, { mode: stat.mode });
  }
}

function run(cmd, args, { cwd, env, timeout, log }) {
  return new Promise((resolve) => {
    const out = [];
    const child = spawn(cmd, args, { cwd, env: { ...process.env, ...env }, detached: true });
    child.stdout.on('data', (d) => out.push(d));
    child.stderr.on('data', (d) => out.push(d));
    let timedOut = false;
    const timer = timeout ? setTimeout(() => {
      timedOut = true;
      try { process.kill(-child.pid, 'SIGKILL'); } catch { /* gone */ }
    }, timeout * 1000) : null;
    child.on('close', (code) => {
      if (timer) clearTimeout(timer);
      const text = Buffer.concat(out).toString();
      if (log) fs.appendFileSync(log, `$ ${cmd} ${args.join(' ')}\n${text}\n`);
      resolve({ ok: code === 0 && !timedOut, timedOut, text });
    });
  });
}

// What a kind of test needs built in a copy, and how it runs.
function builds(kind, makeJobs) {
  const j = String(makeJobs);
  if (kind === 'js') {
    return [
      ['node-gyp', ['build', '-j', j]],
      ['cmake', ['--build', 'out', '-j', j, '--target', 'zanvo-server']],
    ];
  }
  return [['cmake', ['--build', 'out-asan', '-j', j, '--target', `${kind}_tests`]]];
}

async function buildFor(dir, kinds, makeJobs, log) {
  for (const kind of kinds) {
    for (const [cmd, args] of builds(kind, makeJobs)) {
      const r = await run(cmd, args, { cwd: dir, log });
      if (!r.ok) return false;
    }
  }
  return true;
}

async function prepareCopy(dir, makeJobs, log) {
  fs.mkdirSync(dir, { recursive: true });
  syncCopy(dir);
  const steps = [
    ['cmake', ['-S', '.', '-B', 'out-asan', '-DCMAKE_BUILD_TYPE=Debug', '-DZV_SANITIZE=ON']],
    ['cmake', ['-S', '.', '-B', 'out', '-DCMAKE_BUILD_TYPE=Release', '-DZV_TESTS=OFF']],
  ];
  if (!fs.existsSync(path.join(dir, 'build', 'Makefile'))) steps.push(['node-gyp', ['configure']]);
  for (const [cmd, args] of steps) {
    const r = await run(cmd, args, { cwd: dir, log });
    if (!r.ok) throw new Error(`${cmd} ${args.join(' ')} failed in ${dir}; see ${log}`);
  }
  if (!(await buildFor(dir, ['client', 'server', 'js'], makeJobs, log))) throw new Error(`the copy in ${dir} does not build; see ${log}`);
}

// ---- tests -------------------------------------------------------------------------------

// A test target: 'client:GTEST_FILTER', 'server:GTEST_FILTER' or 'js:file.test.js,other.test.js'.
function parseTest(target) {
  const at = target.indexOf(':');
  return { kind: target.slice(0, at), what: target.slice(at + 1) };
}

function command(target) {
  const { kind, what } = parseTest(target);
  if (kind === 'js') {
    const files = what.split(',').map((f) => path.join('tests', 'js', f));
    return { cmd: 'node', args: ['--test', '--test-reporter=tap', ...files], env: { TZ: 'America/New_York' } };
  }
  return { cmd: path.join('out-asan', kind === 'server' ? 'server' : '', `${kind}_tests`), args: [`--gtest_filter=${what}`], env: {} };
}

// The name of the first test that failed in a run's output.
function culprit(target, text, timedOut) {
  const { kind } = parseTest(target);
  let name = null;
  if (kind === 'js') {
    const m = text.match(/^\s*not ok \d+ - (.*)$/m);
    if (m) name = m[1].trim();
  } else {
    const failed = text.match(/^\[  FAILED  \] (\S+)/m);
    const running = [...text.matchAll(/^\[ RUN      \] (\S+)/gm)].pop();
    name = failed ? failed[1] : running ? running[1] : null;
  }
  const where = kind === 'js' ? 'node --test' : `${kind}_tests`;
  return `${where} ${name || '(no test named)'}${timedOut ? ' (timed out)' : ''}`;
}

async function runTests(dir, tests, timeout, log) {
  for (const target of tests) {
    const { cmd, args, env } = command(target);
    const r = await run(cmd, args, { cwd: dir, env, timeout, log });
    if (!r.ok) return culprit(target, r.text, r.timedOut);
  }
  return null;
}

// ---- one mutant ----------------------------------------------------------------------------

async function tryMutant(dir, m, opts, makeJobs, logDir) {
  const file = path.join(dir, m.file);
  const original = fs.readFileSync(file, 'utf8');
  const log = path.join(logDir, `${m.name}.log`);
  fs.writeFileSync(log, `${m.name}: ${m.fault}\n`);
  fs.writeFileSync(file, original.replace(m.from, () => m.to));
  try {
    const kinds = [...new Set(m.tests.map((t) => parseTest(t).kind))];
    if (!(await buildFor(dir, kinds, makeJobs, log))) return { status: 'invalid', by: 'does not build' };
    const by = await runTests(dir, m.tests, opts.timeout, log);
    return by ? { status: 'killed', by } : { status: 'survived', by: m.tests.join(' ') };
  } finally {
    fs.writeFileSync(file, original);
  }
}

function ratioLine() {
  try {
    return execFileSync('bash', [path.join(__dirname, 'ratio.sh')], { cwd: root }).toString().trim();
  } catch {
    return 'ratio: scripts/ratio.sh failed';
  }
}

async function main() {
  const opts = parseArgs(process.argv.slice(2));
  const chosen = mutants.filter((m) => matches(m.name, opts.patterns));
  const names = new Set();
  for (const m of mutants) {
    if (names.has(m.name)) throw new Error(`two mutants are named ${m.name}`);
    names.add(m.name);
  }
  const results = new Map();
  const live = [];
  for (const m of chosen) {
    const text = fs.readFileSync(path.join(root, m.file), 'utf8');
    const n = occurrences(text, m.from);
    if (n !== 1) results.set(m.name, { status: 'stale', by: `snippet occurs ${n} times in ${m.file}` });
    else live.push(m);
  }
  if (opts.list) {
    for (const m of chosen) console.log(`${m.name.padEnd(34)} ${results.has(m.name) ? 'STALE ' : '      '}${m.file}: ${m.fault}`);
    return;
  }

  const jobs = Math.min(opts.jobs, Math.max(1, live.length));
  const makeJobs = Math.max(1, Math.floor(os.cpus().length / jobs));
  const logDir = path.join(opts.scratch, 'logs');
  fs.mkdirSync(logDir, { recursive: true });
  const started = Date.now();
  const workers = [];
  const queue = [...live];
  for (let w = 0; w < jobs; w++) {
    const dir = path.join(opts.scratch, `copy${w}`);
    workers.push((async () => {
      console.log(`preparing ${dir}`);
      await prepareCopy(dir, makeJobs, path.join(logDir, `prepare${w}.log`));
      // Every test command must pass on the unchanged copy, or its mutants prove nothing.
      const checked = new Map();
      for (let m = queue.shift(); m; m = queue.shift()) {
        const bad = [];
        for (const target of m.tests) {
          if (!checked.has(target)) {
            await buildFor(dir, [parseTest(target).kind], makeJobs, path.join(logDir, `prepare${w}.log`));
            checked.set(target, await runTests(dir, [target], opts.timeout, path.join(logDir, `prepare${w}.log`)));
          }
          if (checked.get(target)) bad.push(checked.get(target));
        }
        const r = bad.length
          ? { status: 'invalid', by: `fails unchanged: ${bad.join('; ')}` }
          : await tryMutant(dir, m, opts, makeJobs, logDir);
        results.set(m.name, r);
        console.log(`${r.status.toUpperCase().padEnd(8)} ${m.name.padEnd(34)} ${r.by}`);
      }
    })());
  }
  await Promise.all(workers);

  const lines = [];
  const count = { killed: 0, survived: 0, invalid: 0, stale: 0 };
  for (const m of chosen) {
    const r = results.get(m.name);
    count[r.status]++;
    lines.push(`${r.status.toUpperCase().padEnd(8)} ${m.name.padEnd(34)} ${r.by}`);
  }
  const judged = count.killed + count.survived;
  const rate = judged ? ((100 * count.killed) / judged).toFixed(1) : '0.0';
  const survivors = chosen.filter((m) => results.get(m.name).status === 'survived');
  lines.push('');
  for (const m of survivors) lines.push(`survived: ${m.name} (${m.file}): ${m.fault}`);
  for (const m of chosen.filter((x) => results.get(x.name).status === 'stale')) lines.push(`stale: ${m.name} (${m.file})`);
  lines.push(`mutants: ${chosen.length}, killed ${count.killed}, survived ${count.survived}, invalid ${count.invalid}, stale ${count.stale}`);
  lines.push(`kill rate: ${rate}% (${count.killed} of ${judged}) in ${Math.round((Date.now() - started) / 1000)} s`);
  lines.push(ratioLine());
  const report = lines.join('\n');
  console.log(`\n${report}`);
  fs.writeFileSync(path.join(opts.scratch, 'report.txt'), `${report}\n`);
}

main().catch((e) => {
  console.error(e.message);
  process.exitCode = 2;
});
