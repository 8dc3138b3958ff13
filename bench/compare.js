'use strict';
// zanvodb beside the drivers a Node developer would pick instead, in one process and one run:
// zanvodb against the reference server, better-sqlite3 in this process, and node-postgres
// against a private PostgreSQL on loopback (scripts/start-postgres.sh; without one its rows
// say "absent"). Every driver holds the same generated rows of 8 columns. Figures: a select of
// all rows (client CPU ns per row, wall rows per second; beside it the same rows made by a plain
// script loop, in the same rounds), a trivial exchange (a DELETE that
// touches no row, one round trip for each driver: wall and client CPU microseconds), `select 1`
// through each driver's query call (the same two) and a single-row insert with 8 bound values
// (the same two), and zanvodb's figures against their targets, all from the same run. Then 64
// concurrent one-row selects and 64 concurrent single-row inserts, queries per second: through
// zanvodb's createPool({ max: 8 }), beside the synchronous API's loop on one connection and
// node-postgres's Pool({ max: 8 }). Then 10,000,000 rows walked with for await over a stream
// beside the query object's walk (bench/stream_walk.js; 1,000,000 with --quick).
// Rounds are interleaved, so that drift in the machine hits every driver alike; medians.
//   node bench/compare.js            7 rounds, a Markdown table
//   node bench/compare.js --quick    3 rounds and fewer exchanges, then the ratios to the others
const path = require('path');
const os = require('os');
const { execFileSync } = require('child_process');
const zanvodb = require(path.join(__dirname, '..'));
const { createPool } = require(path.join(__dirname, '..', 'promise'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));
const Database = require('better-sqlite3');
const { walks } = require('./stream_walk');

const QUICK = process.argv.includes('--quick');
const ROWS = 100000;
const ROUNDS = QUICK ? 3 : 7;
const EXCHANGES = QUICK ? 1000 : 3000;
const INSERTS = QUICK ? 500 : 2000;
const CONCURRENT = 64;
const BATCHES = QUICK ? 20 : 60;  // of CONCURRENT queries in each round
const CONCURRENT_ROUNDS = QUICK ? 9 : 15;
const PG_SCRIPT = path.join(__dirname, '..', 'scripts', 'start-postgres.sh');

// Row x: i = x, b = x * 1000003, d = x / 7, v = "name x", day = 2020-01-01 + x % 3000 days,
// at = 2020-01-01 00:00 + x minutes, n = (x % 100000) / 100, flag = x is odd.
const SQLITE_CREATE = `create table bench (i integer, b bigint, d double, v varchar(32), day date,
  at datetime, n numeric(12,2), flag boolean)`;
const SQLITE_FILL = `insert into bench
  with recursive k(x) as (select 1 union all select x + 1 from k where x < ${ROWS})
  select x, x * 1000003, x / 7.0, 'name ' || x, date('2020-01-01', '+' || (x % 3000) || ' days'),
         datetime('2020-01-01 00:00:00', '+' || x || ' minutes'), (x % 100000) / 100.0, x % 2
  from k`;
const PG_CREATE = `create table bench (i integer, b bigint, d double precision, v varchar(32), day date,
  at timestamp, n numeric(12,2), flag boolean)`;
const PG_FILL = `insert into bench
  select x, x::bigint * 1000003, x / 7.0, 'name ' || x, date '2020-01-01' + x % 3000,
         timestamp '2020-01-01 00:00:00' + x * interval '1 minute', (x % 100000) / 100.0, x % 2 = 1
  from generate_series(1, ${ROWS}) x`;
const SELECT = 'select i, b, d, v, day, at, n, flag from bench';
const TRIVIAL = 'delete from idle where a = -1';
const ONE = 'select 1';
const IDLE_TABLE = 'create table idle (a integer)';
const INSERT_TABLE = 'create table ins (i integer, b bigint, d double precision, v varchar(32), day date, at timestamp, n numeric(12,2), flag boolean)';
// Values of the insert figure, the same for every driver.
const insertValues = (k) => [k, k * 7, k / 7, `name ${k}`, new Date(Date.UTC(2020, 0, 1 + (k % 3000))),
  new Date(Date.UTC(2020, 0, 1, 0, k % 1440)), ((k % 100000) / 100).toFixed(2), k % 2 === 1];

