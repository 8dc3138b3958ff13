'use strict';
// Values through the Promise API: integers exact to 64 bits, Dates that keep their instant in
// any zone, and texts and bytes of any length whole.
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('path');
const { execFileSync } = require('child_process');
const { options, withServer } = require('./helpers');
const zp = require('../../promise');

const fx = withServer(test);
const connect = (extra) => zp.connect(options(fx.server, extra));

test('integers bind exactly and 64-bit columns read back as numbers while safe, else as BigInt or a ZanvoError', async () => {
  const conn = await connect();
  const big = await connect({ bigint: true });
  await conn.query('create table n (k integer, i integer, b bigint)');
  const rows = [[1, 2147483647, 2 ** 40], [2, -2147483648, -(2 ** 53 - 1)], [3, 7, 2n ** 62n], [4, 0, -(2n ** 63n)]];
  for (const row of rows.slice(0, 2)) await conn.query('insert into n values (?, ?, ?)', row);
  await conn.executeMany('insert into n values (?, ?, ?)', rows.slice(2));
  assert.deepEqual((await conn.query('select i, b from n where k <= 2 order by k')).rows,
    [{ i: 2147483647, b: 2 ** 40 }, { i: -2147483648, b: -(2 ** 53 - 1) }]);
  await assert.rejects(conn.query('select b from n where k = 3'),
    { name: 'ZanvoError', code: 'EP005', message: 'value out of the safe integer range', sql: 'select b from n where k = 3' });
  assert.deepEqual((await big.query('select i, b from n order by k')).rows, [
    { i: 2147483647, b: 2n ** 40n }, { i: -2147483648, b: -(2n ** 53n - 1n) }, { i: 7, b: 2n ** 62n }, { i: 0, b: -(2n ** 63n) },
  ]);
  await Promise.all([conn.close(), big.close()]);
});

test('texts and bytes of any length bind and read back whole, NULs included', async () => {
  const conn = await connect();
  await conn.query('create table w (k integer, t varchar(10), c clob, b blob)');
  const text = 'a\0b'.repeat(700000);
  const bytes = Buffer.alloc(5 * 1024 * 1024, 7);
  bytes[bytes.length - 1] = 9;
  await conn.query('insert into w values (?, ?, ?, ?)', [1, text, text + 'é', new Uint8Array(bytes)]);
  const [row] = (await conn.query('select t, c, b from w')).rows;
  assert.equal(row.t, text);
  assert.equal(row.c, text + 'é');
  assert.ok(Buffer.isBuffer(row.b) && row.b.equals(bytes));
  await conn.close();
});

test('a Date keeps its instant in every zone, stored as the wall clock of local time or of UTC', () => {
  const fixture = path.join(__dirname, 'fixtures', 'date_round_trip.js');
  const expected = {
    'America/New_York': ['2026-01-15 07:34:56.789', '2026-07-03 23:00:00.001', '1969-12-31 18:59:59.999'],
    'Asia/Kolkata': ['2026-01-15 18:04:56.789', '2026-07-04 08:30:00.001', '1970-01-01 05:29:59.999'],
  };
  const utc = ['2026-01-15 12:34:56.789', '2026-07-04 03:00:00.001', '1969-12-31 23:59:59.999'];
  const instants = [Date.UTC(2026, 0, 15, 12, 34, 56, 789), Date.UTC(2026, 6, 4, 3, 0, 0, 1), Date.UTC(1969, 11, 31, 23, 59, 59, 999)];
  for (const [zone, stored] of Object.entries(expected)) {
    const out = JSON.parse(execFileSync(process.execPath, [fixture, JSON.stringify(options(fx.server))], { env: { ...process.env, TZ: zone } }));
    assert.deepEqual(out.local, instants.map((ms, i) => ({ ms, stored: stored[i], day: out.midnight })), zone);
    assert.notEqual(out.midnight, Date.UTC(2026, 2, 8));
    assert.deepEqual(out.Z, instants.map((ms, i) => ({ ms, stored: utc[i], day: Date.UTC(2026, 2, 8) })), zone);
  }
});
