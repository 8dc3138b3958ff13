'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const { openConnection, run, withServer, zanvodb } = require('./helpers');

const fx = withServer(test, { connect: true });

// querymany with a callback, which it calls once before it returns undefined: what it told.
function many(conn, ...args) {
  const told = [];
  assert.equal(conn.querymany(...args, (err, outcomes) => told.push({ err, outcomes })), undefined);
  assert.equal(told.length, 1);
  return told[0];
}

const rowsOf = (conn, sql) => run(conn, sql).rows;

test('entry checks, in their order, with their texts', () => {
  const conn = fx.conn;
  const check = (text, fn) => assert.throws(fn, { name: 'TypeError', message: text });
  check('Wrong arguments number', () => conn.querymany('insert into x values (1)', [], () => {}, 1));
  check('executemany Parameter mismatch', () => conn.querymany('insert into x values (1)'));
  check('executemany Parameter mismatch', () => conn.querymany());
  check('executemany Parameter mismatch', () => conn.querymany(null));
  check('The first argument undefined.', () => conn.querymany(undefined, []));
  check('Error: The args Query sql is needed ', () => conn.querymany(5, []));
  const calls = [];
  assert.equal(conn.querymany(function f(...args) { calls.push([this, ...args]); }), undefined);
  assert.deepEqual(calls, [[null, null]]);
  const ended = openConnection(fx.server);
  ended.end();
  check('The Connection is Not Open!', () => ended.querymany('insert into x values (?)', [[1]]));
  // A connection never opened opens itself.
  const fresh = zanvodb.createConnection(fx.server.connString());
  assert.deepEqual(many(fresh, 'select 1 from dual', []), { err: null, outcomes: [] });
  fresh.end();
  check("Connect to Database failed! connection params error or Server can't reach",
    () => zanvodb.createConnection('IP=127.0.0.1;PORT=1;DB=SYSTEM;USER=a;PWD=b').querymany('x', []));
});

test('rows by position and by name, each with its outcome', () => {
  const conn = fx.conn;
  run(conn, 'create table qm_a (k integer primary key, v varchar(10))');
  assert.deepEqual(many(conn, 'insert into qm_a values (?, ?)', [[1, 'one'], [2, 'two'], [3, null]]),
    { err: null, outcomes: [{ 'new RowId': '1' }, { 'new RowId': '2' }, { 'new RowId': '3' }] });
  assert.deepEqual(many(conn, { sql: 'insert into qm_a values (:k, :v)', values: [{ v: 'five', k: 5 }, { k: 4 }] }),
    { err: null, outcomes: [{ 'new RowId': '5' }, { 'new RowId': '4' }] });
  // Without a callback the method returns undefined and tells nothing.
  assert.equal(conn.querymany('insert into qm_a values (6, ?)', [['six']]), undefined);
  assert.deepEqual(many(conn, 'update qm_a set v = ? where k >= ?', [['big', 4], ['none', 100]]),
    { err: null, outcomes: [{ 'UPDATE EFFECTNUM': 3 }, { 'UPDATE EFFECTNUM': 0 }] });
  assert.deepEqual(many(conn, 'delete from qm_a where k = :k', [{ k: 6 }, { k: 60 }]),
    { err: null, outcomes: [{ 'DELETE EFFECTNUM': 1 }, { 'DELETE EFFECTNUM': 0 }] });
  assert.deepEqual(rowsOf(conn, 'select k, v from qm_a order by k'),
    [{ k: 1, v: 'one' }, { k: 2, v: 'two' }, { k: 3, v: null }, { k: 4, v: 'big' }, { k: 5, v: 'big' }]);
});

test('a failing row does not stop the later ones, and the earlier ones stay under auto commit', () => {
  const conn = fx.conn;
  run(conn, 'create table qm_b (k integer primary key)');
  const dup = '[E10001]UNIQUE constraint failed: qm_b.k';
  assert.deepEqual(many(conn, 'insert into qm_b values (?)', [[1], [2], [1], [3], [2], [4]]),
    { err: { Error: dup },
      outcomes: [{ 'new RowId': '1' }, { 'new RowId': '2' }, { 'new RowId': '' }, { 'new RowId': '3' },
        { 'new RowId': '' }, { 'new RowId': '4' }] });
  assert.equal(conn.querymany('insert into qm_b values (?)', [[4], [5]]), undefined);
  const other = openConnection(fx.server);
  assert.deepEqual(rowsOf(other, 'select k from qm_b order by k'), [{ k: 1 }, { k: 2 }, { k: 3 }, { k: 4 }, { k: 5 }]);
  other.end();
});