// The same rows made by a plain script loop, with the values zanvodb gives (two Dates, the
// numeric as text): what the rows alone cost, with nothing read or decoded; the floor beneath
// any driver that gives these values.
const EPOCH_2020 = Date.UTC(2020, 0, 1);
function plainRows() {
  const rows = new Array(ROWS);
  for (let x = 1; x <= ROWS; ++x) {
    rows[x - 1] = { i: x, b: x * 1000003, d: x / 7, v: `name ${x}`, day: new Date(EPOCH_2020 + (x % 3000) * 86400000),
                    at: new Date(EPOCH_2020 + x * 60000), n: String((x % 100000) / 100), flag: x % 2 === 1 };
  }
  return rows.length;
}

// The concurrent figures' row key: the select reads row (k % 1000) + 1 of bench by its key.
const rowKey = (k) => (k % 1000) + 1;

// BATCHES batches of CONCURRENT calls of one(k), each batch awaited whole.
async function batches(one) {
  let k = 0;
  for (let b = 0; b < BATCHES; ++b) await Promise.all(Array.from({ length: CONCURRENT }, () => one(++k)));
  return BATCHES * CONCURRENT;
}

// Client CPU and wall time of fn, which may be async.
async function timed(fn) {
  const cpu = process.cpuUsage();
  const start = process.hrtime.bigint();
  const count = await fn();
  const wallNs = Number(process.hrtime.bigint() - start);
  const used = process.cpuUsage(cpu);
  return { count, wallNs, cpuNs: (used.user + used.system) * 1000 };
}

function zanvoQuery(conn, sql, values) {
  let out;
  const cb = (err, rows) => {
    if (err) throw new Error(`zanvodb: ${err.Error}`);
    out = rows;
  };
  if (values) conn.query(sql, values, cb); else conn.query(sql, cb);
  return out;
}

// Each driver: its name and the three workloads, each returning how many it did.
async function zanvoDriver() {
  const server = await launcher.start();
  const conn = zanvodb.createConnection(server.connString());
  conn.connect();
  zanvoQuery(conn, SQLITE_CREATE);
  zanvoQuery(conn, SQLITE_FILL);
  zanvoQuery(conn, INSERT_TABLE);
  zanvoQuery(conn, IDLE_TABLE);
  const insert = 'insert into ins values (?, ?, ?, ?, ?, ?, ?, ?)';
  const oneRow = 'select i, v from bench where rowid = ?';
  const pool = createPool(server.connString(), { max: 8 });
  let k = 0;
  return {
    name: 'zanvodb',
    ways: [{
      name: 'zanvodb, synchronous loop on one connection',
      select: () => { for (let n = 0; n < BATCHES * CONCURRENT; ++n) zanvoQuery(conn, oneRow, [rowKey(n)]); return BATCHES * CONCURRENT; },
      insert: () => { for (let n = 0; n < BATCHES * CONCURRENT; ++n) zanvoQuery(conn, insert, insertValues(++k)); return BATCHES * CONCURRENT; },
    }, {
      name: 'zanvodb, createPool({ max: 8 })',
      select: () => batches((n) => pool.query(oneRow, [rowKey(n)])),
      insert: () => batches(() => pool.query(insert, insertValues(++k))),
    }],
    sample: () => zanvoQuery(conn, `${SELECT} where i = 12345`)[0],
    select: () => zanvoQuery(conn, SELECT).length,
    exchange: () => { for (let n = 0; n < EXCHANGES; ++n) zanvoQuery(conn, TRIVIAL); return EXCHANGES; },
    one: () => { for (let n = 0; n < EXCHANGES; ++n) zanvoQuery(conn, ONE); return EXCHANGES; },
    insert: () => { for (let n = 0; n < INSERTS; ++n) zanvoQuery(conn, insert, insertValues(++k)); return INSERTS; },
    close: async () => { conn.end(); await pool.end(); await server.stop(); },
  };
}

