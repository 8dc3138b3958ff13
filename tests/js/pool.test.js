'use strict';
// createPool against the reference server: lost links replaced while the server restarts,
// end() with leases out, the acquire deadline, transactions on one link, leases left behind,
// and links spread over an "IPS=" list.
const test = require('node:test');
const assert = require('node:assert/strict');
const v8 = require('v8');
const vm = require('vm');
const { launcher, options, openConnection, rejectsWith, run } = require('./helpers');
const zp = require('../../promise');

// Every link idle, and the count of them. A link opened for a waiter that another link served
// in the meantime lands idle once its login is done: that is waited for, up to 5 s.
const allIdle = async (pool) => {
  for (let i = 0; i < 500 && pool.stats().total > pool.stats().idle + pool.stats().busy; i++) {
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
  const { total } = pool.stats();
  assert.deepEqual(pool.stats(), { total, idle: total, busy: 0, waiting: 0 });
  return total;
};

let server;
test.before(async () => { server = await launcher.start(); });
test.after(() => server.stop());

test('bad pool settings are TypeErrors', () => {
  for (const [settings, message] of [
    [{ max: 0 }, 'createPool: options.max must be an integer of at least 1'],
    [{ max: 2, min: 3 }, 'createPool: options.min must not be above options.max'],
    [{ idleTimeoutMillis: -1 }, 'createPool: options.idleTimeoutMillis must be an integer of at least 0'],
    [{ acquireTimeoutMillis: 1.5 }, 'createPool: options.acquireTimeoutMillis must be an integer of at least 1'],
  ]) {
    assert.throws(() => zp.createPool({ ...options(server), ...settings }), { name: 'TypeError', message });
    assert.throws(() => zp.createPool(server.connString(), settings), { name: 'TypeError', message });
  }
  assert.throws(() => zp.createPool({ max: 1 }), { name: 'TypeError', message: 'connect: options.host must be a string' });
});

test('200 concurrent queries on 4 links while the server stops and starts: lost links are replaced, no lease is lost', async () => {
  const pool = zp.createPool({ ...options(server), max: 4 });
  // The next statement on each of the 4 links waits on the server, which then stops.
  const leases = await Promise.all([0, 1, 2, 3].map(() => pool.acquire()));
  await Promise.all(leases.map((lease) => lease.query('ZANVO FAULT STALL 1000')));
  leases.forEach((lease) => lease.release());
  const calls = Array.from({ length: 200 }, (_, i) => pool.query('select ? as i', [i]).then(
    (result) => (result.rows[0].i === i ? 'ok' : result.rows),
    (err) => (err instanceof zp.ZanvoError ? err.code : err)));
  await server.stop();
  server = await launcher.start({ port: server.port });
  const outcomes = await Promise.all(calls);
  // The 64 on the stalled links (on each, the one it ran and 15 queued behind it) lost them;
  // the rest waited for new links: refused while no server listened, served by the new one.
  assert.deepEqual(outcomes.slice(0, 64), Array(64).fill('EJ1024'));
  assert.ok(outcomes.slice(64).every((o) => o === 'EP002' || o === 'ok'), String(outcomes));
  assert.equal(await allIdle(pool), 4);
  const again = await Promise.all([0, 1, 2, 3, 4, 5, 6, 7].map((i) => pool.query('select ? as i', [i])));
  assert.deepEqual(again.map((r) => r.rows[0].i), [0, 1, 2, 3, 4, 5, 6, 7]);
  await pool.end();
});

test('end() serves the waiters and leases out, then closes every link; later calls reject with EP008', async () => {
  const pool = zp.createPool({ ...options(server), max: 2 });
  const [a, b] = await Promise.all([pool.acquire(), pool.acquire()]);
  const waited = pool.query('select 1 as one');
  let ended = false;
  const ending = pool.end().then(() => { ended = true; });
  assert.equal(pool.end(), pool.end());
  await rejectsWith(pool.acquire(), 'EP008', 'pool is ended');
  await rejectsWith(pool.query('select 1'), 'EP008', 'pool is ended');
  assert.deepEqual(pool.stats(), { total: 2, idle: 0, busy: 2, waiting: 1 });
  a.release();
  assert.deepEqual((await waited).rows, [{ one: 1 }]);
  assert.deepEqual((await b.query('select 2 as two')).rows, [{ two: 2 }]);
  await new Promise(setImmediate);
  assert.deepEqual([ended, pool.stats()], [false, { total: 1, idle: 0, busy: 1, waiting: 0 }]);
  b.release();
  b.release();
  await ending;
  assert.deepEqual(pool.stats(), { total: 0, idle: 0, busy: 0, waiting: 0 });
  await rejectsWith(b.query('select 1'), 'EP001', 'lease is released');
});

test('a waiter rejects with EP007 when no link is given back in time; a lease dropped unreleased is given back when collected', async () => {
  const pool = zp.createPool({ ...options(server), max: 1, acquireTimeoutMillis: 50 });
  let lease = await pool.acquire();
  await rejectsWith(pool.acquire(), 'EP007', 'pool acquire timed out');
  assert.deepEqual(pool.stats(), { total: 1, idle: 0, busy: 1, waiting: 0 });
  await lease.query('select 1');
  lease = null;
  v8.setFlagsFromString('--expose-gc');
  const gc = vm.runInNewContext('gc');
  for (let i = 0; i < 50 && pool.stats().busy > 0; i++) {
    gc();
    await new Promise((resolve) => setTimeout(resolve, 10));
  }
  assert.deepEqual((await pool.query('select 3 as three')).rows, [{ three: 3 }]);
  assert.equal(await allIdle(pool), 1);
  await pool.end();
});

test('a transaction runs on one link, commits on return and rolls back on a throw; a lease left in begin() is rolled back; a stream gives its link back however it ends; the lines of its links reach its listeners', async () => {
  const pool = zp.createPool({ ...options(server), max: 3 });
  await pool.query('create table pt (n integer)');
  // A temporary table lives on its link alone: the callback's statements all see it.
  assert.equal(await pool.transaction(async (tx) => {
    await tx.query('create temp table mine (n integer)');
    await Promise.all([1, 2, 3].map((n) => tx.query('insert into mine values (?)', [n])));
    return (await tx.query('insert into pt select n from mine')).rowCount;
  }), 0);
  const thrown = new Error('undo');
  await assert.rejects(pool.transaction(async (tx) => {
    await tx.executeMany('insert into pt values (?)', [[4], [5]]);
    throw thrown;
  }), (err) => err === thrown);
  const lease = await pool.acquire();
  await lease.begin();
  await lease.query('insert into pt values (6)');
  lease.release();
  assert.deepEqual((await pool.query('select n from pt order by n')).rows, [{ n: 1 }, { n: 2 }, { n: 3 }]);
  const read = [];
  for await (const row of pool.stream('select n from pt order by n', [], { blockRows: 2 })) read.push(row.n);
  for await (const row of pool.stream('select n from pt order by n')) { read.push(row.n); break; }
  assert.deepEqual(read, [1, 2, 3, 1]);
  const heard = [];
  pool.on('notice', (notice) => heard.push(notice));
  await rejectsWith(pool.query("select json('bad{') as j"), 'E10001');
  await new Promise((resolve) => setImmediate(resolve));
  assert.deepEqual(heard, [{ code: 'EC031', message: 'Error in recv result :[E10001]malformed JSON' }]);
  await allIdle(pool);
  await pool.end();
});

test('an "IPS=" pool spreads its links over the servers and reconnects through the list when one stops', async () => {
  const second = await launcher.start({ host: '127.0.0.2', port: server.port });
  try {
    // Each server's own database tells which one answered.
    [server, second].forEach((s, k) => {
      const conn = openConnection(s);
      run(conn, `create table who as select ${k + 1} as n`);
      conn.end();
    });
    const pool = zp.createPool(`IPS=127.0.0.1,127.0.0.2;PORT=${server.port};DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA`, { max: 4 });
    const where = async () => {
      const leases = await Promise.all([0, 1, 2, 3].map(() => pool.acquire()));
      const found = await Promise.all(leases.map((l) => l.query('select n from who').then((r) => r.rows[0].n, (e) => e.code)));
      leases.forEach((l) => l.release());
      return found.sort();
    };
    assert.deepEqual(await where(), [1, 1, 2, 2]);
    await second.stop();
    assert.deepEqual(await where(), [1, 1, 'EJ1024', 'EJ1024']);
    assert.deepEqual(await where(), [1, 1, 1, 1]);
    await pool.end();
  } finally {
    await second.stop();
  }
});
