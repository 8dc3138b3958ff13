'use strict';
// Single-row inserts of 8 values through query(sql, values, cb), beside the same inserts with
// the values written into the statement text, against the reference server in one run. Prints
// inserts per second and client CPU per insert for each, and their ratio.
// Run: npm run build && node bench/bound_inserts.js
const path = require('path');
const zanvodb = require(path.join(__dirname, '..'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));

const INSERTS = 20000;
const ROUNDS = 5;
const CREATE = 'create table bench (i integer, b bigint, d double, v varchar(32), s varchar(32), f double, n integer, flag boolean)';

function values(k) {
  return [k, k * 1000, k / 7, `name ${k}`, `more ${k}`, k * 0.5, k % 100, k % 2 === 0];
}
const literal = (v) => (typeof v === 'string' ? `'${v}'` : typeof v === 'boolean' ? (v ? 1 : 0) : String(v));

function measure(label, conn, insert) {
  let best = null;
  for (let round = 0; round < ROUNDS; ++round) {
    conn.query('delete from bench', () => {});
    const cpu = process.cpuUsage();
    const start = process.hrtime.bigint();
    for (let k = 0; k < INSERTS; ++k) insert(k);
    const wall = Number(process.hrtime.bigint() - start);
    const used = process.cpuUsage(cpu);
    const cpuNs = (used.user + used.system) * 1000;
    if (best === null || wall < best.wall) best = { wall, cpuNs };
  }
  const perSec = INSERTS / (best.wall / 1e9);
  console.log(`${label.padEnd(14)} ${Math.round(perSec).toLocaleString('en-US').padStart(8)} inserts/s` +
              `   ${(best.cpuNs / INSERTS).toFixed(0).padStart(6)} ns client CPU/insert (best of ${ROUNDS})`);
  return best.wall;
}

async function main() {
  const server = await launcher.start();
  try {
    const conn = zanvodb.createConnection(server.connString());
    conn.connect();
    const check = (err) => { if (err) throw new Error(err.Error); };
    conn.query(CREATE, check);
    const text = measure('values in text', conn, (k) =>
      conn.query(`insert into bench values (${values(k).map(literal).join(', ')})`, check));
    const bound = measure('bound values', conn, (k) =>
      conn.query('insert into bench values (?, ?, ?, ?, ?, ?, ?, ?)', values(k), check));
    console.log(`bound / text wall time: ${(bound / text).toFixed(3)}`);
    conn.end();
  } finally {
    await server.stop();
  }
}

main();
