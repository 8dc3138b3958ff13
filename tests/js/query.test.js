'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const { failingRows, openConnection, options, run, script, typeError, withServer, zanvodb } = require('./helpers');
const { once } = require('node:events');
const path = require('node:path');
const { Worker } = require('node:worker_threads');
const { connect: connectPromise } = require('../../promise');

const fx = withServer(test, { connect: true });


test('a select gives row objects and column objects', () => {
  const one = run(fx.conn, 'select 1 from dual');
  assert.equal(one.err, null);
  assert.deepEqual(one.rows, [{ 1: 1 }]);
  assert.deepEqual(one.fields, [{ ColName: '1', Type: 5 }]);

  run(fx.conn, 'create table q_empty (a integer, b varchar(10))');
  const empty = run(fx.conn, 'select a, b from q_empty');
  assert.deepEqual(empty, { err: null, rows: [], fields: [{ ColName: 'a', Type: 5 }, { ColName: 'b', Type: 2 }] });

  // Two columns of one name leave one key, holding the later value; a column named __proto__
  // is a key of the row's own, and the row a plain object.
  assert.deepEqual(run(fx.conn, "select 1 as x, 'two' as x from dual").rows, [{ x: 'two' }]);
  const [row] = run(fx.conn, 'select 1 as n, 2 as "__proto__"').rows;
  assert.deepEqual([Object.keys(row), Object.getOwnPropertyDescriptor(row, '__proto__').value], [['n', '__proto__'], 2]);
  assert.equal(Object.getPrototypeOf(row), Object.prototype);
});

test('a select that fails part-way gives the rows before the failure and the error', () => {
  const malformed = { Error: '[E10001]malformed JSON' };
  const small = run(fx.conn, failingRows(fx.conn, 'q_fail10', 10, 6));
  assert.deepEqual(small, { err: malformed, rows: [1, 2, 3, 4, 5].map((i) => ({ i, j: `[${i}]` })),
    fields: [{ ColName: 'i', Type: 5 }, { ColName: 'j', Type: 2 }] });
  // Past the first block of 20,000 rows: the failure comes with the second.
  const { err, rows } = run(fx.conn, failingRows(fx.conn, 'q_fail25k', 25000, 22000));
  assert.deepEqual([err, rows.length, rows[21998]], [malformed, 21999, { i: 21999, j: '[21999]' }]);
});

test('inserts, updates and deletes give their outcome objects', () => {
  assert.deepEqual(run(fx.conn, 'create table q_dml (id integer primary key, name varchar(20))'),
    { err: null, rows: [], fields: [] });
  assert.deepEqual(run(fx.conn, "insert into q_dml values (7, 'a')"),
    { err: null, rows: [{ 'new RowId': '7' }], fields: [] });
  run(fx.conn, "insert into q_dml values (8, 'b')");
  assert.deepEqual(run(fx.conn, "update q_dml set name = 'c'"),
    { err: null, rows: [{ 'UPDATE EFFECTNUM': 2 }], fields: [] });
  assert.deepEqual(run(fx.conn, 'delete from q_dml where id = 8'),
    { err: null, rows: [{ 'DELETE EFFECTNUM': 1 }], fields: [] });

  assert.deepEqual(run(fx.conn, "insert into q_dml values (7, 'again')"),
    { err: { Error: '[E10001]UNIQUE constraint failed: q_dml.id' }, rows: [{ 'new RowId': '' }], fields: [] });
  const missing = { Error: '[E10001]no such table: q_missing' };
  assert.deepEqual(run(fx.conn, 'update q_missing set a = 1'), { err: missing, rows: [{ 'UPDATE EFFECTNUM': 0 }], fields: [] });
  assert.deepEqual(run(fx.conn, 'delete from q_missing'), { err: missing, rows: [{ 'DELETE EFFECTNUM': 0 }], fields: [] });
  // A result behind the count leaves text in the value: it is not read as a count.
  assert.deepEqual(run(fx.conn, "update q_dml set name = 'd'; select 'abcd'"),
    { err: null, rows: [{ 'UPDATE EFFECTNUM': 0 }], fields: [] });
  assert.deepEqual(run(fx.conn, 'create tabel oops (a int)'),
    { err: { Error: '[E10001]near "tabel": syntax error' }, rows: [], fields: [] });
  // The link is still in step after every refusal.
  assert.deepEqual(run(fx.conn, 'select name from q_dml').rows, [{ name: 'd' }]);
});

