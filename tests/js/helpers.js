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

module.exports = { zanvodb, launcher, options, openConnection, run };
