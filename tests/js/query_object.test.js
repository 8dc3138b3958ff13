'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('path');
const { failingRows, openConnection, run, script, withServer } = require('./helpers');

const fx = withServer(test, { connect: true });

// Everything one call hands to its callback, and what it threw after it.
function step(q, method, event) {
  const got = [];
  let thrown = null;
  try {
    q[method](event, (...args) => got.push(args));
  } catch (e) {
    thrown = `${e.name}: ${e.message}`;
  }
  return { got, thrown };
}

const FIELDS = [
  { ColName: 'a', Type: 5 }, { ColName: 'b', Type: 2 }, { ColName: 'c', Type: 13 }, { ColName: 'd', Type: 1 },
];

// The table of two rows that the first tests read; made once, by whichever test runs first.
let made = false;
function twoRows() {
  if (made) return;
  made = true;
  run(fx.conn, 'create table qo_t (a integer, b varchar(10), c datetime, d boolean)');
  run(fx.conn, "insert into qo_t values (1, 'x', '2026-01-01 10:00:00', 1)");
  run(fx.conn, 'insert into qo_t values (null, null, null, null)');
}

test('every event in any case; rows, then null at the end, with the reader table of values', () => {
  twoRows();
  const q = fx.conn.query('select a, b, c, d from qo_t order by a desc');
  assert.deepEqual(step(q, 'on', 'fields'), { got: [[FIELDS]], thrown: null });
  assert.deepEqual(step(q, 'on', 'FIELDS'), { got: [[FIELDS]], thrown: null });
  assert.deepEqual(step(q, 'on', 'Error'), { got: [[null]], thrown: null });
  // Events of the other method, unknown events, non-string events and non-function callbacks do nothing.
  for (const [method, event] of [['nextRecord', 'nextresult'], ['nextRecord', 'NextResult'], ['nextRecord', 'result'],
    ['on', 'nextrecord'], ['on', 'nosuch'], ['on', 5]]) {
    assert.deepEqual(step(q, method, event), { got: [], thrown: null }, `${method}(${event})`);
  }
  assert.equal(q.on('result', 5), undefined);
  assert.deepEqual(step(q, 'on', 'RESULT'),
    { got: [[{ a: 1, b: 'x', c: new Date(Date.UTC(2026, 0, 1, 10)), d: 'T' }]], thrown: null });
  // A NULL number is 0 and thrown after the callback has had the row; a NULL text is "".
  assert.deepEqual(step(q, 'nextRecord', 'NEXTRECORD'),
    { got: [[{ a: 0, b: '', c: null, d: '' }]], thrown: 'TypeError: data null error' });
  assert.deepEqual(step(q, 'nextRecord', 'nextRecord'), { got: [[null]], thrown: null });
  assert.deepEqual(step(q, 'on', 'result'), { got: [[null]], thrown: null });
  // The fields outlive the rows.
  assert.deepEqual(step(q, 'on', 'fields'), { got: [[FIELDS]], thrown: null });
});

test('numbers, dates, times, numerics and large objects through the readers of the query object', () => {
  run(fx.conn, 'create table qo_ty (n numeric(8,2), t time, d date, b blob, c clob, big bigint, f float, x double)');
  run(fx.conn, "insert into qo_ty values (12.5, '10:00:01', '2026-01-02', x'89504e47', 'some text', 9007199254740993, 1.5, 2.25)");
  const q = fx.conn.query('select * from qo_ty');
  assert.deepEqual(step(q, 'on', 'fields').got[0][0].map((f) => f.Type), [9, 11, 10, 42, 41, 6, 7, 8]);
  // Large objects take the text path: their bytes as UTF-8, an undecodable one replaced.
  assert.deepEqual(step(q, 'on', 'result'), {
    got: [[{ n: '12.50', t: '10:00:01', d: new Date(Date.UTC(2026, 0, 2)), b: '\ufffdPNG', c: 'some text',
      big: 9007199254740992, f: 1.5, x: 2.25 }]],
    thrown: null,
  });
});

test('a statement without rows, or that failed, has no fields and its rows end at once, in its text if it failed', () => {
  twoRows();
  const text = '[E10001]no such column: nosuch';
  for (const [sql, error] of [["insert into qo_t values (7, 'y', null, 0)", null], ['select nosuch from qo_t', text]]) {
    const q = fx.conn.query(sql);
    assert.deepEqual([step(q, 'on', 'fields'), step(q, 'on', 'error'), step(q, 'on', 'result'), step(q, 'nextRecord', 'nextrecord')],
      [[[]], [error], [error], [error]].map((args) => ({ got: [args], thrown: null })), sql);
  }
  run(fx.conn, 'delete from qo_t where a = 7');
});

test('a select that fails part-way hands out the rows before the failure, then its text', () => {
  const text = '[E10001]malformed JSON';
  // The second failure comes with the second block of 20,000 rows.
  for (const [table, count, bad] of [['qo_fail10', 10, 6], ['qo_fail25k', 25000, 22000]]) {
    const q = fx.conn.query(failingRows(fx.conn, table, count, bad));
    let rows = 0;
    let last;
    while (last === undefined) {
      // A row out of order ends the walk as well, and shows in the failure.
      q.nextRecord('nextrecord', (row) => { if (row?.i === rows + 1) rows += 1; else last = row; });
    }
    assert.deepEqual({ rows, last }, { rows: bad - 1, last: text }, table);
    assert.deepEqual([step(q, 'on', 'error'), step(q, 'on', 'result')],
      [{ got: [[text]], thrown: null }, { got: [[text]], thrown: null }], table);
  }
});

