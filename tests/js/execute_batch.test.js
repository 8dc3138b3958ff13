'use strict';
// executeBatch(sql, rows, cb): rows bound as arrays and loaded in commands of at most 65535 rows.
const test = require('node:test');
const assert = require('node:assert/strict');
const { openConnection, run, typeError, withServer } = require('./helpers');

const fx = withServer(test, { connect: true });


// executeBatch gathered into one object, since the callback runs before the method returns.
function load(sql, rows, conn = fx.conn) {
  let out;
  conn.executeBatch(sql, rows, (err, count) => { out = { err, count }; });
  return out;
}

function select(sql) {
  const { err, rows } = run(fx.conn, sql);
  assert.equal(err, null);
  return rows;
}

// The kinds of values of one type per column are the faces test's (parameters.test.js).
test('rows by position: several kinds in a column as text, a date as text, empty values and undefined as nulls', () => {
  run(fx.conn, 'create table eb (i integer, d double, s varchar(40), t datetime, bin blob, m varchar(20))');
  const rows = [
    [1, 1.5, 'one', '2026-01-02 03:04:05', Buffer.from([1, 0, 2]), 5],
    [2, undefined, '', null, Buffer.alloc(0), 'x'],
    [3, -0.25, null, null, null, true],
    [4, 2, 'four', null, null, 1.5],
  ];
  assert.deepEqual(load('insert into eb values (?, ?, ?, ?, ?, ?)', rows), { err: null, count: 4 });
  assert.deepEqual(select('select i, d, s, t is null as t, hex(bin) as bin, m from eb order by i'), [
    { i: 1, d: 1.5, s: 'one', t: 0, bin: '010002', m: '5' },
    { i: 2, d: null, s: null, t: 1, bin: null, m: 'x' },
    { i: 3, d: -0.25, s: null, t: 1, bin: null, m: '1' },
    { i: 4, d: 2, s: 'four', t: 1, bin: null, m: '1.5' },
  ]);
  assert.equal(select('select t from eb where i = 1')[0].t.getTime(), Date.UTC(2026, 0, 2, 3, 4, 5));
});

test('rows by name: objects by name, arrays by index, a repeated name bound once; counts of an update', () => {
  run(fx.conn, 'create table ebn (a integer, b varchar(10), c integer)');
  const rows = [{ a: 1, b: 'x' }, [2, 'y'], { b: 'z', a: 3, extra: 'ignored' }];
  assert.deepEqual(load('insert into ebn values (:a, :b, :a)', rows), { err: null, count: 3 });
  assert.deepEqual(select('select a, b, c from ebn order by a'),
    [{ a: 1, b: 'x', c: 1 }, { a: 2, b: 'y', c: 2 }, { a: 3, b: 'z', c: 3 }]);
  // The count is what the server says the statements changed: the row for a = 99 changes none.
  assert.deepEqual(load('update ebn set b = ? where a = ?', [['u', 1], ['v', 99], ['w', 3]]), { err: null, count: 2 });
  assert.deepEqual(select('select b from ebn order by a'), [{ b: 'u' }, { b: 'y' }, { b: 'w' }]);
  assert.deepEqual(load('delete from ebn where a = :a', []), { err: null, count: 0 });
});

test('rows go out in commands of at most 65,535; a failing row rolls back its own command and is counted over all rows', () => {
  run(fx.conn, 'create table ebf (n integer unique, s varchar(12))');
  const sql = 'insert into ebf values (?, ?)';
  assert.deepEqual(load(sql, [[1, 'a'], [2, 'b'], [1, 'c']]),
    { err: '[E10001]row 3 of the batch: UNIQUE constraint failed: ebf.n', count: 0 });
  assert.deepEqual(select('select count(*) as n from ebf'), [{ n: 0 }]);

  const rows = Array.from({ length: 70000 }, (_, i) => [i, `row ${i}`]);
  const failing = [...rows.slice(0, 69999), [0, 'again']];
  const failed = { err: '[E10001]row 70000 of the batch: UNIQUE constraint failed: ebf.n', count: 65535 };
  assert.deepEqual(load(sql, failing), failed);
  assert.deepEqual(select('select count(*) as n, max(n) as top from ebf'), [{ n: 65535, top: 65534 }]);
  // Inside a transaction the kept commands go with a rollback too.
  run(fx.conn, 'delete from ebf');
  fx.conn.beginTransaction(() => {});
  assert.deepEqual(load(sql, failing), failed);
  fx.conn.rollback(() => {});
  assert.deepEqual(select('select count(*) as n from ebf'), [{ n: 0 }]);
  // The link stays in step for the next load, every row of whose two commands arrives.
  assert.deepEqual(load(sql, rows), { err: null, count: 70000 });
  assert.deepEqual(select('select count(*) as n, sum(n) as s from ebf'), [{ n: 70000, s: 2449965000 }]);
  assert.deepEqual(select('select n, s from ebf where n in (0, 65534, 65535, 69999) order by n'), [
    { n: 0, s: 'row 0' }, { n: 65534, s: 'row 65534' }, { n: 65535, s: 'row 65535' }, { n: 69999, s: 'row 69999' },
  ]);
});

