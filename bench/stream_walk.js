'use strict';
// 10,000,000 rows of 8 columns walked through the Promise API's `for await` over conn.stream,
// beside the synchronous query object's nextRecord walk of the same rows: rows per second,
// the peak resident memory of the walking process above its start, and the longest
// event-loop delay during the walk. Each walk runs in a process of its own, so that each
// peak is its own. The delay is taken in a walk of its own: the histogram's 1 ms timer wakes
// the loop a thousand times a second, which costs a stream some 15% of its rate.
//   node bench/stream_walk.js [rows]      (bench/compare.js runs it with 10,000,000)
const path = require('path');
const { execFileSync } = require('child_process');
const { monitorEventLoopDelay } = require('perf_hooks');

const MiB = 1024 * 1024;
const SELECT = 'select i, b, d, v, s, f, n, flag from walk';
const COLUMNS = '(i integer, b bigint, d double, v varchar(32), s varchar(32), f double, n integer, flag boolean)';

async function streamWalk(connString, watched) {
  const zp = require(path.join(__dirname, '..', 'promise'));
  const conn = await zp.connect(connString);
  const loop = monitorEventLoopDelay({ resolution: 1 });
  const before = process.memoryUsage().rss;
  if (watched) loop.enable();
  // Samples flow before the walk starts, so that a loop held from its start is measured too.
  await new Promise((resolve) => setTimeout(resolve, 20));
  const start = process.hrtime.bigint();
  let rows = 0;
  let sum = 0;
  for await (const row of conn.stream(SELECT)) {
    rows++;
    sum += row.i;
  }
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  // A delay is recorded when the histogram's timer fires late: it must get to fire once more.
  await new Promise((resolve) => setTimeout(resolve, 20));
  loop.disable();
  await conn.close();
  return { rows, sum, seconds, before, delayMs: watched ? loop.max / 1e6 : 0 };
}

async function queryObjectWalk(connString) {
  const zanvodb = require(path.join(__dirname, '..'));
  const conn = zanvodb.createConnection(connString);
  conn.connect();
  const loop = monitorEventLoopDelay({ resolution: 1 });
  const before = process.memoryUsage().rss;
  loop.enable();
  await new Promise((resolve) => setTimeout(resolve, 20));
  const start = process.hrtime.bigint();
  const q = conn.query(SELECT);
  let rows = 0;
  let sum = 0;
  for (let done = false; !done;) {
    q.nextRecord('nextrecord', (row) => {
      if (typeof row === 'string') throw new Error(row);
      if (row === null) {
        done = true;
        return;
      }
      rows++;
      sum += row.i;
    });
  }
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  // A delay is recorded when the histogram's timer fires late: it must get to fire once more.
  await new Promise((resolve) => setTimeout(resolve, 20));
  loop.disable();
  conn.end();
  return { rows, sum, seconds, before, delayMs: loop.max / 1e6 };
}

// One walk in this process; its figures go out on standard output as JSON.
async function child(kind, connString) {
  const walked = await (kind === 'query' ? queryObjectWalk(connString) : streamWalk(connString, kind === 'stream-watched'));
  walked.peakAboveStartMiB = (process.resourceUsage().maxRSS * 1024 - walked.before) / MiB;
  process.stdout.write(JSON.stringify(walked));
}

// Fills the table on a server of its own and prints a line for each walk.
async function walks(rows) {
  const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));
  const zp = require(path.join(__dirname, '..', 'promise'));
  const server = await launcher.start();
  try {
    const conn = await zp.connect(server.connString());
    await conn.query(`create table walk ${COLUMNS}`);
    await conn.query(`insert into walk with recursive n(k) as (select 1 union all select k + 1 from n where k < ${rows})
      select k, k * 1000, k / 7.0, 'name ' || k, 'more ' || k, k * 0.5, k % 100, k % 2 from n`);
    await conn.close();
    const walk = (kind) => {
      const w = JSON.parse(execFileSync(process.execPath, [__filename, '--child', kind, server.connString()], { encoding: 'utf8' }));
      if (w.rows !== rows || w.sum !== (rows * (rows + 1)) / 2) throw new Error(`${kind}: walked ${w.rows} rows, sum ${w.sum}`);
      return w;
    };
    for (const [kind, label] of [['stream', 'for await over conn.stream'], ['query', 'synchronous query object, nextRecord']]) {
      const w = walk(kind);
      const delayMs = kind === 'stream' ? walk('stream-watched').delayMs : w.delayMs;
      console.log(`${rows.toLocaleString('en-US')} rows x 8 columns, ${label}: ` +
        `${Math.round(rows / w.seconds).toLocaleString('en-US')} rows/s, peak RSS ${w.peakAboveStartMiB.toFixed(1)} MiB above start, ` +
        `longest event-loop delay ${delayMs.toFixed(1)} ms${kind === 'stream' ? ' (in a walk of its own)' : ''}`);
    }
  } finally {
    await server.stop();
  }
}

const fail = (err) => {
  console.error(err);
  process.exitCode = 1;
};
if (process.argv[2] === '--child') child(process.argv[3], process.argv[4]).catch(fail);
else if (require.main === module) walks(Number(process.argv[2]) || 10000000).catch(fail);

module.exports = { walks };
