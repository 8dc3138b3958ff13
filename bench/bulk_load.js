'use strict';
// Loading 1,000,000 rows of 8 columns (int, bigint, double, varchar(32), date, datetime,
// numeric(12,2), boolean) in one run: through executeBatch against the reference server,
// through querymany (one exchange per row, so on fewer rows), and through better-sqlite3's
// prepared insert in one transaction on a WAL file in /dev/shm, as the server keeps its
// database. Prints rows per second for each, and executeBatch against its targets.
// Run: npm run build && npm install && node bench/bulk_load.js [ROWS]
const fs = require('fs');
const os = require('os');
const path = require('path');
const zanvodb = require(path.join(__dirname, '..'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));
const Database = require('better-sqlite3');

const ROWS = Number(process.argv[2] || 1000000);
const QUERYMANY_ROWS = 20000;  // one round trip per row: a million would take minutes
const COLUMNS = '(i integer, b bigint, d double, v varchar(32), dt date, ts datetime, n numeric(12,2), f boolean)';
const INSERT = 'insert into bulk values (?, ?, ?, ?, ?, ?, ?, ?)';

const pad = (n) => String(n).padStart(2, '0');
function makeRows(count) {
  const rows = new Array(count);
  for (let k = 0; k < count; ++k) {
    const day = `2026-${pad(1 + (k % 12))}-${pad(1 + (k % 28))}`;
    rows[k] = [k, k * 1000003 + 5000000000, k / 8, `name ${k}`, day,
      `${day} ${pad(k % 24)}:${pad(k % 60)}:${pad((k * 7) % 60)}`, (k % 1000000) / 100, k % 2 === 0];
  }
  return rows;
}

function rate(label, rows, seconds, note = '') {
  const perSec = rows / seconds;
  console.log(`${label.padEnd(28)} ${rows.toLocaleString('en-US').padStart(9)} rows in ${seconds.toFixed(2).padStart(6)} s` +
              `  ${Math.round(perSec).toLocaleString('en-US').padStart(10)} rows/s${note}`);
  return perSec;
}

function seconds(fn) {
  const start = process.hrtime.bigint();
  fn();
  return Number(process.hrtime.bigint() - start) / 1e9;
}

function scalar(conn, sql) {
  let value;
  conn.query(sql, (err, rows) => {
    if (err) throw new Error(err.Error);
    value = Object.values(rows[0])[0];
  });
  return value;
}

function loadServer(conn, rows) {
  conn.query(`create table bulk ${COLUMNS}`, () => {});
  let loaded;
  const took = seconds(() => conn.executeBatch(INSERT, rows, (err, count) => {
    if (err) throw new Error(err);
    loaded = count;
  }));
  const stored = scalar(conn, 'select count(*) from bulk');
  if (loaded !== rows.length || stored !== rows.length) throw new Error(`loaded ${loaded}, stored ${stored}`);
  return rate('executeBatch', rows.length, took);
}

function loadQuerymany(conn, rows) {
  if (typeof conn.querymany !== 'function') {
    console.log('querymany                    not in this build: no ratio');
    return null;
  }
  conn.query('delete from bulk', () => {});
  const part = rows.slice(0, QUERYMANY_ROWS);
  const took = seconds(() => conn.querymany(INSERT, part, () => {}));
  const stored = scalar(conn, 'select count(*) from bulk');
  if (stored !== part.length) throw new Error(`querymany stored ${stored} of ${part.length} rows`);
  return rate('querymany', part.length, took, `  (first ${QUERYMANY_ROWS.toLocaleString('en-US')} rows only)`);
}

function loadSqlite(rows) {
  const dir = fs.existsSync('/dev/shm') ? '/dev/shm' : os.tmpdir();
  const file = path.join(dir, `bulk-load-bench-${process.pid}.db`);
  const db = new Database(file);
  try {
    db.pragma('journal_mode = WAL');
    db.exec(`create table bulk ${COLUMNS}`);
    const insert = db.prepare(INSERT);
    // better-sqlite3 takes no booleans: they go in as 1 and 0.
    const load = db.transaction((all) => {
      for (const r of all) insert.run(r[0], r[1], r[2], r[3], r[4], r[5], r[6], r[7] ? 1 : 0);
    });
    return rate('better-sqlite3 transaction', rows.length, seconds(() => load(rows)));
  } finally {
    db.close();
    for (const suffix of ['', '-wal', '-shm']) fs.rmSync(file + suffix, { force: true });
  }
}

async function main() {
  const rows = makeRows(ROWS);
  const server = await launcher.start();
  try {
    const conn = zanvodb.createConnection(server.connString());
    conn.connect();
    const batch = loadServer(conn, rows);
    const many = loadQuerymany(conn, rows);
    conn.end();
    loadSqlite(rows);
    console.log(`executeBatch: ${Math.round(batch).toLocaleString('en-US')} rows/s (target 500,000: ` +
                `${batch >= 500000 ? 'met' : 'missed'})`);
    if (many !== null)
      console.log(`executeBatch / querymany: ${(batch / many).toFixed(1)}x (target 20x: ${batch / many >= 20 ? 'met' : 'missed'})`);
  } finally {
    await server.stop();
  }
}

main();
