'use strict';
// Selects through the server cursor: a result of many blocks reaches the callback whole, the
// same as a connection with server cursors off reads it in one piece.
const test = require('node:test');
const assert = require('node:assert/strict');
const { openConnection, run, withServer } = require('./helpers');

const fx = withServer(test, { connect: true });

test('a 100,000-row select gives the same rows through the server cursor as without it', () => {
  run(fx.conn, 'create table big (id integer primary key, name varchar(12), v double)');
  assert.equal(run(fx.conn, "insert into big with recursive c(x) as (select 1 union all select x + 1 from c " +
    "where x < 100000) select x, 'n' || x, x / 4.0 from c").err, null);
  const sql = 'select id, name, v from big order by id';
  const cursor = run(fx.conn, sql);
  assert.equal(cursor.err, null);
  // Either side of the first block's end, and the last row; the rest as the plain link reads them.
  assert.deepEqual([cursor.rows.length, cursor.rows[19999], cursor.rows[20000], cursor.rows[99999]],
    [100000, { id: 20000, name: 'n20000', v: 5000 }, { id: 20001, name: 'n20001', v: 5000.25 },
      { id: 100000, name: 'n100000', v: 25000 }]);
  assert.deepEqual(cursor.fields, [{ ColName: 'id', Type: 5 }, { ColName: 'name', Type: 2 }, { ColName: 'v', Type: 8 }]);
  const plain = openConnection(fx.server, ';USE_SRVCURSOR=off');
  const whole = run(plain, sql);
  plain.end();
  assert.deepEqual(whole, cursor);
});
