'use strict';
// Selects the same 100,000 rows of 8 mixed columns (a) through query(sql, cb) from the
// reference server and (b) through better-sqlite3's .all() on an equivalent in-memory table,
// and prints rows per second and client-process CPU nanoseconds per row for each.
// Run: npm run build && npm install --no-save better-sqlite3 && node bench/query_vs_sqlite.js
const path = require('path');
const zanvodb = require(path.join(__dirname, '..'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));
const Database = require('better-sqlite3');

const ROWS = 100000;
const ROUNDS = 5;
const CREATE = `create table bench (i integer, b bigint, d double, v varchar(32), day date, at datetime,
  n numeric(12,2), flag boolean)`;
// Both databases are filled by the same recursive statement, so they hold the same rows.
const FILL = `insert into bench
  with recursive k(x) as (select 1 union all select x + 1 from k where x < ${ROWS})
  select x, x * 1000003, x / 7.0, 'name ' || x, date('2020-01-01', '+' || (x % 3000) || ' days'),
         datetime('2020-01-01 00:00:00', '+' || x || ' minutes'), (x % 100000) / 100.0, x % 2
  from k`;
const SELECT = 'select i, b, d, v, day, at, n, flag from bench';

function measure(label, readAll) {
  let best = null;
  for (let round = 0; round < ROUNDS; ++round) {
    const cpu = process.cpuUsage();
    const start = process.hrtime.bigint();
    const count = readAll();
    const wall = Number(process.hrtime.bigint() - start);
    const used = process.cpuUsage(cpu);
    const cpuNs = (used.user + used.system) * 1000;
    if (count !== ROWS) throw new Error(`${label}: ${count} rows`);
    if (best === null || cpuNs < best.cpuNs) best = { wall, cpuNs };
  }
  const rowsPerSec = ROWS / (best.wall / 1e9);
  const nsPerRow = best.cpuNs / ROWS;
  console.log(`${label.padEnd(16)} ${Math.round(rowsPerSec).toLocaleString('en-US').padStart(12)} rows/s` +
              `   ${nsPerRow.toFixed(0).padStart(6)} ns CPU/row (best of ${ROUNDS})`);
  return nsPerRow;
}

async function main() {
  const server = await launcher.start();
  try {
    const conn = zanvodb.createConnection(server.connString());
    conn.connect();
    conn.query(CREATE, (err) => { if (err) throw new Error(err.Error); });
    conn.query(FILL, (err) => { if (err) throw new Error(err.Error); });

    const db = new Database(':memory:');
    db.exec(CREATE);
    db.exec(FILL);
    const stmt = db.prepare(SELECT);

    const zanvo = measure('zanvodb query', () => {
      let n = 0;
      conn.query(SELECT, (err, rows) => {
        if (err) throw new Error(err.Error);
        n = rows.length;
      });
      return n;
    });
    const sqlite = measure('better-sqlite3', () => stmt.all().length);
    console.log(`client CPU per row, zanvodb / better-sqlite3: ${(zanvo / sqlite).toFixed(2)}`);
    conn.end();
  } finally {
    await server.stop();
  }
}

main().catch((err) => {
  console.error(err);
  process.exit(1);
});
