'use strict';
// The Promise API against the reference server: every method, the order of calls on one
// connection, the code of every rejection, and connections that overlap instead of queuing.
const test = require('node:test');
const assert = require('node:assert/strict');
const net = require('net');
const { zanvodb, failingRows, openConnection, options, rejectsWith, script, withServer } = require('./helpers');
const zp = require('../../promise');

const fx = withServer(test);
const connect = (extra) => zp.connect(options(fx.server, extra));

test('both faces export the one ZanvoError, and from() splits a failure text', () => {
  assert.deepEqual([zanvodb.ZanvoError, zanvodb.promise], [zp.ZanvoError, zp]);
  const cantReach = "Connect to Database failed! connection params error or Server can't reach 1";
  const split = (text) => { const e = zp.ZanvoError.from(text); return [e instanceof Error, e.name, e.code, e.message]; };
  assert.deepEqual(['[E10001]no such table: t', '[EJ1024] database connection is closed', cantReach].map(split), [
    [true, 'ZanvoError', 'E10001', 'no such table: t'], [true, 'ZanvoError', 'EJ1024', 'database connection is closed'],
    [true, 'ZanvoError', 'EP000', cantReach]]);
});

test('query gives rows, fields, rowCount and rowId; values bind by position and by name', async () => {
  const conn = await connect();
  await conn.query('create table q (id integer, name varchar(20), v double, ok boolean, raw blob)');
  assert.equal((await conn.query('insert into q values (?, ?, ?, ?, ?)', [1, 'one', 1.5, true, Buffer.from('ab')])).rowId, 1);
  assert.equal((await conn.query('insert into q (id, name) values (:id, :name)', { name: 'two', id: 2 })).rowId, 2);
  assert.deepEqual(await conn.query('update q set v = :v where id >= :v', { v: 1 }),
    { rows: [], fields: [], rowCount: 2, rowId: null });
  assert.deepEqual(await conn.query('select * from q order by id'), {
    rows: [
      { id: 1, name: 'one', v: 1, ok: true, raw: Buffer.from('ab') },
      { id: 2, name: 'two', v: 1, ok: null, raw: null },
    ],
    fields: [{ name: 'id', type: 'INTEGER' }, { name: 'name', type: 'CHAR' }, { name: 'v', type: 'DOUBLE' },
      { name: 'ok', type: 'BOOLEAN' }, { name: 'raw', type: 'BLOB' }],
    rowCount: 2,
    rowId: null,
  });
  assert.equal((await conn.query('delete from q where id = ?', [2])).rowCount, 1);
  await conn.close();
});

test('prepare gives a statement to run many times; executeMany loads rows in one batch', async () => {
  const conn = await connect();
  await conn.query('create table p (k integer primary key, v varchar(10))');
  assert.equal(await conn.executeMany('insert into p values (?, ?)', [[1, 'a'], [2, 'b'], [3, 'c']]), 3);
  await rejectsWith(conn.executeMany('insert into p values (:k, :v)', [{ k: 4, v: 'd' }, { k: 1, v: 'x' }]), 'E10001');
  const st = await conn.prepare('select v from p where k <= ? order by k');
  // Statements with values of their own, and a second prepared one, run in between.
  await conn.query('insert into p values (?, ?)', [5, 'e']);
  const byName = await conn.prepare('select k from p where v = :v');
  assert.deepEqual(await byName.all({ v: 'e' }), [{ k: 5 }]);
  assert.deepEqual(await st.all([2]), [{ v: 'a' }, { v: 'b' }]);
  assert.deepEqual((await st.run([1])).rows, [{ v: 'a' }]);
  await st.close();
  await rejectsWith(st.all([1]), 'EP001', 'statement is closed');
  await conn.close();
});

