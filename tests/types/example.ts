// A typed use of both faces; `tsc --strict --noEmit -p tests/types` checks it in npm test.
import * as zanvodb from 'zanvodb';
import { connect, createPool, ZanvoError, Field } from 'zanvodb/promise';

interface Item { id: number; name: string }

async function promiseFace(): Promise<number> {
  const conn = await connect({ host: '127.0.0.1', port: 5138, user: 'SYSDBA', password: 'SYSDBA', database: 'SYSTEM', bigint: false, timezone: 'Z' });
  conn.on('notice', (n) => console.log(n.code, n.message));
  const made = await conn.query('insert into items values (?, ?, ?)', [1, 'one', new Date()]);
  const id: number | bigint | string | null = made.rowId;
  const { rows, fields } = await conn.query<Item>('select id, name from items where id = :id', { id: 1 });
  const first: Item | undefined = rows[0];
  const typeName: string = fields[0].type;
  const st = await conn.prepare('select name from items where id = ?');
  const names = await st.all<{ name: string }>([2n]);
  for await (const item of conn.stream<Item>('select id, name from items where id > ?', [0], { blockRows: 100 })) void item.name;
  const streamed = st.iterate<{ name: string }>([2]);
  const streamedFields: Field[] = await streamed.fields;
  streamed.toReadable().on('data', (row: { name: string }) => void row);
  await st.close();
  const loaded: number = await conn.executeMany('insert into items values (?, ?)', [[2, 'two'], { id: 3, name: 'three' }]);
  const kept: string = await conn.transaction(async (tx) => {
    await tx.query('delete from items where id = ?', [3]);
    return 'done';
  });
  try {
    await conn.query('select * from nowhere');
  } catch (err) {
    if (err instanceof ZanvoError) console.log(err.code, err.message, err.sql);
  }
  await conn.close();
  void [id, first, typeName, names, kept, streamedFields];
  return loaded;
}

async function pools(): Promise<number> {
  const pool = createPool({ host: '127.0.0.1', port: 5138, max: 8, acquireTimeoutMillis: 1000 });
  const { rows } = await pool.query<Item>('select id, name from items');
  for await (const row of pool.stream<Item>('select id, name from items', [], { blockRows: 100 })) console.log(row.name);
  const lease = await pool.acquire();
  await lease.begin();
  await lease.executeMany('insert into items values (?, ?)', [[4, 'four']]);
  await lease.commit();
  lease.release();
  const again = createPool('IPS=127.0.0.1,127.0.0.2;PORT=5138;USER=SYSDBA;PWD=SYSDBA', { max: 4 });
  const busy: number = again.stats().busy;
  await Promise.all([pool.end(), again.end()]);
  return rows.length + busy;
}

function syncFace(): void {
  const conn = zanvodb.createConnection('IP=127.0.0.1;Port=5138;Database=SYSTEM;USER=SYSDBA;PWD=SYSDBA');
  conn.connect((err) => { if (err) throw zanvodb.ZanvoError.from(err); });
  conn.query('select 1 as one', (err, rows, fields) => console.log(err?.Error, rows[0], fields[0].ColName));
  conn.end();
}

void [promiseFace, pools, syncFace];
