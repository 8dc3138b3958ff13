'use strict';
// Script values bound to "?" and ":name" placeholders reach the server as typed parameters and
// come back as the same values, in every call form of query.
const test = require('node:test');
const assert = require('node:assert/strict');
const { options, withServer } = require('./helpers');
const zp = require('../../promise');

const fx = withServer(test, { connect: true });

// query(...args, cb) gathered into one object, since the callback runs before query returns.
function query(...args) {
  let out;
  fx.conn.query(...args, (err, rows) => { out = { err, rows }; });
  return out;
}

// The kinds of values are the faces test's below; here, each call form.
test('every call form binds its values by position or by name', () => {
  query('create table v (i integer, s varchar(40), bin blob, n integer)');
  const values = (i) => [i, 'hé\u0000cut', new Uint8Array([1, 2, 3]), null];
  const named = (i) => ({ n: null, bin: new Uint8Array([1, 2, 3]), s: 'hé\u0000cut', i });
  const [byPlace, byName] = ['insert into v values (?, ?, ?, ?)', 'insert into v values (:i, :s, :bin, :n)'];
  const forms = [
    (id) => query(byPlace, values(id)),
    (id) => query({ sql: byPlace, values: values(id) }),
    (id) => query({ sql: byPlace }, values(id)),
    (id) => query(byName, named(id)),
    (id) => query({ sql: byName, values: named(id) }),
    (id) => query(byName, values(id)),  // an array serves named placeholders by index
  ];
  forms.forEach((insert, k) => assert.deepEqual(insert(100 + k).err, null, `form ${k}`));
  // Without a callback the statement still runs with its values. query binds a Uint8Array as
  // its text, "1,2,3".
  fx.conn.query('insert into v (i, s) values (?, ?)', [200, 'no callback']);
  assert.deepEqual(query('select i, s, hex(bin) as bin, n from v order by i').rows, [
    ...forms.map((_, k) => ({ i: 100 + k, s: 'hé', bin: '312C322C33', n: null })), { i: 200, s: 'no callback', bin: null, n: null }]);
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

// Each value in a column of its own: [column type, value, what query reads back, what
// executeBatch reads back, what the Promise API reads back (its statements and batches alike)].
// Bytes read back as their list, Dates as their time.
const when = new Date(2026, 0, 2, 3, 4, 5, 678);
const wall = Date.UTC(2026, 0, 2, 3, 4, 5);
const faces = [
  ['integer', 2 ** 31 - 1, 2147483647, 2147483647, 2147483647],
  ['bigint', 2 ** 31, 2147483647, 2 ** 31, 2 ** 31],
  ['bigint', 2 ** 53 - 1, 2 ** 53 - 1, 2 ** 53 - 1, 2 ** 53 - 1],
  ['bigint', -(2 ** 40), -(2 ** 40), -(2 ** 40), -(2 ** 40)],
  ['double', -0, 0, 0, 0],
  ['double', 0.1, 0.1, 0.1, 0.1],
  ['boolean', false, false, false, false],
  ['datetime', when, wall, wall, when.getTime()],
  ['blob', Buffer.from([1, 0, 2]), [1], [1, 0, 2], [1, 0, 2]],
  ['varchar(10)', 'a\0b', 'a', 'a', 'a\0b'],
  ['integer', null, null, null, null],
];

test('each face binds values as documented through statements and batches, a repeated :name once', async () => {
  query(`create table f (k integer, ${faces.map(([type], i) => `c${i} ${type}`).join(', ')}, again bigint)`);
  // The last placeholder names :c1 again: one value, bound once.
  const insert = `insert into f values (:k, ${faces.map((_, i) => `:c${i}`).join(', ')}, :c1)`;
  const row = (k) => Object.fromEntries([['k', k], ...faces.map(([, v], i) => [`c${i}`, v])]);
  const plain = (v) => (v instanceof Date ? v.getTime() : v instanceof ArrayBuffer || Buffer.isBuffer(v) ? [...new Uint8Array(v)] : v);
  const read = (rows) => Object.values(rows[0]).map(plain);
  const expect = (k, face) => [k, ...faces.map((c) => c[face]), faces[1][face]];

  assert.deepEqual(query(insert, row(1)).err, null);
  let batch;
  fx.conn.executeBatch(insert, [row(2)], (err, count) => { batch = { err, count }; });
  assert.deepEqual(batch, { err: null, count: 1 });
  for (const [k, face] of [[1, 2], [2, 3]]) assert.deepEqual(read(query('select * from f where k = ?', [k]).rows), expect(k, face), `sync ${k}`);

  const conn = await zp.connect(options(fx.server));
  await conn.query(insert, row(3));
  assert.equal(await conn.executeMany(insert, [row(4)]), 1);
  for (const k of [3, 4]) assert.deepEqual(read((await conn.query('select * from f where k = ?', [k])).rows), expect(k, 4), `promise ${k}`);
  await conn.close();
});