// Strict mode on purpose: a function called with receiver null sees this === null exactly,
// where sloppy mode would show the global object for null and undefined alike.
test('every call form reaches its statement, and every callback is called with receiver null', () => {
  const seen = [];
  const record = (name) => function (err, rows) { seen.push([name, this, rows?.length ?? err]); };
  const conn = zanvodb.createConnection(options(fx.server));
  conn.connect(record('connect'));
  assert.equal(conn.query(record('fn')), undefined);
  assert.equal(conn.query('select 1 from dual', record('cb')), undefined);
  conn.query('select 1 from dual', [], record('values-cb'));
  conn.query({ sql: 'select 1 from dual', values: [] }, record('object-cb'));
  conn.query({ sql: 'select 1 from dual' }, [], record('object-values-cb'));
  conn.beginTransaction(record('begin'));
  conn.commit(record('commit'));
  conn.beginTransaction(record('begin'));
  conn.rollback(record('rollback'));
  conn.connect(record('connect again'));
  conn.disconnect();
  assert.deepEqual(seen, [['connect', null, null], ['fn', null, null], ['cb', null, 1], ['values-cb', null, 1],
    ['object-cb', null, 1], ['object-values-cb', null, 1], ['begin', null, null], ['commit', null, null],
    ['begin', null, null], ['rollback', null, null], ['connect again', null, 'The Connection is already Opened !']]);

  for (const q of [fx.conn.query('select 1 from dual', []), fx.conn.query({ sql: 'select 1 from dual' }, 1, 2)]) {
    assert.equal(q.constructor.name, 'ZVQuery');
  }
});

test('misuse of query throws the fixed texts', () => {
  for (const [args, message] of [[['select 1 from dual', 1, 2], 'The third argument is not callback function'],
    [[5], 'Error: The args Query sql is needed '], [[null], 'Error: The args Query sql is needed '],
    [[undefined], 'The first argument undefined.'], [[], 'The first argument undefined.'],
    [['select 1 from dual', [], () => {}, 1], 'Wrong arguments number']]) {
    assert.throws(() => fx.conn.query(...args), typeError(message), message);
  }
});

test('column types arrive as the right script values', () => {
  run(fx.conn, `create table q_types (i integer, s smallint, t tinyint, b bigint, flag boolean, n numeric(10,2),
    f float, d double, v varchar(32), day date, at datetime, tm time)`);
  run(fx.conn, `insert into q_types values (-5, 300, -7, 9007199254740993, true, 12.5, 1.5, 2.25, 'héllo wörld',
    '2026-01-02', '2026-01-02 03:04:05', '10:11:12')`);
  run(fx.conn, 'insert into q_types values (null, null, null, null, false, null, null, null, null, null, null, null)');
  const { err, rows, fields } = run(fx.conn, 'select * from q_types');
  assert.equal(err, null);
  assert.deepEqual(fields.map((f) => f.Type), [5, 4, 3, 6, 1, 9, 7, 8, 2, 10, 13, 11]);
  // Dates are compared by their milliseconds: a wrong Date then shows as two numbers.
  const { day, at, ...rest } = rows[0];
  assert.deepEqual([day instanceof Date, at instanceof Date], [true, true]);
  assert.deepEqual([day.getTime(), at.getTime()], [Date.UTC(2026, 0, 2), Date.UTC(2026, 0, 2, 3, 4, 5)]);
  assert.deepEqual(rest, {
    i: -5, s: 300, t: -7, b: 9007199254740992, flag: true, n: '12.50', f: 1.5, d: 2.25, v: 'héllo wörld', tm: '10:11:12',
  });
  assert.deepEqual(rows[1], {
    i: null, s: null, t: null, b: null, flag: false, n: null, f: null, d: null, v: null, day: null, at: null, tm: null,
  });
});

test('wide results keep every column', () => {
  const own = openConnection(fx.server, 'USE_SRVCURSOR=off');
  // The reply to the next statement becomes 4,000 text columns, the most a result may have.
  run(own, 'ZANVO FAULT COLUMNS 4000');
  const faulted = run(own, 'select 1 from dual');
  assert.equal(faulted.err, null);
  assert.deepEqual(faulted.fields, Array.from({ length: 4000 }, (_, i) => ({ ColName: `c${i + 1}`, Type: 2 })));
  own.end();
});

test('large objects arrive as ArrayBuffers', () => {
  run(fx.conn, 'create table q_lobs (id integer, c clob, b blob)');
  run(fx.conn, "insert into q_lobs values (1, 'character data', x'00ff10')");
  run(fx.conn, 'insert into q_lobs values (2, null, null)');
  const { err, rows, fields } = run(fx.conn, 'select c, b from q_lobs order by id');
  assert.equal(err, null);
  assert.deepEqual(fields, [{ ColName: 'c', Type: 41 }, { ColName: 'b', Type: 42 }]);
  assert.equal(Buffer.from(rows[0].c).toString(), 'character data');
  assert.deepEqual([...new Uint8Array(rows[0].b)], [0, 255, 16]);
  assert.ok(rows[1].c instanceof ArrayBuffer);
  assert.deepEqual([rows[1].c.byteLength, rows[1].b.byteLength], [0, 0]);
});

test('a large object whose fetch breaks off is an error, never a short object', () => {
  const own = openConnection(fx.server, 'LOB_RET=on');
  run(own, 'create table q_big (b blob)');
  run(own, 'insert into q_big values (randomblob(100000))');
  const whole = run(own, 'select b from q_big');
  assert.equal(whole.err, null);
  assert.equal(whole.rows[0].b.byteLength, 100000);
  run(own, 'ZANVO FAULT LOB CLOSE AFTER 5000');
  const cut = run(own, 'select b from q_big');
  assert.deepEqual(cut.err, { Error: '[EJ1024] database connection is closed' });
  own.end();
});