test('zero rows, rows without placeholders, and statements that run nothing', () => {
  const conn = fx.conn;
  run(conn, 'create table qm_c (a integer)');
  assert.deepEqual(many(conn, 'insert into qm_c values (?)', []), { err: null, outcomes: [] });
  assert.deepEqual(many(conn, 'insert into qm_c values (1)', [[], {}]),
    { err: null, outcomes: [{ 'new RowId': '1' }, { 'new RowId': '2' }] });
  const select = { err: { Error: "[EC026]Error querymany can't surpport a select_sql  \n" }, outcomes: [] };
  assert.deepEqual(many(conn, 'select a from qm_c', [[], []]), select);
  // A create is prepared and never run.
  assert.deepEqual(many(conn, 'create table qm_d (a integer)', [[]]), { err: null, outcomes: [] });
  assert.deepEqual(run(conn, 'select a from qm_d').err, { Error: '[E10001]no such table: qm_d' });
  assert.deepEqual(rowsOf(conn, 'select a from qm_c'), [{ a: 1 }, { a: 1 }]);
  // A statement the server cannot prepare fails every row for that reason, and what was bound
  // for them stays out of the next statement; so do the values bound for a SELECT.
  assert.deepEqual(many(conn, 'insert into nosuch values (?)', [[1], [2]]),
    { err: { Error: '[E10001]no such table: nosuch' }, outcomes: [{ 'new RowId': '' }, { 'new RowId': '' }] });
  assert.deepEqual(run(conn, 'select 1 as one').rows, [{ one: 1 }]);
  assert.deepEqual(many(conn, 'select ? as one', [[2]]), select);
  assert.deepEqual(run(conn, 'select 1 as one').rows, [{ one: 1 }]);
  // Any other statement runs for each row and has an empty outcome.
  run(conn, 'create table qm_e (a integer)');
  assert.deepEqual(many(conn, 'drop table qm_e', [[], []]),
    { err: { Error: '[E10001]no such table: qm_e' }, outcomes: [{}, {}] });
});

test('rows that are no array, and rows that are no array or object, are refused before anything is sent', () => {
  const conn = fx.conn;
  run(conn, 'create table qm_f (a integer)');
  const sql = 'insert into qm_f values (?)';
  // A getter of row 1 removes row 3 while it is read: row 3 is a hole by the time it is reached.
  const shrinking = [[1], [2], [3]];
  Object.defineProperty(shrinking[0], 0, { get() { delete shrinking[2]; return 1; } });
  const cases = [
    [[sql, () => assert.fail('a callback in place of the rows is not called')], 'The second argument is not an array of rows'],
    [[sql, 7, () => {}], 'The second argument is not an array of rows'],
    [[sql, { 0: [1] }], 'The second argument is not an array of rows'],
    [[{ sql }, () => {}], 'The second argument is not an array of rows'],
    [[{ sql, values: 'abc' }, () => {}], 'The values of the first argument are not an array of rows'],
    [[sql, [[1], , [3]], () => {}], 'Row 2 is neither an array nor an object'],
    [[{ sql, values: [[1], [2], null] }], 'Row 3 is neither an array nor an object'],
    [[sql, [[1], 5]], 'Row 2 is neither an array nor an object'],
    [[sql, shrinking], 'Row 3 is neither an array nor an object'],
  ];
  for (const [args, message] of cases) {
    assert.throws(() => conn.querymany(...args), { name: 'TypeError', message }, message);
  }
  assert.deepEqual(rowsOf(conn, 'select count(*) as n from qm_f'), [{ n: 0 }]);
});

test('a link that dropped before the call ends the run quietly', () => {
  const own = openConnection(fx.server);
  run(own, 'ZANVO FAULT CLOSE AFTER 0');
  const closed = '[EJ1024] database connection is closed';
  assert.deepEqual(run(own, 'select 1 from dual').err, { Error: closed });
  assert.equal(own.querymany('insert into qm_c values (?)', [[9]]), undefined);
  assert.deepEqual(many(own, 'insert into qm_c values (?)', [[9], [10]]), { err: { Error: closed }, outcomes: [] });
  own.disconnect();
  assert.deepEqual(rowsOf(fx.conn, 'select a from qm_c where a > 1'), []);
});
