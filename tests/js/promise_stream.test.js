'use strict';
// Streams of the Promise API against the reference server: rows read whole through a cursor a
// block at a time, cursors closed when a stream is left, one block fetched ahead and no more,
// and streams whose link drops or whose connection closes under them.
const test = require('node:test');
const assert = require('node:assert/strict');
const { options, withServer } = require('./helpers');
const zp = require('../../promise');

const fx = withServer(test);
const connect = () => zp.connect(options(fx.server));

async function filled(conn, table, rows) {
  await conn.query(`create table ${table} (i integer, v varchar(16))`);
  await conn.query(`insert into ${table} with recursive n(i) as (select 1 union all select i + 1 from n
    where i < ${rows}) select i, 'v' || i from n`);
}

test('a stream reads every row: 1,000,000 through for await, a statement through a Readable; a query gets every part', async () => {
  const conn = await connect();
  await filled(conn, 'big', 1000000);
  const rows = conn.stream('select i, v from big where i > ?', [0]);
  let count = 0;
  let sum = 0;
  for await (const row of rows) {
    count++;
    sum += row.i;
  }
  assert.deepEqual(await rows.fields, [{ name: 'i', type: 'INTEGER' }, { name: 'v', type: 'CHAR' }]);
  assert.deepEqual((await conn.query('select count(*) as n, sum(i) as s from big')).rows, [{ n: count, s: sum }]);
  // A query's rows come over in parts of 20,000: all of them reach its array, in order.
  const { rows: some } = await conn.query('select i from big where i <= 45000');
  assert.deepEqual([some.length, some[0], some[20000], some[44999]], [45000, { i: 1 }, { i: 20001 }, { i: 45000 }]);
  const st = await conn.prepare('select i, v from big where i <= ? order by i');
  const read = [];
  for await (const row of st.iterate([25], { blockRows: 10 }).toReadable()) read.push(row);
  assert.deepEqual(read, Array.from({ length: 25 }, (_, k) => ({ i: k + 1, v: `v${k + 1}` })));
  await conn.close();
});

test('a stream left early closes its cursor: 300 left streams, past the 256 cursors of a link', async () => {
  const conn = await connect();
  await filled(conn, 'left', 100);
  const leave = [
    async (rows) => { for await (const row of rows) if (row.i === 10) break; },
    (rows) => assert.rejects(async () => { for await (const row of rows) if (row.i === 10) throw new Error('out'); }, /out/),
    // Leaving a Readable's loop destroys it.
    async (rows) => { for await (const row of rows.toReadable()) if (row.i === 10) break; },
  ];
  for (let k = 0; k < 300; k++) await leave[k % 3](conn.stream('select i from left order by i', [], { blockRows: 4 }));
  assert.deepEqual((await conn.query('select count(*) as n from left')).rows, [{ n: 100 }]);
  await conn.close();
});

test('a slow reader holds one block ahead, never more', async () => {
  const conn = await connect();
  await filled(conn, 'slow', 100);
  const rows = conn.stream('select i from slow order by i', [], { blockRows: 10 });
  const it = rows[Symbol.asyncIterator]();
  const held = [];
  for (const read of [1, 0, 11]) {
    for (let k = 0; k < read; k++) await it.next();
    // Behind any fetch the stream has posted: once it is back, so is that fetch.
    await conn.query('select 1');
    held.push(rows.blocksRead);
  }
  assert.deepEqual(held, [2, 2, 3]);
  await it.return();
  await conn.close();
});

test('a stream whose link drops rejects with the lost-link code; one whose connection closes, with EP001', async () => {
  const ends = [['dropped', (conn) => conn.query('ZANVO FAULT CLOSE AFTER 0'), 'EJ1024'], ['closed', (conn) => conn.close(), 'EP001']];
  for (const [table, end, code] of ends) {
    const conn = await connect();
    await filled(conn, table, 100);
    const rows = conn.stream(`select i from ${table} order by i`, [], { blockRows: 10 });
    let count = 0;
    // The fault spoils the reply to the command behind it: the fetch of the third block.
    await assert.rejects(async () => {
      for await (const row of rows) if (count++ === 0) await end(conn);
    }, (err) => err instanceof zp.ZanvoError && err.code === code);
    assert.equal(count, 20);
    await conn.close();
  }
});

// The reader starts before the transaction, so that it reads in an async context of its own:
// only the transaction's handle makes its stream part of the transaction. A stream that waited
// for the transaction's end would wait forever; the test's deadline ends that.
test('a transaction streams through its handle while it runs, also from outside its callback; once it has ended, its stream throws EP001', { timeout: 30000 }, async () => {
  const conn = await connect();
  await filled(conn, 'tx_rows', 30);
  let kept;
  let go;
  const started = new Promise((resolve) => { go = resolve; });
  const outside = (async () => {
    await started;
    let total = 0;
    for await (const row of kept.stream('select i from tx_rows', [], { blockRows: 7 })) total += row.i;
    return total;
  })();
  const sum = await conn.transaction(async (tx) => {
    kept = tx;
    await tx.query('delete from tx_rows where i >= 20');
    go();
    return outside;
  });
  assert.equal(sum, 190);
  assert.throws(() => kept.stream('select 1'), (err) => err instanceof zp.ZanvoError && err.code === 'EP001');
  await conn.close();
});