test('a dropped link is reported until the script reopens it', () => {
  const own = openConnection(fx.server);
  run(own, 'ZANVO FAULT CLOSE AFTER 0');
  const closed = '[EJ1024] database connection is closed';
  assert.deepEqual(run(own, 'select 1 from dual'), { err: { Error: closed }, rows: [], fields: [] });
  assert.deepEqual(run(own, 'insert into q_dml values (9, null)').err, { Error: closed });
  own.disconnect();
  own.connect();
  assert.deepEqual(run(own, 'select 5 as five from dual').rows, [{ five: 5 }]);
  own.end();
});

test('transactions are seen from a second connection only when committed', () => {
  const writer = openConnection(fx.server);
  const reader = openConnection(fx.server);
  run(writer, 'create table q_tx (a integer)');
  writer.beginTransaction(() => {});
  run(writer, 'insert into q_tx values (1)');
  assert.deepEqual(run(reader, 'select a from q_tx').rows, []);
  writer.rollback(() => {});
  assert.deepEqual(run(writer, 'select a from q_tx').rows, []);
  writer.beginTransaction(() => {});
  run(writer, 'insert into q_tx values (2)');
  assert.equal(writer.commit(), undefined);
  assert.deepEqual(run(reader, 'select a from q_tx').rows, [{ a: 2 }]);

  writer.end();
  reader.end();
  for (const method of ['beginTransaction', 'commit', 'rollback']) {
    assert.throws(() => writer[method](() => {}), typeError('The Connection is Not Open!'));
  }
});

// A short select's CLOSE waits for the connection's next command, and goes out by itself once the
// script is idle. A relay on a worker thread (this thread blocks in each exchange) passes the
// bytes on to the server and says when it has seen the CLOSE pass while the script waits.
test("a short select's CLOSE goes out once the script or the connection is idle", { timeout: 20000 }, async () => {
  const relay = new Worker(`
    const net = require('net');
    const { parentPort, workerData } = require('worker_threads');
    let clients = 0;
    const listener = net.createServer((client) => {
      const server = net.connect(workerData.port, workerData.host);
      const id = ++clients;
      let sent = '';
      client.on('data', (bytes) => {
        server.write(bytes);
        sent += bytes.toString('latin1');
        if (/CLOSE STC\\d+_SMARTCUR/.test(sent)) parentPort.postMessage(\`close \${id}\`);
        sent = sent.slice(-64);
      });
      server.pipe(client);
      client.on('error', () => server.destroy());
      server.on('error', () => client.destroy());
    }).listen(0, '127.0.0.1', () => parentPort.postMessage(listener.address().port));`,
  { eval: true, workerData: { host: fx.server.host, port: fx.server.port } });
  const [port] = await once(relay, 'message');
  // Resolves when the relay has seen a CLOSE from its client number id.
  const closeFrom = (id) => new Promise((resolve) => relay.on('message', (m) => m === `close ${id}` && resolve()));
  const conn = zanvodb.createConnection({ ...options(fx.server), host: '127.0.0.1', port });
  conn.connect();
  const closed = closeFrom(1);
  assert.deepEqual(run(conn, 'select 7 as n').rows, [{ n: 7 }]);
  await closed;
  assert.deepEqual(run(conn, 'select 8 as n').rows, [{ n: 8 }]);
  conn.end();
  // A Promise connection's thread sends it when no statement follows within a moment.
  const link = await connectPromise({ ...options(fx.server), host: '127.0.0.1', port });
  const closedToo = closeFrom(2);
  assert.deepEqual((await link.query('select 9 as n')).rows, [{ n: 9 }]);
  await closedToo;
  await link.close();
  await relay.terminate();
});

// A worker that leaves connections of both faces open ends cleanly: its loop cannot close while
// a handle of the addon is open (the one that sends held CLOSEs, a Promise connection's), and
// the addon closes them at the worker's end. The worker is the first to load the addon in a
// process of its own: one environment may hold it.
test('a worker that leaves connections of both faces open ends cleanly', () => {
  const out = script(`
    const { Worker } = require('worker_threads');
    const worker = new Worker(\`
      const { parentPort, workerData } = require('worker_threads');
      const conn = require(workerData.root).createConnection(workerData.options);
      conn.connect();
      conn.query('select 9 as n', (err, rows) => parentPort.postMessage(rows));
      require(workerData.root + '/promise').connect(workerData.options)
        .then((link) => link.query('select 10 as n')).then(({ rows }) => parentPort.postMessage(rows));\`,
    { eval: true, workerData: { root: process.argv[1], options: JSON.parse(process.argv[2]) } });
    const rows = [];
    worker.on('message', (got) => rows.push(...got));
    worker.on('exit', (code) => process.stdout.write(JSON.stringify({ rows, code })));`,
  [path.join(__dirname, '..', '..'), JSON.stringify(options(fx.server))]);
  assert.deepEqual(JSON.parse(out), { rows: [{ n: 9 }, { n: 10 }], code: 0 });
});
