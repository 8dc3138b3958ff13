'use strict';
// A script that changes its own globals and prototypes, or hangs getters and setters on them,
// neither bends what the addon hands it nor brings the process down. Each change is made in a
// process of its own, so that a crash fails its case instead of the test run.
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('path');
const v8 = require('v8');
const { run, script, withServer } = require('./helpers');

const fx = withServer(test, { connect: true });

// The child reads every statement through query and the query object with the change named by
// argv[2] in force, takes the change back, and writes what it read, serialized. It reads with
// nothing that a change touches: index loops, string keys and objects without a prototype.
const reader = `
  const { zanvodb } = require(${JSON.stringify(path.join(__dirname, 'helpers.js'))});
  const v8 = require('v8');
  const conn = zanvodb.createConnection(process.argv[1]);
  conn.connect();
  const thrower = () => { throw new Error('hijacked'); };
  const accessor = (proto, key) => () => {
    Object.defineProperty(proto, key, { get: thrower, set: thrower, configurable: true });
    return () => { delete proto[key]; };
  };
  const replace = (pairs) => () => {
    const was = pairs.map(([owner, key]) => owner[key]);
    for (const [owner, key, value] of pairs) owner[key] = value;
    // Taken back without destructuring, which iterates.
    return () => { pairs.forEach((pair, i) => { pair[0][pair[1]] = was[i]; }); };
  };
  const Query = conn.query('select 1 as one').constructor;
  const changes = {
    none: () => () => {},
    'Object.prototype.Error': accessor(Object.prototype, 'Error'),
    'Object.prototype.ColName': accessor(Object.prototype, 'ColName'),
    'Object.prototype.a': accessor(Object.prototype, 'a'),
    'Array.prototype[0]': accessor(Array.prototype, '0'),
    'JSON.stringify, Array.prototype.map, [Symbol.iterator], Map.prototype.get': replace([[JSON, 'stringify', () => '"x"'],
      [Array.prototype, 'map', function () { return []; }], [Map.prototype, 'get', () => () => ({ hijacked: true })],
      [Array.prototype, Symbol.iterator, function* () {}]]),  // last: the pairs are destructured
    'Function, Object.defineProperty': replace([[globalThis, 'Function', thrower], [Object, 'defineProperty', thrower]]),
    // A getter that makes query objects of its own with a made-up result as it is read.
    'Object.prototype.Error forging': () => {
      Object.defineProperty(Object.prototype, 'Error', {
        get() { return [new Query('select 1', [1, 1.5, null]), Query('select 1', [1, 1.5, null])]; },
        configurable: true,
      });
      return () => { delete Object.prototype.Error; };
    },
  };
  const statements = JSON.parse(process.argv[3]);
  const readObject = (q) => {
    const got = { __proto__: null };
    q.on('fields', (fields) => { got.fields = fields; });
    for (let n = 0, done = false; !done; ++n) {
      try {
        q.on('result', (row) => { got['row' + n] = row; done = row === null || typeof row === 'string'; });
      } catch (e) {
        got['thrown' + n] = String(e);
      }
    }
    q.on('error', (text) => { got.error = text; });
    return got;
  };
  conn.query('create temp table hq (k integer primary key)', () => {});
  const restore = changes[process.argv[2]]();
  const out = { __proto__: null };
  for (let i = 0; i < statements.length; ++i) {
    conn.query(statements[i], (err, rows, fields) => { out['query ' + i] = { err, rows, fields }; });
    out['object ' + i] = readObject(conn.query(statements[i]));
  }
  conn.querymany('insert into hq values (?)', [[1], [1]], (err, outcomes) => { out.many = { err, outcomes }; });
  out.forged = readObject(new Query('select 1', [1, 1.5, null]));
  out.called = readObject(Query('select 1', [1, 1.5, null]));
  restore();
  conn.end();
  // On a line of its own: the client's own lines about the failing statement come before it.
  process.stdout.write('\\n' + v8.serialize(out).toString('base64'));
`;

function readWith(change, statements) {
  const out = script(reader, [fx.server.connString(), change, JSON.stringify(statements)]);
  return v8.deserialize(Buffer.from(out.slice(out.lastIndexOf('\n') + 1), 'base64'));
}

test('rows, fields, outcomes and failures read the same whatever the script changed', () => {
  run(fx.conn, 'create table hg (i integer primary key, s varchar(20), at datetime, x double)');
  run(fx.conn, "insert into hg values (1, 'one', '2026-01-02 03:04:05', 1.5), (2, null, null, null)");
  const statements = [
    'select i, s, at, x from hg order by i',
    'select i as a, s as b from hg order by i',
    `select i as "0", s as "__proto__", x as "q""u\\o é", i as "x", s as "x" from hg order by i`,
    'select n from (with recursive r(n) as (select 1 union all select n + 1 from r where n < 9000) select n from r)',
    "insert into hg values (3, 'three', null, 3)",
    'update hg set x = 4 where i = 3',
    'delete from hg where i = 3',
    'select nosuch from hg',
  ];
  const expected = readWith('none', statements);
  const empty = { fields: [], row0: null, error: null };
  assert.deepEqual([expected.forged, expected.called], [empty, empty]);
  assert.deepEqual(expected['query 2'].rows[0], { 0: 1, ['__proto__']: 'one', 'q"u\\o é': 1.5, x: 'one' });
  assert.deepEqual(expected['query 4'], { err: null, rows: [{ 'new RowId': '3' }], fields: [] });
  assert.equal(expected['query 3'].rows.length, 9000);
  assert.deepEqual(expected.many.outcomes, [{ 'new RowId': '1' }, { 'new RowId': '' }]);
  assert.match(expected.many.err.Error, /UNIQUE/);
  for (const change of ['Object.prototype.Error', 'Object.prototype.ColName', 'Object.prototype.a', 'Array.prototype[0]',
    'JSON.stringify, Array.prototype.map, [Symbol.iterator], Map.prototype.get', 'Function, Object.defineProperty',
    'Object.prototype.Error forging']) {
    assert.deepEqual(readWith(change, statements), expected, change);
  }
});