test('two query objects on one connection read independently, and close lets the rows go', () => {
  twoRows();
  const q1 = fx.conn.query('select a from qo_t where a is not null union all select 2 union all select 3 order by a');
  const q2 = fx.conn.query('select a from qo_t where a is not null union all select 2 order by a desc');
  const read = (q) => step(q, 'nextRecord', 'nextrecord').got[0][0];
  assert.deepEqual([read(q1), read(q2), read(q1), read(q2), read(q2), read(q1), read(q2)],
    [{ a: 1 }, { a: 2 }, { a: 2 }, { a: 1 }, null, { a: 3 }, null]);
  q1.close();
  assert.equal(read(q1), null);
  assert.equal(q1.close(), undefined);
});

// 45,000 rows: three blocks of the client's smart cursor. Made once, by whichever test runs first.
let bigMade = false;
function bigTable() {
  if (bigMade) return;
  bigMade = true;
  run(fx.conn, 'create table qo_big (i integer, s varchar(20))');
  const filled = run(fx.conn, "insert into qo_big with recursive n(i) as (select 1 union all select i + 1 from n where i < 45000) select i, 'row ' || i from n");
  assert.equal(filled.err, null);
}

test('after end the rows in hand are read, then the end, or the failure text when the next block needs the link', () => {
  bigTable();
  const own = openConnection(fx.server);
  const small = own.query('select 1 as one union all select 2 order by one');
  const q = own.query('select i from qo_big order by i');
  own.end();
  const read = [];
  for (let i = 0; i < 3; ++i) small.on('result', (r) => read.push(r));
  assert.deepEqual(read, [{ one: 1 }, { one: 2 }, null]);
  let rows = 0;
  let last;
  while (last === undefined) {
    q.nextRecord('nextrecord', (row) => { if (row === null || typeof row === 'string') last = row; else rows += 1; });
  }
  const closed = '[EJ1024] database connection is closed';
  assert.deepEqual({ rows, last }, { rows: 20000, last: closed });
  assert.deepEqual(step(q, 'on', 'error'), { got: [[closed]], thrown: null });
  assert.deepEqual(step(q, 'on', 'result'), { got: [[closed]], thrown: null });
});

// Objects whose server cursors stand open are closed and collected while their link serves
// other statements; one is collected after its connection has ended.
const openCursors = `
  const { zanvodb } = require(${JSON.stringify(path.join(__dirname, 'helpers.js'))});
  const conn = zanvodb.createConnection(process.argv[1]);
  conn.connect();
  const out = [];
  const count = () => conn.query('select count(*) as n from qo_big', (err, rows) => out.push(err || rows[0].n));
  const first = (q) => q.nextRecord('nextrecord', (row) => out.push(row));
  let q = conn.query('select i from qo_big order by i');
  first(q);
  q = null;
  global.gc();
  count();
  q = conn.query('select i from qo_big order by i desc');
  first(q);
  q.close();
  first(q);
  count();
  const other = zanvodb.createConnection(process.argv[1]);
  other.connect();
  let left = other.query('select i from qo_big');
  first(left);
  other.end();
  left = null;
  global.gc();
  conn.querymany('update qo_big set s = ? where i = ?', [['kept', 1]], (err, outcomes) => out.push(err, outcomes));
  count();
  conn.end();
  process.stdout.write(JSON.stringify(out));
`;

test('closing or collecting an object whose server cursor is open leaves its link in step', () => {
  bigTable();
  assert.deepEqual(JSON.parse(script(openCursors, [fx.server.connString()])),
    [{ i: 1 }, 45000, { i: 45000 }, null, 45000, { i: 1 }, null, [{ 'UPDATE EFFECTNUM': 1 }], 45000]);
});

// Run in a process of its own, with the collector at hand, so that nothing else of the test
// run is on the heap: rounds of queries with a callback, queries without one, and query objects
// dropped after one row of a 5,000-row result, each measured after a warm-up round of a fifth.
const growth = `
  const { zanvodb } = require(${JSON.stringify(path.join(__dirname, 'helpers.js'))});
  const conn = zanvodb.createConnection(process.argv[1]);
  conn.connect();
  conn.query('create table qo_gc (i integer, s varchar(40))', () => {});
  conn.query("insert into qo_gc with recursive n(i) as (select 1 union all select i + 1 from n where i < 5000) select i, 'a forty-byte text that fills the column.' from n", () => {});
  // How many, how often the collector runs, and the step.
  const steps = {
    callback: [10000, Infinity, () => conn.query("select 1 as a, 'text' as b from dual", () => {})],
    none: [20000, Infinity, () => conn.query('COMMIT;')],
    dropped: [400, 20, () => conn.query('select i, s from qo_gc').nextRecord('nextrecord', () => {})],
  };
  const grown = {};
  for (const [name, [n, every, step]] of Object.entries(steps)) {
    const round = (k) => {
      for (let i = 1; i <= k; ++i) { step(); if (i % every === 0) global.gc(); }
      global.gc();
    };
    round(n / 5);
    const before = process.memoryUsage();
    round(n);
    const after = process.memoryUsage();
    grown[name] = { rss: after.rss - before.rss, heap: after.heapUsed - before.heapUsed };
  }
  process.stdout.write(JSON.stringify(grown));
  conn.end();
`;

test('results, query objects without a callback and collected query objects leave nothing behind', () => {
  const { callback, none, dropped } = JSON.parse(script(growth, [fx.server.connString()]));
  assert.ok(callback.rss < 16 << 20, `the process grew by ${callback.rss} bytes over 10,000 queries`);
  assert.ok(none.heap < 1 << 20, `the heap grew by ${none.heap} bytes over 20,000 queries without a callback`);
  // 400 results held would be 400 x 5,000 rows of over 40 bytes: some 80 MiB.
  assert.ok(dropped.rss < 16 << 20, `the process grew by ${dropped.rss} bytes over 400 collected results`);
});
