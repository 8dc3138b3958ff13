'use strict';
// What the script API benchmarks share: a reference server, a connection on it and an empty
// table of 8 columns; the body runs with them, and they are closed and stopped after it.
const path = require('path');
const zanvodb = require(path.join(__dirname, '..'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));

const COLUMNS = '(i integer, b bigint, d double, v varchar(32), s varchar(32), f double, n integer, flag boolean)';

// A query callback that turns a failure into an exception.
function check(err) {
  if (err) throw new Error(err.Error);
}

async function withEightColumnTable(table, body) {
  const server = await launcher.start();
  try {
    const conn = zanvodb.createConnection(server.connString());
    conn.connect();
    conn.query(`create table ${table} ${COLUMNS}`, check);
    body(conn);
    conn.end();
  } finally {
    await server.stop();
  }
}

module.exports = { check, withEightColumnTable };