test('a getter or conversion of the arguments that throws reaches the caller, and nothing is sent', () => {
  run(fx.conn, 'create table hg_args (k integer)');
  const boom = (where) => { throw new Error(`thrown by ${where}`); };
  const values = [];
  Object.defineProperty(values, 0, { get: () => boom('a value') });
  const cases = [
    [() => fx.conn.query({ get sql() { return boom('sql'); } }, () => {}), 'sql'],
    [() => fx.conn.query({ sql: { toString: () => boom('toString') } }, () => {}), 'toString'],
    [() => fx.conn.query({ sql: 'insert into hg_args values (?)', get values() { return boom('values'); } }), 'values'],
    [() => fx.conn.query('insert into hg_args values (?)', values, () => {}), 'a value'],
  ];
  for (const [call, where] of cases) assert.throws(call, { message: `thrown by ${where}` });
  assert.deepEqual(run(fx.conn, 'select count(*) as n from hg_args').rows, [{ n: 0 }]);
});

// The same through the Promise API: each change is made after connect, and statements with
// values by position and by name, and a batch, run and read while it is in force.
const promiseReader = `
  const zp = require(${JSON.stringify(require.resolve('../../promise'))});
  const v8 = require('v8');
  const thrower = () => { throw new Error('hijacked'); };
  const define = Object.defineProperty;
  const changes = {
    none: [],
    'Array.prototype[0]': [[Array.prototype, '0']],
    'Object.prototype.a, name, type': [[Object.prototype, 'a'], [Object.prototype, 'name'], [Object.prototype, 'type']],
    'JSON.stringify, Array and Object methods': [[JSON, 'stringify', () => '"x"'], [Array.prototype, 'map', () => []],
      [Array.prototype, 'join', () => 'oops'], [Array, 'from', () => []], [Array, 'isArray', () => false],
      [Object, 'keys', () => []], [Array.prototype, Symbol.iterator, function* () {}]],  // last: the pairs are destructured
    'Function, Object.defineProperty, Number': [[globalThis, 'Function', thrower],
      [Object, 'defineProperty', thrower], [globalThis, 'Number', () => 7]],
  };
  (async () => {
    const conn = await zp.connect(process.argv[1]);
    await conn.query('create temp table ph (i integer, s varchar(20))');
    const pairs = changes[process.argv[2]];
    const was = [];
    for (let i = 0; i < pairs.length; i++) {
      const [owner, key, value] = [pairs[i][0], pairs[i][1], pairs[i][2]];
      was[i] = Object.getOwnPropertyDescriptor(owner, key);
      if (value === undefined) define(owner, key, { get: thrower, set: thrower, configurable: true });
      else owner[key] = value;
    }
    const out = { __proto__: null };
    out.batch = await conn.executeMany('insert into ph values (?, ?)', [[1, 'one'], [2, null]]);
    out.named = await conn.query('insert into ph values (:i, :s)', { i: 3, s: 'three' });
    out.a = await conn.query('select i as a, s as "__proto__", i as "0" from ph where i >= ? order by i', [2]);
    out.n = await conn.query('select n from (with recursive r(n) as (select 1 union all select n + 1 from r where n < 9000) select n from r)');
    for (let i = 0; i < pairs.length; i++) {
      if (was[i]) define(pairs[i][0], pairs[i][1], was[i]);
      else delete pairs[i][0][pairs[i][1]];
    }
    await conn.close();
    process.stdout.write(v8.serialize(out).toString('base64'));
  })();
`;

test('the Promise API binds and reads the same whatever the script changed', () => {
  const readWith = (change) => v8.deserialize(Buffer.from(script(promiseReader, [fx.server.connString(), change]), 'base64'));
  const expected = readWith('none');
  assert.deepEqual([expected.batch, expected.named.rowId, expected.a.rows], [2, 3,
    [{ a: 2, ['__proto__']: null, 0: 2 }, { a: 3, ['__proto__']: 'three', 0: 3 }]]);
  assert.equal(expected.n.rows.length, 9000);
  for (const change of ['Array.prototype[0]', 'Object.prototype.a, name, type', 'JSON.stringify, Array and Object methods',
    'Function, Object.defineProperty, Number']) {
    assert.deepEqual(readWith(change), expected, change);
  }
});