test('a select that fails part-way rejects with the server\'s code; executeMany numbers a failing row over the whole array', async () => {
  const conn = await connect();
  const sync = openConnection(fx.server);
  for (const [table, count, bad] of [['pf10', 10, 6], ['pf25k', 25000, 22000]]) {
    const sql = failingRows(sync, table, count, bad);
    await assert.rejects(conn.query(sql), { name: 'ZanvoError', code: 'E10001', message: 'malformed JSON', sql });
  }
  sync.end();
  // Past the first command of 65,535 rows, whose rows stay.
  await conn.query('create table pmany (k integer primary key)');
  const rows = Array.from({ length: 70000 }, (_, i) => [i + 1]);
  rows[66000] = [1];
  await rejectsWith(conn.executeMany('insert into pmany values (?)', rows), 'E10001',
    'row 66001 of the batch: UNIQUE constraint failed: pmany.k');
  assert.deepEqual((await conn.query('select count(*) as n from pmany')).rows, [{ n: 65535 }]);
  await conn.close();
});

test('transactions commit on return and roll back on a throw, which reaches the caller unchanged', async () => {
  const conn = await connect();
  await conn.query('create table x (n integer)');
  assert.equal(await conn.transaction(async (tx) => {
    await tx.query('insert into x values (1)');
    await conn.query('insert into x values (6)');  // the connection itself, from inside: part of it
    await assert.rejects(conn.transaction(async () => {}), TypeError);
    return 'kept';
  }), 'kept');
  const failure = await conn.transaction(async (tx) => {
    await tx.query('insert into x values (2)');
    await tx.query('insert into nowhere values (3)');
  }).catch((err) => err);
  assert.deepEqual([failure.code, failure.sql], ['E10001', 'insert into nowhere values (3)']);
  for (const [n, end] of [[4, () => conn.rollback()], [5, () => conn.commit()]]) {
    await conn.begin();
    await conn.query('insert into x values (?)', [n]);
    await end();
  }
  assert.deepEqual((await conn.query('select n from x order by n')).rows, [{ n: 1 }, { n: 5 }, { n: 6 }]);
  await conn.close();
});

test('calls run in the order they were made, also around a transaction; calls after close reject', async () => {
  const conn = await connect();
  await conn.query('create table o (n integer)');
  const made = [];
  const calls = [];
  for (let n = 0; n < 20; n++) calls.push(conn.query('insert into o values (?)', [n]).then(() => made.push(n)));
  const tx = conn.transaction(async (t) => { await t.query('insert into o values (100)'); });
  calls.push(conn.query('insert into o values (101)'), tx);
  const closing = conn.close();
  await Promise.all(calls);
  await closing;
  assert.deepEqual(made, [...Array(20).keys()]);
  await rejectsWith(conn.query('select 1'), 'EP001', 'connection is closed');
  const again = await connect();
  assert.deepEqual((await again.query('select n from o where n >= 19 order by rowid')).rows, [{ n: 19 }, { n: 100 }, { n: 101 }]);
  await again.close();
});

test('64 selects made at once each settle with their own rows: one refused, one of 45,000 rows (three blocks) that a delete behind it does not cut; the link goes on', async () => {
  const conn = await connect();
  await conn.query('create table r64 (i integer)');
  await conn.query('insert into r64 with recursive n(i) as (select 1 union all select i + 1 from n where i < 45000) select i from n');
  const calls = Array.from({ length: 64 }, (_, k) => {
    if (k === 20) return conn.query('select i from nowhere').catch((err) => err.code);
    if (k === 40) return conn.query('select i from r64').then(({ rows }) => [rows.length, rows[20000], rows[44999]]);
    if (k === 41) return conn.query('delete from r64 where i > 30000').then(({ rowCount }) => rowCount);
    return conn.query('select i, ? as k from r64 where i = ?', [`k${k}`, k + 1]).then(({ rows }) => rows);
  });
  const expected = Array.from({ length: 64 }, (_, k) => [{ i: k + 1, k: `k${k}` }]);
  expected[20] = 'E10001';
  expected[40] = [45000, { i: 20001 }, { i: 45000 }];
  expected[41] = 15000;
  assert.deepEqual(await Promise.all(calls), expected);
  assert.deepEqual((await conn.query('select count(*) as n from r64')).rows, [{ n: 30000 }]);
  await conn.close();
});

