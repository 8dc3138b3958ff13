'use strict';
// Shared set-up of the script API tests: the addon and a reference server per test file.
const assert = require('node:assert/strict');
const { spawnSync } = require('child_process');
const path = require('path');
const zanvodb = require(path.join(__dirname, '..', '..'));
const launcher = require(path.join(__dirname, '..', '..', 'server', 'launcher.js'));

// Matchers of a TypeError of this message, and of a promise's rejection with a ZanvoError.
const typeError = (message) => (err) => err instanceof TypeError && err.message === message;
const rejectsWith = (promise, code, message) => assert.rejects(promise,
  (err) => err instanceof zanvodb.ZanvoError && err.code === code && (message === undefined || err.message === message));

// What a script run in a process of its own, with the collector at hand, wrote on its standard
// output; the process must end well. `env` is added to this process's environment.
function script(source, args, env = {}) {
  const child = spawnSync(process.execPath, ['--expose-gc', '-e', source, ...args],
    { encoding: 'utf8', timeout: 60000, env: { ...process.env, ...env } });
  assert.equal(child.status, 0, child.stderr);
  return child.stdout;
}

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

// A table whose json(v) fails at row `bad` of `count`, and the select that reads it in table
// order: the server sends the rows before the failing one, then the error among the rows.
function failingRows(conn, table, count, bad) {
  run(conn, `create table ${table} (i integer, v varchar(8))`);
  const filled = run(conn, `insert into ${table} with recursive n(i) as (select 1 union all select i + 1 from n
    where i < ${count}) select i, case when i = ${bad} then 'bad{' else '[' || i || ']' end from n`);
  if (filled.err) throw new Error(filled.err.Error);
  return `select i, json(v) as j from ${table}`;
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

module.exports = { zanvodb, launcher, options, openConnection, run, failingRows, withServer, typeError, rejectsWith, script };
