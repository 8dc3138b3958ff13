'use strict';
// How the event loop fares under each face, against the reference server:
// - the longest event-loop delay (perf_hooks.monitorEventLoopDelay) while 1,000,000 rows of
//   8 columns arrive through the Promise API's `await conn.query`, beside the synchronous
//   query of the same rows, which holds the loop for the whole of it;
// - 64 concurrent one-row selects through one Promise-API connection, beside the synchronous
//   API running the same 64 one after another;
// - the same rows made by a script alone, in the same 4 ms slices, with no database at all: the
//   floor that the engine's own collector sets for any code that keeps a million new objects;
// - one array of a million slots made in one step, as the array that holds any such result is:
//   on a machine where the first touch of a fresh page costs microseconds, that step alone;
// - one awaited exchange after another beside the synchronous loop: the difference is what the
//   trip to the connection's thread and back costs per exchange.
// Run: npm run build && node bench/event_loop.js
const path = require('path');
const { monitorEventLoopDelay, performance } = require('perf_hooks');
const zanvodb = require(path.join(__dirname, '..'));
const zp = require(path.join(__dirname, '..', 'promise'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));
const { check } = require('./eight_column_table');

const ROWS = 1000000;
const FILL = `insert into loop with recursive n(k) as (select 1 union all select k + 1 from n where k < ${ROWS})
  select k, k * 1000, k / 7.0, 'name ' || k, 'more ' || k, k * 0.5, k % 100, k % 2 from n`;
const SELECT_ALL = 'select i, b, d, v, s, f, n, flag from loop';
const ONE_ROW = 'select v from loop where rowid = ?';
const ROUNDS = 200;
const SERIAL = 3000;

const ms = (ns) => (ns / 1e6).toFixed(1);

// The longest delay of the loop while body runs; the histogram samples every millisecond.
async function longestDelay(body) {
  const h = monitorEventLoopDelay({ resolution: 1 });
  h.enable();
  // Samples flow before the body starts: a loop held from the start is then measured too.
  await new Promise((resolve) => setTimeout(resolve, 20));
  const start = process.hrtime.bigint();
  const rows = await body();
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  // A delay is recorded when the histogram's timer fires late: it must get to fire once more.
  await new Promise((resolve) => setTimeout(resolve, 20));
  h.disable();
  if (rows !== ROWS) throw new Error(`got ${rows} rows`);
  return { max: h.max, seconds };
}

// The rows of SELECT_ALL, made by script in slices of 4 ms, one turn of the loop each.
function scriptRows() {
  const rows = [];
  return new Promise((resolve) => {
    const slice = () => {
      const end = performance.now() + 4;
      while (rows.length < ROWS) {
        const k = rows.length + 1;
        rows.push({ i: k, b: k * 1000, d: k / 7, v: `name ${k}`, s: `more ${k}`, f: k * 0.5, n: k % 100, flag: k % 2 === 1 });
        if ((k & 255) === 0 && performance.now() >= end) return setImmediate(slice);
      }
      resolve(rows.length);
    };
    slice();
  });
}

// The milliseconds of one step that makes an array of ROWS slots, in memory never touched before.
function oneArray() {
  const start = performance.now();
  const slots = new Array(ROWS).fill(null);
  const ms = performance.now() - start;
  if (slots.length !== ROWS) throw new Error('short array');
  return ms;
}

function syncRows(conn) {
  let count = 0;
  conn.query(SELECT_ALL, (err, rows) => {
    check(err);
    count = rows.length;
  });
  return count;
}

async function rate(label, count, body) {
  const start = process.hrtime.bigint();
  await body();
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  const perSecond = count / seconds;
  console.log(`${label}: ${Math.round(perSecond).toLocaleString('en-US')} selects/s`);
  return perSecond;
}

async function main() {
  const server = await launcher.start();
  const conn = zanvodb.createConnection(server.connString());
  conn.connect();
  conn.query('create table loop (i integer, b bigint, d double, v varchar(32), s varchar(32), f double, n integer, flag boolean)', check);
  conn.query(FILL, check);
  const pconn = await zp.connect(server.connString());

  const idle = monitorEventLoopDelay({ resolution: 1 });
  idle.enable();
  await new Promise((resolve) => setTimeout(resolve, 2000));
  idle.disable();
  console.log(`idle loop for 2 s, the floor of this machine: longest delay ${ms(idle.max)} ms`);
  const sync = await longestDelay(async () => syncRows(conn));
  const promised = await longestDelay(async () => (await pconn.query(SELECT_ALL)).rows.length);
  const floor = await longestDelay(scriptRows);
  console.log(`1,000,000 rows, longest event-loop delay: synchronous query ${ms(sync.max)} ms ` +
              `(${sync.seconds.toFixed(2)} s in all), await query ${ms(promised.max)} ms (${promised.seconds.toFixed(2)} s in all); ` +
              `the same rows made by script alone in 4 ms slices ${ms(floor.max)} ms (${floor.seconds.toFixed(2)} s); ` +
              `one array of 1,000,000 slots made in one step ${oneArray().toFixed(1)} ms`);

  const syncLoop = await rate('64 one-row selects, synchronous loop', 64 * ROUNDS, async () => {
    for (let r = 0; r < ROUNDS; r++) for (let i = 1; i <= 64; i++) conn.query(ONE_ROW, [i], check);
  });
  const concurrent = await rate('64 one-row selects, concurrent through one Promise connection', 64 * ROUNDS, async () => {
    for (let r = 0; r < ROUNDS; r++) await Promise.all(Array.from({ length: 64 }, (_, i) => pconn.query(ONE_ROW, [i + 1])));
  });
  console.log(`concurrent Promise / synchronous loop: ${(concurrent / syncLoop).toFixed(2)}`);

  const start = process.hrtime.bigint();
  for (let i = 0; i < SERIAL; i++) conn.query(ONE_ROW, [1], check);
  const syncUs = Number(process.hrtime.bigint() - start) / 1e3 / SERIAL;
  const awaitedStart = process.hrtime.bigint();
  for (let i = 0; i < SERIAL; i++) await pconn.query(ONE_ROW, [1]);
  const awaitedUs = Number(process.hrtime.bigint() - awaitedStart) / 1e3 / SERIAL;
  console.log(`one exchange at a time: synchronous ${syncUs.toFixed(1)} us, awaited ${awaitedUs.toFixed(1)} us; ` +
              `the trip to the connection's thread and back: ${(awaitedUs - syncUs).toFixed(1)} us`);

  // On a connection whose link is lost every call fails on its thread without an exchange:
  // what is left is the trip there and back alone.
  const lost = await zp.connect(server.connString());
  await lost.query('ZANVO FAULT CLOSE AFTER 0');
  await lost.query('select 1').catch(() => {});
  const tripStart = process.hrtime.bigint();
  for (let i = 0; i < SERIAL; i++) await lost.query('select 1').catch(() => {});
  const tripUs = Number(process.hrtime.bigint() - tripStart) / 1e3 / SERIAL;
  console.log(`the trip alone, a call that fails on the connection's thread: ${tripUs.toFixed(1)} us`);

  await Promise.all([pconn.close(), lost.close()]);
  conn.end();
  await server.stop();
}

main().catch((err) => {
  console.error(err);
  process.exitCode = 1;
});