test('64 writes made at once run in order, each with its own outcome; the insert its key refuses stops none', async () => {
  const conn = await connect();
  await conn.query('create table w64 (i integer primary key, v varchar(8), b blob)');
  const calls = Array.from({ length: 64 }, (_, k) => {
    if (k === 30) return conn.query('insert into w64 values (?, ?, ?)', [1, 'again', null]).catch((err) => err.code);
    if (k === 50) return conn.query('update w64 set v = ? where i <= ?', ['u', 10]).then(({ rowCount }) => rowCount);
    return conn.query('insert into w64 values (?, ?, ?)', [k + 1, `v${k}`, Buffer.from([k])]).then(({ rowId }) => rowId);
  });
  const expected = Array.from({ length: 64 }, (_, k) => k + 1);
  expected[30] = 'E10001';
  expected[50] = 10;
  assert.deepEqual(await Promise.all(calls), expected);
  const rows = Array.from({ length: 64 }, (_, k) => ({ i: k + 1, v: k < 10 ? 'u' : `v${k}`, b: Buffer.from([k]) }));
  assert.deepEqual((await conn.query('select * from w64 order by i')).rows, rows.filter((_, k) => k !== 30 && k !== 50));
  await conn.close();
});

test('bad arguments are TypeErrors before anything is sent', async () => {
  const conn = await connect();
  for (const call of [
    () => conn.query(''), () => conn.query(5), () => conn.query('select ?', [{}]), () => conn.query('select ?', 'x'),
    () => conn.query('select ?', [Symbol('s')]), () => conn.query('select ?', [new Date(NaN)]),
    () => conn.executeMany('insert into t values (?)', []), () => conn.transaction('no'),
    () => zp.connect(), () => zp.connect({ host: 1 }), () => zp.connect({ host: 'h', timezone: 'UTC' }),
  ]) await assert.rejects(call(), TypeError);
  await assert.rejects(conn.query('select ?', [2n ** 64n]), RangeError);
  await conn.close();
});

// A listening socket that accepts and then does `then` with each link.
async function fakeServer(then) {
  const server = net.createServer((socket) => {
    socket.on('error', () => {});  // the client resets its links
    then(socket);
  });
  await new Promise((resolve) => server.listen(0, '127.0.0.1', resolve));
  return server;
}

test('a failed connect says which failure it was', async () => {
  const closed = await fakeServer(() => {});
  const closedPort = closed.address().port;
  await new Promise((resolve) => closed.close(resolve));
  const silent = await fakeServer(() => {});
  const at = (port, extra = '') => `IP=127.0.0.1;PORT=${port};DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA${extra}`;
  await rejectsWith(zp.connect(at(closedPort)), 'EP002');
  await rejectsWith(zp.connect(at(silent.address().port, ';CONNECT_TIMEOUT=200')), 'EP003');
  await rejectsWith(connect({ password: 'wrong' }), 'EP004');
  // Refused by the client before anything is sent: the refusal's own code.
  await rejectsWith(zp.connect(fx.server.connString(";PWD=a'b")), 'EC0194',
    "Error in build-database-connect quote (') not allowed in password");
  silent.close();
});

// Run with one thread in libuv's pool: 32 connections whose next statement the server holds
// for 300 ms, and a timer set as they start. Prints the order things finished in and the time.
const stalled = `
  const zp = require(${JSON.stringify(require.resolve('../../promise'))});
  (async () => {
    const conns = await Promise.all(Array.from({ length: 32 }, () => zp.connect(process.argv[1])));
    await Promise.all(conns.map((c) => c.query('ZANVO FAULT STALL 300')));
    const order = [];
    const start = Date.now();
    setTimeout(() => order.push('timer'), 10);
    await Promise.all(conns.map((c, i) => c.query('select ? as i', [i]).then((r) => order.push(r.rows[0].i))));
    const elapsed = Date.now() - start;
    await Promise.all(conns.map((c) => c.close()));
    process.stdout.write(JSON.stringify({ order, elapsed }));
  })();
`;

