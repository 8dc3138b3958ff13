'use strict';
// A short tour of zanvodb against the reference server, which this script starts itself.
const path = require('path');
const zanvodb = require(path.join(__dirname, '..'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));

// query with a callback runs to its end before it returns, so its outcome can be handed back.
function run(conn, sql) {
  console.log(`> ${sql.replace(/\s+/g, ' ')}`);
  let outcome;
  conn.query(sql, (err, rows, fields) => { outcome = { err, rows, fields }; });
  if (outcome.err) throw new Error(`${sql}: ${outcome.err.Error}`);
  return outcome;
}

function show(conn, sql) {
  const { rows, fields } = run(conn, sql);
  console.log(`  columns: ${fields.map((f) => `${f.ColName} (type ${f.Type})`).join(', ')}`);
  for (const row of rows) console.log(' ', row);
}

// querymany runs one statement for each row of an array; a query object hands a result to the
// script one row at a time, however long it is.
function manyRowsAndQueryObject(conn) {
  run(conn, 'create table visits (pet integer, day integer, note varchar(20))');
  console.log('> querymany: insert into visits values (?, ?, ?), three rows');
  conn.querymany('insert into visits values (?, ?, ?)', [[1, 1, 'check-up'], [2, 1, 'claws'], [1, 2, 'jab']],
    (err, outcomes) => console.log('  error:', err, 'outcomes:', outcomes));
  console.log('> querymany: update visits set note = :note where pet = :pet, two rows by name');
  conn.querymany('update visits set note = :note where pet = :pet', [{ pet: 2, note: 'trim' }, { pet: 9, note: 'none' }],
    (err, outcomes) => console.log('  error:', err, 'outcomes:', outcomes));
  run(conn, `insert into visits with recursive n(k) as (select 3 union all select k + 1 from n where k < 50000)
    select 1 + k % 2, k, 'routine' from n`);
  console.log('> a query object over select pet, day, note from visits order by day, read row by row');
  const q = conn.query('select pet, day, note from visits order by day, pet');
  q.on('fields', (fields) => console.log('  columns:', fields.map((f) => f.ColName).join(', ')));
  let count = 0;
  for (let done = false; !done;) {
    q.nextRecord('nextrecord', (row) => {
      if (row === null) { done = true; return; }
      if (typeof row === 'string') throw new Error(row);
      count += 1;
      if (count <= 3) console.log(' ', row);
    });
  }
  console.log(`  ... ${count} rows in all, then null: the rows have ended`);
}

// executeBatch loads many rows of one statement in few exchanges: at most 65,535 rows a command.
function bulkLoad(conn) {
  run(conn, 'create table readings (pet integer, day integer, grams double)');
  const rows = Array.from({ length: 100000 }, (_, k) => [1 + (k % 2), k, 1000 + (k % 500) / 4]);
  console.log('> executeBatch: insert into readings values (?, ?, ?), 100,000 rows');
  conn.executeBatch('insert into readings values (?, ?, ?)', rows,
    (err, count) => console.log('  error:', err, 'rows loaded:', count));
  show(conn, 'select pet, count(*) as days, avg(grams) as grams from readings group by pet order by pet');
}

async function main() {
  const server = await launcher.start();
  console.log(`reference server listening on ${server.host}:${server.port}`);
  const conn = zanvodb.createConnection({
    host: server.host, port: server.port, user: 'SYSDBA', password: 'SYSDBA', database: 'SYSTEM',
  });
  try {
    conn.connect((err) => console.log('connect:', err === null ? 'ok' : err));

    run(conn, `create table pets (id integer primary key, name varchar(32), born date, weight double,
      chip bigint, vaccinated boolean, fee numeric(8,2), seen datetime, photo blob)`);
    console.log(' ', run(conn, `insert into pets values (1, 'Rex', '2019-04-01', 21.5, 900000000000001, true,
      45.00, '2026-11-02 09:30:00', x'89504e47')`).rows);
    console.log(' ', run(conn, `insert into pets values (2, 'Tom', '2021-08-15', 4.25, 900000000000002, false,
      30.50, '2026-10-12 16:05:00', null)`).rows);
    console.log(' ', run(conn, "insert into pets (id, name) values (3, 'Nemo')").rows);
    console.log(' ', run(conn, 'update pets set fee = fee + 5 where fee is not null').rows);
    console.log(' ', run(conn, 'delete from pets where id = 3').rows);
    show(conn, 'select * from pets order by id');

    conn.beginTransaction((err) => console.log('begin:', err === null ? 'ok' : err));
    run(conn, "insert into pets (id, name) values (4, 'Kept')");
    conn.commit((err) => console.log('commit:', err === null ? 'ok' : err));
    conn.beginTransaction((err) => console.log('begin:', err === null ? 'ok' : err));
    run(conn, "insert into pets (id, name) values (5, 'Dropped')");
    conn.rollback((err) => console.log('rollback:', err === null ? 'ok' : err));
    show(conn, 'select id, name from pets order by id');

    conn.query('select * from no_such_table', (err) => console.log('a refused statement:', err));

    manyRowsAndQueryObject(conn);
    bulkLoad(conn);
  } finally {
    conn.end();
    console.log('closed');
    await server.stop();
  }
}

main().catch((err) => {
  console.error(err);
  process.exit(1);
});