test('misuse throws a TypeError before anything is sent', () => {
  run(fx.conn, 'create table ebe (a integer, b integer)');
  const sql = 'insert into ebe values (?, ?)';
  const cb = () => assert.fail('no callback after a refusal');
  const cases = [
    [[sql, [], cb, 4], 'Wrong arguments number'],
    [[undefined, [], cb], 'The first argument undefined.'],
    [[{ sql }, [], cb], 'The first argument is not a statement text'],
    [[sql, { 0: [1, 2] }, cb], 'The second argument is not an array of rows'],
    [[sql, [[1, 2]]], 'The third argument is not callback function'],
    [['insert into ebe values (1, 2)', [[]], cb], "The statement has no placeholders for the rows' values"],
    [[sql, [[1, 2], 3], cb], 'Row 2 is neither an array nor an object'],
    [[sql, [[1, 2], [3, { n: 4 }]], cb], 'Row 2, placeholder 2: an object, array, function, symbol or BigInt has no parameter form'],
    [[sql, [[1, 2n]], cb], 'Row 1, placeholder 2: an object, array, function, symbol or BigInt has no parameter form'],
    [[sql, [[1, Buffer.from('a')], [2, 'b']], cb], 'Row 2, placeholder 2: a Buffer cannot share its column with values of other kinds'],
    [['insert into ebe values (:a, :b)', [{ a: 1, b: () => 2 }], cb], 'Row 1, placeholder :b: an object, array, function, symbol or BigInt has no parameter form'],
  ];
  for (const [args, message] of cases) assert.throws(() => fx.conn.executeBatch(...args), typeError(message), message);
  assert.deepEqual(select('select count(*) as n from ebe'), [{ n: 0 }]);

  const ended = openConnection(fx.server);
  ended.end();
  assert.throws(() => ended.executeBatch(sql, [[1, 2]], cb), typeError('The Connection is Not Open!'));
});

test('values are read once, before the load: a getter that runs statements on the connection runs them first', () => {
  run(fx.conn, 'create table ebg (a integer)');
  const seen = [];
  const row = [];
  Object.defineProperty(row, 0, {
    enumerable: true,
    get() {
      seen.push(run(fx.conn, 'insert into ebg values (1)').err);
      return 7;
    },
  });
  assert.deepEqual(load('insert into ebg values (?)', [row, [8]]), { err: null, count: 2 });
  assert.deepEqual(seen, [null]);
  // A getter of row 1 removes row 3: before row 3 is read, a hole refused before anything is
  // sent; on any later read, none comes, and the rows go out as they were read.
  const rows = () => [[20], [30], [40]];
  const first = rows();
  Object.defineProperty(first[0], 0, { get() { first.length = 2; return 20; } });
  assert.throws(() => load('insert into ebg values (?)', first),
    { name: 'TypeError', message: 'Row 3 is neither an array nor an object' });
  let reads = 0;
  const later = rows();
  Object.defineProperty(later[0], 0, { get() { if (++reads > 1) later.length = 2; return 20; } });
  assert.deepEqual(load('insert into ebg values (?)', later), { err: null, count: 3 });
  assert.equal(reads, 1);
  assert.deepEqual(select('select a from ebg order by a'), [{ a: 1 }, { a: 7 }, { a: 8 }, { a: 20 }, { a: 30 }, { a: 40 }]);
});
