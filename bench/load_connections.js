'use strict';
// Many connections at once: opens them all, runs statements on them in turn (inserts,
// updates and selects), ends them, and reports time, statements per second, failures, and the
// resident memory and open descriptors before and after.
// Run: npm run build && node --expose-gc bench/load_connections.js [connections] [statements]
const fs = require('fs');
const path = require('path');
const zanvodb = require(path.join(__dirname, '..'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));

const openDescriptors = () => fs.readdirSync('/proc/self/fd').length;

function settledRss() {
  global.gc?.();
  return process.memoryUsage().rss;
}

// Statement i of connection c; the four kinds take turns, each on the connection's own rows.
function statement(c, i) {
  const id = c * 1000000 + i;
  switch (i % 4) {
    case 0: return `insert into load_rows values (${id}, ${c}, 'row ${id}')`;
    case 1: return `select id, name from load_rows where id = ${id - 1}`;
    case 2: return `update load_rows set name = 'new ${id}' where id = ${id - 2}`;
    default: return `select id, conn, name from load_rows where id between ${id - 3} and ${id - 1}`;
  }
}

// Runs the load against a server and gives what it measured.
function runLoad(server, connections, statements) {
  const setup = zanvodb.createConnection(server.connString());
  setup.connect();
  setup.query('drop table if exists load_rows', () => {});
  setup.query('create table load_rows (id integer primary key, conn integer, name varchar(40))', () => {});
  setup.end();

  const before = { rss: settledRss(), fds: openDescriptors() };
  let errors = 0;
  const count = (err) => { if (err) errors += 1; };
  const start = process.hrtime.bigint();
  const conns = Array.from({ length: connections }, () => zanvodb.createConnection(server.connString()));
  for (const conn of conns) conn.connect();
  const fdsOpen = openDescriptors();
  for (let i = 0; i < statements; ++i) {
    conns.forEach((conn, c) => conn.query(statement(c, i), count));
  }
  for (const conn of conns) conn.end();
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  const after = { rss: settledRss(), fds: openDescriptors() };
  return { seconds, statements: connections * statements, errors, before, after, fdsOpen };
}

async function main() {
  const connections = Number(process.argv[2] || 64);
  const statements = Number(process.argv[3] || 2000);
  const server = await launcher.start();
  try {
    const r = runLoad(server, connections, statements);
    const mib = (bytes) => (bytes / 1048576).toFixed(1);
    console.log(`${connections} connections x ${statements} statements = ${r.statements} statements`);
    console.log(`elapsed ${r.seconds.toFixed(2)} s, ${Math.round(r.statements / r.seconds)} statements/s, errors ${r.errors}`);
    console.log(`RSS before ${mib(r.before.rss)} MiB, after end ${mib(r.after.rss)} MiB`);
    console.log(`open descriptors before ${r.before.fds}, with all connected ${r.fdsOpen}, after end ${r.after.fds}`);
    if (!global.gc) console.log('(run with --expose-gc for settled RSS figures)');
    process.exitCode = r.errors === 0 ? 0 : 1;
  } finally {
    await server.stop();
  }
}

if (require.main === module) main();

module.exports = { runLoad };
