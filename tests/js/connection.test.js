'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('node:path');
const { zanvodb, launcher, options, openConnection, run, script, typeError } = require('./helpers');

let server;
test.before(async () => { server = await launcher.start(); });
test.after(async () => { await server.stop(); });


test('the module exports createConnection alone', () => {
  assert.deepEqual(Object.keys(zanvodb), ['createConnection']);
  assert.equal(zanvodb.createConnection.name, 'createConnection');
});

test('createConnection checks its argument', () => {
  for (const [args, message] of [[[], 'The first argument undefined.'], [[undefined], 'The first argument undefined.'],
    [[null], 'The args Error '], [[5], 'The args Error '], [[{}], 'The args Error:no Host '],
    [[{ host: undefined }], 'The args Error:no Host ']]) {
    assert.throws(() => zanvodb.createConnection(...args), typeError(message), message);
  }
  const conn = zanvodb.createConnection({ host: null });
  assert.equal(conn.constructor.name, 'ZVConnection');
  // An empty string passes here and fails only when a link is asked for.
  const empty = zanvodb.createConnection('', 1, 2);
  assert.throws(() => empty.connect(),
    typeError("Connect to Database failed! connection params error or Server can't reach 2"));
});

test('connect, end, disconnect and destry follow the state machine', () => {
  const conn = zanvodb.createConnection(options(server));
  assert.throws(() => conn.end(), typeError('The Connection is Not Open!'));
  const calls = [];
  assert.equal(conn.connect((err) => calls.push(err)), true);
  assert.deepEqual(calls, [null]);
  assert.throws(() => conn.connect(), typeError('The Connection is already Opened !'));
  conn.end();
  assert.throws(() => conn.end(), typeError('The Connection is Not Open!'));
  assert.throws(() => conn.connect(), typeError('The Connection has called .end()!'));
  assert.throws(() => conn.query('select 1 from dual', () => {}), typeError('The Connection is Not Open!'));

  const again = zanvodb.createConnection(options(server));
  again.connect();
  again.disconnect();
  assert.throws(() => again.query('select 1 from dual'), typeError('The Connection is Not Open!'));
  again.connect();
  assert.equal(run(again, 'select 2 as two from dual').rows[0].two, 2);
  again.disconnect();
  again.disconnect();
});

test('connect with a callback reports refusals and resets the state', () => {
  const conn = openConnection(server);
  const calls = [];
  conn.connect((err) => calls.push(err));
  assert.deepEqual(calls, ['The Connection is already Opened !']);
  // State 0 again: the next query opens a fresh link by itself.
  assert.deepEqual(run(conn, 'select 3 as three from dual').rows, [{ three: 3 }]);
  conn.end();

  const gone = zanvodb.createConnection(options(server));
  gone.destry();
  gone.destry();
  gone.connect((err) => calls.push(err));
  assert.equal(calls[1], 'The Connection has called .end()!');
  assert.throws(() => gone.connect(),
    typeError("Connect to Database failed! connection params error or Server can't reach 2"));
});

test('a query inside the connect callback uses the link being opened', () => {
  const conn = zanvodb.createConnection(options(server));
  let inner;
  conn.connect((err) => { inner = err === null ? run(conn, 'select 4 as four from dual').rows : err; });
  assert.deepEqual(inner, [{ four: 4 }]);
  conn.end();
});

test('failures to open are reported, never thrown past their method', async () => {
  const closed = await launcher.start();
  const port = closed.port;
  await closed.stop();
  const conn = zanvodb.createConnection(options(server, { port }));
  let status;
  conn.connect((err) => { status = err; });
  assert.equal(status, "Connect to Database failed! connection params error or Server can't reach 1");
  assert.throws(() => conn.connect(),
    typeError("Connect to Database failed! connection params error or Server can't reach 2"));
  assert.throws(() => conn.query('select 1 from dual', () => {}),
    typeError("Connect to Database failed! connection params error or Server can't reach"));

  const badPassword = zanvodb.createConnection(options(server, { password: 'wrong' }));
  assert.throws(() => badPassword.connect(),
    typeError("Connect to Database failed! connection params error or Server can't reach 2"));
  // Only strings count as texts: a numeric user is an empty user, and the login is refused.
  zanvodb.createConnection(options(server, { user: 7 })).connect((err) => { status = err; });
  assert.equal(status, "Connect to Database failed! connection params error or Server can't reach 1");
});

// Run in a process of its own, where a collection can be asked for: 600 connections opened
// and dropped without end, in rounds of 200, below the server's 256 links at once, and a query
// object whose connection was dropped, read after the collections. It prints how many more
// descriptors it holds with one connection open and after all, and the rows the object read.
const DROPPED = `
const fs = require('fs');
const { createConnection } = require(process.env.ZV_MODULE);
const conn = process.env.ZV_CONN;
const fds = () => fs.readdirSync('/proc/self/fd').length;
async function collect() {
  for (let i = 0; i < 3; i++) { global.gc(); await new Promise((resolve) => setTimeout(resolve, 10)); }
}
function dropReader() {
  const reader = createConnection(conn);
  reader.connect();
  reader.query('create table dropped (i integer)', () => {});
  reader.executeBatch('insert into dropped values (?)', Array.from({ length: 25000 }, (_, i) => [i]), () => {});
  return reader.query('select i from dropped');
}
(async () => {
  const query = dropReader();
  // A first link opens whatever the client keeps for good; the count starts after it.
  createConnection(conn).connect();
  await collect();
  const before = fds();
  for (let round = 0; round < 3; round++) {
    for (let i = 0; i < 200; i++) createConnection(conn).connect();
    await collect();
  }
  // A connection ended holds one socket while it is open and none after.
  const ended = createConnection(conn);
  ended.connect();
  const held = fds() - before;
  ended.end();
  const grown = fds() - before;
  const read = [];
  for (let done = false; !done;) {
    query.nextRecord('nextrecord', (row) => { if (row === null || typeof row === 'string') done = true; read.push(row); });
  }
  process.stdout.write(JSON.stringify({ held, grown, rows: read.length - 1, end: read.pop() }));
})();
`;

test('a connection holds one socket until it ends or, dropped without end, is collected, unless a query object reads from it', () => {
  const out = script(DROPPED, [], { ZV_MODULE: path.join(__dirname, '..', '..'), ZV_CONN: server.connString() });
  assert.deepEqual(JSON.parse(out), { held: 1, grown: 0, rows: 25000, end: null });
});
