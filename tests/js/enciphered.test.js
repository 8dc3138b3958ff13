'use strict';
// The same workload over a plain and an enciphered link gives the same outcomes: statements,
// bound values, a result of many rows, large objects inline and by descriptor, transactions.
const test = require('node:test');
const assert = require('node:assert/strict');
const crypto = require('crypto');
const { launcher, openConnection } = require('./helpers');

const hash = (text) => crypto.createHash('sha256').update(text).digest('hex').slice(0, 16);

let server;
test.before(async () => { server = await launcher.start(); });
test.after(async () => { await server.stop(); });

function query(conn, ...args) {
  let out;
  conn.query(...args, (err, rows, fields) => { out = { err, rows, fields }; });
  return out;
}

// Each step's outcome, with large objects as their bytes.
function workload(conn, table) {
  const outcomes = [];
  const step = (...args) => {
    const { err, rows, fields } = query(conn, ...args);
    // Large objects as their bytes in hex, so that a difference shows where it lies.
    const text = JSON.stringify(rows, (k, v) => (v instanceof ArrayBuffer ? Buffer.from(v).toString('hex') : v));
    outcomes.push({ err, fields, rows: text.length > 300 ? `${text.length}:${hash(text)}` : text });
  };
  step(`create table ${table} (id integer, name varchar(40), body blob, at timestamp)`);
  step(`insert into ${table} values (?, ?, ?, ?)`, [1, 'one', null, new Date(2026, 0, 2, 3, 4, 5)]);
  step(`insert into ${table} select x, 'row ' || x, zeroblob(x % 5), null from
        (with recursive k(x) as (select 2 union all select x + 1 from k where x < 300) select x from k)`);
  step(`update ${table} set body = zeroblob(9000) where id = 2`);
  step(`update ${table} set body = x'00ff10' where id = 3`);
  step(`select id, name, body, at from ${table} order by id`);
  step(`select count(*) as c from ${table} where name = :name`, { name: 'row 299' });
  conn.beginTransaction(() => {});
  step(`delete from ${table} where id > 100`);
  conn.rollback(() => {});
  step(`select count(*) as c from ${table}`);
  return outcomes;
}

test('an enciphered link gives what a plain link gives, large objects included', () => {
  for (const extra of ['', ';LOB_RET=on']) {
    const plain = openConnection(server, extra.slice(1) || undefined);
    const enciphered = openConnection(server, `USE_SSL=on${extra}`);
    const tag = extra ? 'd' : 'i';
    const expected = workload(plain, `plain_${tag}`);
    assert.deepEqual(workload(enciphered, `ciphered_${tag}`), expected);
    assert.equal(expected.at(-1).rows, '[{"c":300}]');
    plain.end();
    enciphered.end();
  }
});
