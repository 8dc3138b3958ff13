'use strict';
// Script values bound to "?" and ":name" placeholders reach the server as typed parameters and
// come back as the same values, in every call form of query.
const test = require('node:test');
const assert = require('node:assert/strict');
const { withServer } = require('./helpers');

const fx = withServer(test, { connect: true });

// query(...args, cb) gathered into one object, since the callback runs before query returns.
function query(...args) {
  let out;
  fx.conn.query(...args, (err, rows) => { out = { err, rows }; });
  return out;
}

const at = new Date(2026, 10, 23, 10, 20, 30, 456);
const row = [42, 4294967295, 1.5, 'hé\u0000cut', true, at, new Uint8Array([1, 2, 3]), null];
// A datetime column keeps no zone: the Date goes out as its local wall clock and comes back as
// that wall clock read in UTC, whatever the script's zone.
const expected = {
  i: 42, big: 2147483647, d: 1.5, s: 'hé', b: true, t: Date.UTC(2026, 10, 23, 10, 20, 30), bin: '1,2,3', n: null,
};

function readBack(id) {
  const { err, rows } = query('select i, big, d, s, b, t, bin, n from v where i = ?', [id]);
  assert.equal(err, null);
  assert.equal(rows.length, 1);
  const r = rows[0];
  return { ...r, t: r.t.getTime(), bin: Buffer.from(r.bin).toString() };
}

test('every kind of value round-trips by position and by name, in each call form', () => {
  query('create table v (i integer, big bigint, d double, s varchar(40), b boolean, t timestamp, bin blob, n integer)');
  const names = ':i, :big, :d, :s, :b, :t, :bin, :n';
  const byName = { i: 0, big: row[1], d: row[2], s: row[3], b: row[4], t: row[5], bin: row[6], n: row[7] };
  const forms = [
    (id) => query('insert into v values (?, ?, ?, ?, ?, ?, ?, ?)', [id, ...row.slice(1)]),
    (id) => query({ sql: 'insert into v values (?, ?, ?, ?, ?, ?, ?, ?)', values: [id, ...row.slice(1)] }),
    (id) => query({ sql: 'insert into v values (?, ?, ?, ?, ?, ?, ?, ?)' }, [id, ...row.slice(1)]),
    (id) => query(`insert into v values (${names})`, { ...byName, i: id }),
    (id) => query({ sql: `insert into v values (${names})`, values: { ...byName, i: id } }),
    // An array serves named placeholders by index.
    (id) => query(`insert into v values (${names})`, [id, ...row.slice(1)]),
  ];
  forms.forEach((insert, k) => {
    const id = 100 + k;
    assert.deepEqual(insert(id).err, null, `form ${k}`);
    assert.deepEqual(readBack(id), { ...expected, i: id }, `form ${k}`);
  });
  // Without a callback the statement still runs with its values.
  fx.conn.query('insert into v (i, s) values (?, ?)', [200, 'no callback']);
  assert.deepEqual(query('select s from v where i = :i', { i: 200 }).rows, [{ s: 'no callback' }]);
});

test('values that cannot be bound, and placeholders left without values', () => {
  // An object has no parameter form: its placeholder stays unbound, and the server says so.
  assert.deepEqual(query('select i from v where i = ?', [{}]).err,
    { Error: '[E10003]the statement has 1 placeholders, 0 parameters were sent' });
  assert.deepEqual(query('select i from v where i = ? and s = ?', [() => 1, 'x']).err,
    { Error: '[E10003]parameter 1 was left without a value' });
  assert.deepEqual(query('select ? as t, ? as f', [true, false]).rows, [{ t: 1, f: 0 }]);
  // With only a callback behind the text every placeholder binds NULL.
  assert.deepEqual(query('select count(*) as c from v where n is ?'), { err: null, rows: [{ c: 7 }] });
  // A name the values lack binds NULL; so does a missing index.
  assert.deepEqual(query('select count(*) as c from v where n is :missing', { other: 1 }).rows, [{ c: 7 }]);
});

test('a getter of the values that runs a statement on the same connection runs it before anything is bound', () => {
  query('create table reentry (a integer, b integer)');
  const inner = [];
  // Each getter runs an insert of its own on fx.conn while the outer statement reads its values.
  const reentering = (values, a, b) => Object.defineProperty(values, 'b', {
    enumerable: true,
    get() {
      inner.push(query('insert into reentry values (:a, :b)', { a: a * 10, b: b * 10 }).err);
      return b;
    },
  });
  assert.deepEqual(query('insert into reentry values (:a, :b)', reentering({ a: 1 }, 1, 2)).err, null);
  fx.conn.querymany('insert into reentry values (:a, :b)', [{ a: 3, b: 4 }, reentering({ a: 5 }, 5, 6)],
    (err) => inner.push(err));
  assert.deepEqual(inner, [null, null, null]);
  assert.deepEqual(query('select a, b from reentry order by a').rows,
    [{ a: 1, b: 2 }, { a: 3, b: 4 }, { a: 5, b: 6 }, { a: 10, b: 20 }, { a: 50, b: 60 }]);
});