test('the loop runs while statements wait on the server: 32 stalled connections overlap, also with one pool thread', () => {
  const { order, elapsed } = JSON.parse(script(stalled, [fx.server.connString()], { UV_THREADPOOL_SIZE: '1' }));
  assert.equal(order[0], 'timer');
  assert.deepEqual(order.slice(1).sort((a, b) => a - b), [...Array(32).keys()]);
  // One after another they would take 9.6 s.
  assert.ok(elapsed < 32 * 300 / 3, `took ${elapsed} ms`);
});

// Run with the collector at hand: three connections dropped without close, and the sockets
// of this process counted before they were opened, while they are held and after collection.
// Two connections run statements whose replies make the client give out lines: one listens
// for them, one does not; a third opens with an "IPS=" list of 101 servers, which the client
// tells while the link opens. What the listener got goes out on descriptor 3.
const noisy = `
  const zp = require(${JSON.stringify(require.resolve('../../promise'))});
  (async () => {
    const got = [];
    const [heard, unheard] = await Promise.all([zp.connect(process.argv[1]), zp.connect(process.argv[1])]);
    heard.on('notice', (n) => got.push(n));
    for (const conn of [heard, unheard]) {
      await conn.query('create temp table nk (k integer primary key)');
      await conn.executeMany('insert into nk values (?)', [[1], [2], [1]]).catch((e) => got.push(e.code));
      await conn.query("select json('bad{') as j").catch((e) => got.push(e.code));
      await conn.close();
    }
    const ips = 'IPS=' + Array(101).fill(/^IP=([^;]*)/.exec(process.argv[1])[1]).join(',');
    await (await zp.connect(process.argv[1].replace(/^IP=[^;]*/, ips))).close();
    require('fs').writeSync(3, JSON.stringify(got));
  })();
`;

test("the client's lines reach 'notice' listeners as { code, message }, and nothing is printed", () => {
  const { spawnSync } = require('child_process');
  const child = spawnSync(process.execPath, ['-e', noisy, fx.server.connString()],
    { encoding: 'utf8', timeout: 20000, stdio: ['ignore', 'pipe', 'pipe', 'pipe'] });
  assert.deepEqual([child.status, child.stdout, child.stderr], [0, '', '']);
  assert.deepEqual(JSON.parse(child.output[3]), [
    { code: 'EC031', message: 'Error in recv result :[E10001]row 3 of the batch: UNIQUE constraint failed: nk.k' },
    'E10001', { code: 'EC031', message: 'Error in recv result :[E10001]malformed JSON' }, 'E10001', 'E10001', 'E10001']);
});

const dropped = `
  const fs = require('fs');
  const zp = require(${JSON.stringify(require.resolve('../../promise'))});
  const sockets = () => fs.readdirSync('/proc/self/fd').filter((fd) => {
    try { return fs.readlinkSync('/proc/self/fd/' + fd).startsWith('socket:'); } catch { return false; }
  }).length;
  (async () => {
    const before = sockets();
    let conns = await Promise.all([1, 2, 3].map(() => zp.connect(process.argv[1])));
    await Promise.all(conns.map((c) => c.query('select 1')));
    const held = sockets() - before;
    conns = null;
    let left = held;
    for (let i = 0; i < 100 && left > 0; i++) {
      global.gc();
      await new Promise((resolve) => setTimeout(resolve, 20));
      left = sockets() - before;
    }
    process.stdout.write(JSON.stringify({ held, left }));
  })();
`;

test('connections dropped without close release their links when collected', () => {
  assert.deepEqual(JSON.parse(script(dropped, [fx.server.connString()])), { held: 3, left: 0 });
});