async function sqliteDriver() {
  const db = new Database(':memory:');
  db.exec(SQLITE_CREATE);
  db.exec(SQLITE_FILL);
  db.exec(INSERT_TABLE);
  db.exec(IDLE_TABLE);
  const select = db.prepare(SELECT);
  const trivial = db.prepare(TRIVIAL);
  const one = db.prepare(ONE);
  const insert = db.prepare('insert into ins values (?, ?, ?, ?, ?, ?, ?, ?)');
  // better-sqlite3 binds neither Dates nor booleans: the nearest values it takes.
  const bindable = (v) => v.map((x) => (x instanceof Date ? x.toISOString() : typeof x === 'boolean' ? Number(x) : x));
  let k = 0;
  return {
    name: 'better-sqlite3',
    sample: () => db.prepare(`${SELECT} where i = 12345`).get(),
    select: () => select.all().length,
    exchange: () => { for (let n = 0; n < EXCHANGES; ++n) trivial.run(); return EXCHANGES; },
    one: () => { for (let n = 0; n < EXCHANGES; ++n) one.get(); return EXCHANGES; },
    insert: () => { for (let n = 0; n < INSERTS; ++n) insert.run(bindable(insertValues(++k))); return INSERTS; },
    close: async () => db.close(),
  };
}

// Null when no PostgreSQL could be started here.
async function pgDriver() {
  let pg;
  let started;
  try {
    pg = require('pg');
    started = execFileSync('bash', [PG_SCRIPT, 'start'], { encoding: 'utf8', stdio: ['ignore', 'pipe', 'ignore'] }).trim();
  } catch (err) {
    return null;
  }
  const [port, folder] = started.split(' ');
  const client = new pg.Client({ host: '127.0.0.1', port: Number(port), user: 'postgres', database: 'postgres' });
  try {
    await client.connect();
    await client.query(PG_CREATE);
    await client.query(PG_FILL);
    await client.query(INSERT_TABLE);
    await client.query(IDLE_TABLE);
    await client.query('create index bench_i on bench (i)');
  } catch (err) {
    execFileSync('bash', [PG_SCRIPT, 'stop', folder]);
    return null;
  }
  const insert = 'insert into ins values ($1, $2, $3, $4, $5, $6, $7, $8)';
  const pool = new pg.Pool({ host: '127.0.0.1', port: Number(port), user: 'postgres', database: 'postgres', max: 8 });
  let k = 0;
  return {
    name: 'node-postgres',
    ways: [{
      name: 'node-postgres, Pool({ max: 8 })',
      select: () => batches((n) => pool.query('select i, v from bench where i = $1', [rowKey(n)])),
      insert: () => batches(() => pool.query(insert, insertValues(++k))),
    }],
    sample: async () => (await client.query(`${SELECT} where i = 12345`)).rows[0],
    select: async () => (await client.query(SELECT)).rows.length,
    exchange: async () => { for (let n = 0; n < EXCHANGES; ++n) await client.query(TRIVIAL); return EXCHANGES; },
    one: async () => { for (let n = 0; n < EXCHANGES; ++n) await client.query(ONE); return EXCHANGES; },
    insert: async () => { for (let n = 0; n < INSERTS; ++n) await client.query(insert, insertValues(++k)); return INSERTS; },
    close: async () => { await client.end(); await pool.end(); execFileSync('bash', [PG_SCRIPT, 'stop', folder]); },
  };
}

const median = (xs) => {
  const s = xs.slice().sort((a, b) => a - b);
  const m = s.length >> 1;
  return s.length % 2 ? s[m] : (s[m - 1] + s[m]) / 2;
};

