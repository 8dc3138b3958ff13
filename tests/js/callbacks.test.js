'use strict';
// Strict mode on purpose: a function called with receiver null sees this === null exactly,
// where sloppy mode would show the global object for null and undefined alike.
const test = require('node:test');
const assert = require('node:assert/strict');
const { zanvodb, launcher, options } = require('./helpers');

let server;
test.before(async () => { server = await launcher.start(); });
test.after(async () => { await server.stop(); });

test('every callback is called with receiver null', () => {
  const receivers = [];
  const record = (name) => function () { receivers.push([name, this]); };
  const conn = zanvodb.createConnection(options(server));
  conn.connect(record('connect'));
  conn.query(record('query(fn)'));
  conn.query('select 1 from dual', record('query(sql, cb)'));
  conn.query('select 1 from dual', [], record('query(sql, values, cb)'));
  conn.query({ sql: 'create table cb_t (a int)' }, record('query({sql}, cb)'));
  conn.beginTransaction(record('beginTransaction'));
  conn.commit(record('commit'));
  conn.beginTransaction(record('beginTransaction'));
  conn.rollback(record('rollback'));
  conn.connect(record('connect refused'));
  conn.disconnect();
  assert.deepEqual(receivers, [
    ['connect', null], ['query(fn)', null], ['query(sql, cb)', null], ['query(sql, values, cb)', null],
    ['query({sql}, cb)', null], ['beginTransaction', null], ['commit', null], ['beginTransaction', null],
    ['rollback', null], ['connect refused', null],
  ]);
});
