'use strict';
// 10,000 rows of 8 values inserted by one querymany beside 10,000 single query calls with the
// same values, against the reference server in one run. Prints rows per second for each (best of
// a few rounds) and their ratio.
// Run: npm run build && node bench/querymany_vs_query.js
const { check, withEightColumnTable } = require('./eight_column_table');

const ROWS = 10000;
const ROUNDS = 5;
const INSERT = 'insert into bench values (?, ?, ?, ?, ?, ?, ?, ?)';

function values(k) {
  return [k, k * 1000, k / 7, `name ${k}`, `more ${k}`, k * 0.5, k % 100, k % 2 === 0];
}

// Seconds for one load into the emptied table, checked by its row count.
function timeLoad(conn, load) {
  conn.query('delete from bench', () => {});
  const start = process.hrtime.bigint();
  load();
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  conn.query('select count(*) as n from bench', (err, rows) => {
    if (err || rows[0].n !== ROWS) throw new Error(`loaded ${err ? err.Error : rows[0].n} rows`);
  });
  return seconds;
}

// The two ways take turns in each round, so that both meet the same load on the machine.
function compare(conn) {
  const rows = Array.from({ length: ROWS }, (_, k) => values(k));
  let single = Infinity;
  let many = Infinity;
  for (let round = 0; round < ROUNDS; ++round) {
    single = Math.min(single, timeLoad(conn, () => { for (const row of rows) conn.query(INSERT, row, check); }));
    many = Math.min(many, timeLoad(conn, () => conn.querymany(INSERT, rows, check)));
  }
  const line = (label, seconds) => console.log(`${label.padEnd(28)} ${Math.round(ROWS / seconds).toLocaleString('en-US').padStart(8)} rows/s`);
  line(`${ROWS.toLocaleString('en-US')} single query calls`, single);
  line(`one querymany of ${ROWS.toLocaleString('en-US')} rows`, many);
  console.log(`querymany / query rows per second: ${(single / many).toFixed(3)} (best of ${ROUNDS} rounds each)`);
}

withEightColumnTable('bench', compare);
