'use strict';
// Shared set-up of the script API tests: the addon and a reference server per test file.
const path = require('path');
const zanvodb = require(path.join(__dirname, '..', '..'));
const launcher = require(path.join(__dirname, '..', '..', 'server', 'launcher.js'));

function options(server, extra = {}) {
  return { host: server.host, port: server.port, user: 'SYSDBA', password: 'SYSDBA', database: 'SYSTEM', ...extra };
}

// A connection opened on the server; the caller ends it.
function openConnection(server, extra) {
  const conn = zanvodb.createConnection(extra === undefined ? options(server) : server.connString(extra));
  conn.connect();
  return conn;
}

// query(sql, cb) gathered into one object, since the callback runs before query returns.
function run(conn, sql) {
  let out;
  conn.query(sql, (err, rows, fields) => { out = { err, rows, fields }; });
  return out;
}

// A reference server for the test file, started before its tests and stopped after them, and
// with connect set a connection open on it: fx.server, fx.conn.
function withServer(test, { connect = false } = {}) {
  const fx = {};
  test.before(async () => {
    fx.server = await launcher.start();
    if (connect) fx.conn = openConnection(fx.server);
  });
  test.after(async () => {
    if (fx.conn) fx.conn.end();
    await fx.server.stop();
  });
  return fx;
}

module.exports = { zanvodb, launcher, options, openConnection, run, withServer };