// Every driver must hold the same rows: row 12345 is compared by its key, text and flag.
async function checkSameRows(drivers) {
  for (const d of drivers) {
    const row = await d.sample();
    if (!row || Number(row.i) !== 12345 || row.v !== 'name 12345' || Boolean(row.flag) !== true) {
      throw new Error(`${d.name} holds other rows: ${JSON.stringify(row)}`);
    }
  }
}

async function measure(drivers) {
  const figures = new Map(drivers.map((d) => [d.name, { select: [], exchange: [], one: [], insert: [] }]));
  const plain = [];
  for (let round = 0; round < ROUNDS; ++round) {
    plain.push(await timed(plainRows));
    for (const work of ['select', 'exchange', 'one', 'insert']) {
      for (const d of drivers) {
        const t = await timed(d[work]);
        if (work === 'select' && t.count !== ROWS) throw new Error(`${d.name}: ${t.count} rows`);
        figures.get(d.name)[work].push(t);
      }
    }
  }
  const out = new Map();
  for (const [name, f] of figures) {
    const per = (list, unit) => ({
      wall: median(list.map((t) => t.wallNs / t.count)) / unit,
      cpu: median(list.map((t) => t.cpuNs / t.count)) / unit,
    });
    const select = per(f.select, 1);
    out.set(name, { selectCpuNs: select.cpu, selectRowsPerS: 1e9 / select.wall,
                    exchange: per(f.exchange, 1000), one: per(f.one, 1000), insert: per(f.insert, 1000) });
  }
  return { results: out, plainCpuNs: median(plain.map((t) => t.cpuNs / t.count)) };
}

// Queries per second and client CPU µs per query of each way of running 64 at once, after one
// round that opens the pools.
async function measureConcurrent(ways) {
  const rates = new Map(ways.map((w) => [w.name, { select: [], insert: [], selectCpu: [], insertCpu: [] }]));
  for (let round = 0; round <= CONCURRENT_ROUNDS; ++round) {
    for (const work of ['select', 'insert']) {
      for (const w of ways) {
        const t = await timed(w[work]);
        if (round === 0) continue;
        rates.get(w.name)[work].push(t.count / (t.wallNs / 1e9));
        rates.get(w.name)[`${work}Cpu`].push(t.cpuNs / t.count / 1000);
      }
    }
  }
  return new Map([...rates].map(([name, r]) => [name, { select: median(r.select), insert: median(r.insert),
    selectCpu: median(r.selectCpu), insertCpu: median(r.insertCpu) }]));
}

function printConcurrent(rates) {
  console.log('');
  console.log(`${CONCURRENT} at once, medians of ${CONCURRENT_ROUNDS} interleaved rounds of ${BATCHES * CONCURRENT}:`);
  console.log('');
  console.log('| Way | one-row select: queries/s | CPU µs | single-row insert: queries/s | CPU µs |');
  console.log('|---|---:|---:|---:|---:|');
  for (const [name, r] of rates) console.log(`| ${name} | ${int(r.select)} | ${us(r.selectCpu)} | ${int(r.insert)} | ${us(r.insertCpu)} |`);
  console.log('');
  const pool = rates.get('zanvodb, createPool({ max: 8 })');
  for (const [name, r] of rates) {
    if (r === pool) continue;
    console.log(`createPool / ${name}: select ${(pool.select / r.select).toFixed(2)}, insert ${(pool.insert / r.insert).toFixed(2)}`);
  }
}

const int = (x) => Math.round(x).toLocaleString('en-US');
const us = (x) => x.toFixed(1);

