'use strict';
// 1,000,000 rows of 8 columns walked one at a time through a query object's nextRecord, against
// the reference server. Prints rows per second and the peak resident memory of this process,
// which stays bounded when the client holds one block of rows at a time.
// Run: npm run build && node bench/query_object_walk.js
const { check, withEightColumnTable } = require('./eight_column_table');

const ROWS = 1000000;
const FILL = `insert into walk with recursive n(k) as (select 1 union all select k + 1 from n where k < ${ROWS})
  select k, k * 1000, k / 7.0, 'name ' || k, 'more ' || k, k * 0.5, k % 100, k % 2 from n`;
const MiB = 1024 * 1024;

function walk(conn) {
  conn.query(FILL, check);
  const rssBefore = process.memoryUsage().rss;
  const start = process.hrtime.bigint();
  const q = conn.query('select i, b, d, v, s, f, n, flag from walk');
  let rows = 0;
  let sum = 0;
  for (let done = false; !done;) {
    q.nextRecord('nextrecord', (row) => {
      if (typeof row === 'string') throw new Error(row);
      if (row === null) {
        done = true;
        return;
      }
      rows += 1;
      sum += row.i;
    });
  }
  const seconds = Number(process.hrtime.bigint() - start) / 1e9;
  if (rows !== ROWS || sum !== (ROWS * (ROWS + 1)) / 2) throw new Error(`walked ${rows} rows, sum ${sum}`);
  const maxRss = process.resourceUsage().maxRSS * 1024;
  console.log(`${rows.toLocaleString('en-US')} rows of 8 columns through nextRecord: ` +
              `${Math.round(rows / seconds).toLocaleString('en-US')} rows/s (${seconds.toFixed(2)} s)`);
  console.log(`peak RSS of this process: ${(maxRss / MiB).toFixed(1)} MiB ` +
              `(${(rssBefore / MiB).toFixed(1)} MiB before the query)`);
}

withEightColumnTable('walk', walk);