function printTable(names, results) {
  console.log(`Machine: ${os.cpus().length} x ${os.cpus()[0].model.trim()}, ${Math.round(os.totalmem() / 2 ** 30)} GiB, ` +
              `${os.type()} ${os.release()}, Node ${process.version}; ${ROWS.toLocaleString('en-US')} rows, ` +
              `medians of ${ROUNDS} interleaved rounds`);
  console.log('');
  console.log('| Driver | select: CPU ns/row | select: rows/s | no-row delete: µs | no-row delete: CPU µs | ' +
              'select 1: µs | select 1: CPU µs | insert: µs | insert: CPU µs |');
  console.log('|---|---:|---:|---:|---:|---:|---:|---:|---:|');
  for (const name of names) {
    const r = results.get(name);
    if (!r) {
      console.log(`| ${name} |${' absent |'.repeat(8)}`);
      continue;
    }
    console.log(`| ${name} | ${int(r.selectCpuNs)} | ${int(r.selectRowsPerS)} | ${us(r.exchange.wall)} | ` +
                `${us(r.exchange.cpu)} | ${us(r.one.wall)} | ${us(r.one.cpu)} | ${us(r.insert.wall)} | ${us(r.insert.cpu)} |`);
  }
}

// zanvodb's figure over each other driver's: below 1 is better, except rows/s.
function printRatios(results) {
  const z = results.get('zanvodb');
  for (const [name, r] of results) {
    if (name === 'zanvodb') continue;
    console.log(`zanvodb / ${name}: select CPU/row ${(z.selectCpuNs / r.selectCpuNs).toFixed(2)}, ` +
                `rows/s ${(z.selectRowsPerS / r.selectRowsPerS).toFixed(2)}, ` +
                `no-row delete wall ${(z.exchange.wall / r.exchange.wall).toFixed(2)}, ` +
                `select 1 wall ${(z.one.wall / r.one.wall).toFixed(2)}, ` +
                `insert wall ${(z.insert.wall / r.insert.wall).toFixed(2)}`);
  }
}

// zanvodb's figures against their targets, each ratio from this one run.
function printTargets(results, plainCpuNs) {
  const z = results.get('zanvodb');
  const line = (what, ratio, target, detail) =>
    console.log(`${what}: ${ratio.toFixed(2)} (target <= ${target}; ${detail})`);
  line('select 1 / no-row delete, zanvodb wall', z.one.wall / z.exchange.wall, 1.3,
       `${us(z.one.wall)} µs / ${us(z.exchange.wall)} µs`);
  const pg = results.get('node-postgres');
  if (pg) {
    line('select 1, zanvodb / node-postgres wall', z.one.wall / pg.one.wall, 0.7, `${us(z.one.wall)} µs / ${us(pg.one.wall)} µs`);
  } else {
    console.log('select 1, zanvodb / node-postgres wall: node-postgres absent');
  }
  const lite = results.get('better-sqlite3');
  line(`rows to script, zanvodb / better-sqlite3 .all() CPU per row (${int(ROWS)} rows x 8)`,
       z.selectCpuNs / lite.selectCpuNs, 0.6, `${int(z.selectCpuNs)} ns / ${int(lite.selectCpuNs)} ns`);
  console.log(`the same rows made by a plain script loop / better-sqlite3 .all(), CPU per row: ` +
              `${(plainCpuNs / lite.selectCpuNs).toFixed(2)} (${int(plainCpuNs)} ns; zanvodb / plain loop ` +
              `${(z.selectCpuNs / plainCpuNs).toFixed(2)})`);
}

async function main() {
  const names = ['zanvodb', 'better-sqlite3', 'node-postgres'];
  const drivers = [await zanvoDriver(), await sqliteDriver()];
  const pg = await pgDriver();
  if (pg) drivers.push(pg);
  try {
    await checkSameRows(drivers);
    const { results, plainCpuNs } = await measure(drivers);
    printTable(names, results);
    if (QUICK) {
      console.log('');
      printRatios(results);
    }
    console.log('');
    printTargets(results, plainCpuNs);
    printConcurrent(await measureConcurrent(drivers.flatMap((d) => d.ways || [])));
  } finally {
    for (const d of drivers) await d.close();
  }
  console.log('');
  await walks(QUICK ? 1000000 : 10000000);
}

main().catch((err) => {
  console.error(err);
  process.exit(1);
});
