'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const net = require('net');
const path = require('path');
const childProcess = require('child_process');
const { zanvodb, launcher, openConnection, options, run } = require('./helpers');

let server;
test.before(async () => { server = await launcher.start(); });
test.after(async () => { await server.stop(); });

const invalid = (key, reason) => (err) =>
  err instanceof TypeError && err.message === `Invalid value for option "${key}": ${reason}`;

const SEPARATOR = 'it may not contain ";" or ","';
const CONTROL = 'it may not contain control characters';
const BLANK_END = 'it may not begin or end with a blank';
const LIST = 'it may not contain "IPS="';
const QUOTE = 'it may not contain "\'"';
const MS = 'it must be a whole number of milliseconds from 0 to 2147483647';

// Each text option refuses each kind of value that would change the string around it.
const TEXTS = ['password', 'user', 'database', 'char_set', 'host'];
const refused = [
  ...TEXTS.flatMap((key) => [
    [key, 'SYSDBA;PORT=1', SEPARATOR], [key, 'a,b', SEPARATOR], [key, 'xIps=10.0.0.1', LIST],
    [key, ' a', BLANK_END], [key, 'a ', BLANK_END], [key, 'a\nb', CONTROL], [key, 'a\u0000b', CONTROL],
    [key, 'a\u007fb', CONTROL], [key, 'a\tb', CONTROL],
  ]),
  // The login quotes these, or leaves the database bare.
  ...TEXTS.slice(0, 4).map((key) => [key, "it's", QUOTE]),
  ['port', '5138;PWD=x', SEPARATOR],
  ['user', "SYSDBA' password='x", QUOTE],
  ['database', "SYSTEM auto_commit = 'off'", QUOTE],
  ['database', 'SYSTEM lock_timeout = 0', 'it may not contain a blank'],
  ['password', 'p'.repeat(64), 'it may have 63 bytes at most'],
  ['database', 'é'.repeat(32), 'it may have 63 bytes at most'],
  ['host', '1'.repeat(32), 'it may have 31 bytes at most'],
  ...['1000', -1, 1.5, NaN].map((v) => ['timeout', v, MS]),
  ...[null, 2147483648, Infinity].map((v) => ['connectTimeout', v, MS]),
  ['silent', 'yes', 'it must be true or false'],
  ['silent', 1, 'it must be true or false'],
];

test('values that would change the connection string are refused before anything is sent', async () => {
  let attempts = 0;
  const listener = net.createServer((socket) => { attempts += 1; socket.destroy(); });
  await new Promise((resolve) => listener.listen(0, '127.0.0.1', resolve));
  const port = listener.address().port;
  for (const [key, value, reason] of refused) {
    assert.throws(() => zanvodb.createConnection({ ...options(server), port, [key]: value }), invalid(key, reason),
      `${key}: ${JSON.stringify(value)}`);
  }
  await new Promise((resolve) => setTimeout(resolve, 50));
  await new Promise((resolve) => listener.close(resolve));
  assert.equal(attempts, 0);
});

test('a connection string with a value or item that does not fit is refused, never cut or skipped', () => {
  const head = '[EC016]Connection string refused: ';
  for (const [extra, reason] of [[';PWD=' + 'p'.repeat(70), 'the value of PWD may have 63 bytes at most'],
    [';USER' + ' '.repeat(70) + '=' + 'u'.repeat(60), 'an item may have 127 bytes at most']]) {
    assert.throws(() => zanvodb.createConnection(server.connString(extra)), { name: 'TypeError', message: head + reason });
  }
});

test('silent: true and SILENT=on print nothing; by default query prints its large-object lines', () => {
  const setup = openConnection(server);
  run(setup, 'create table noisy (b blob)');
  run(setup, "insert into noisy values (x'414243')");
  setup.end();
  const root = path.join(__dirname, '..', '..');
  const printed = (how) => childProcess.execFileSync(process.execPath, ['-e', `
    const conn = require(${JSON.stringify(root)}).createConnection(${JSON.stringify(how)});
    conn.connect();
    conn.query('select b from noisy', () => {});
    conn.end();`], { encoding: 'utf8' });
  assert.equal(printed(options(server)), 'Lob read create : 0 \n Lob read Getdata : length 3 \n ' +
    'Lob read Getdata : read_n 3 \n Lob read Getdata : write to arraybuffer  \n');
  assert.equal(printed(options(server, { silent: true })), '');
  assert.equal(printed(server.connString(';SILENT=on')), '');
});

test('options objects and strings whose values keep the string as it is open the same link', () => {
  const accepted = [
    server.connString(),
    ...[{}, { port: String(server.port) }, { password: 'SYSDBA', database: 'SYSTEM', char_set: '' },
      { user: 'sysdba', timeout: 0 }, { timeout: 5000, connectTimeout: 2000 }, { timeout: 2147483647, connectTimeout: 0 },
      { timeout: undefined, connectTimeout: undefined }, { silent: false }].map((extra) => options(server, extra)),
  ];
  for (const how of accepted) {
    const conn = zanvodb.createConnection(how);
    assert.equal(conn.connect(), true, JSON.stringify(how));
    assert.deepEqual(run(conn, 'select 1 as one from dual').rows, [{ one: 1 }]);
    conn.end();
  }
});

test('a connection without a port goes to port 5138', async () => {
  let attempts = 0;
  const listener = net.createServer((socket) => { attempts += 1; socket.destroy(); });
  await new Promise((resolve) => listener.listen(5138, '127.0.0.9', resolve));
  let status;
  zanvodb.createConnection(options(server, { host: '127.0.0.9', port: undefined, timeout: 100 })).connect((err) => { status = err; });
  await new Promise((resolve) => setTimeout(resolve, 50));
  await new Promise((resolve) => listener.close(resolve));
  assert.deepEqual([status, attempts], ["Connect to Database failed! connection params error or Server can't reach 1", 1]);
});

test('"=" and inner blanks stay part of a password', async () => {
  const own = await launcher.start({ password: 'se=cret wörd' });
  const conn = zanvodb.createConnection({ ...options(own), password: 'se=cret wörd' });
  assert.equal(conn.connect(), true);
  assert.deepEqual(run(conn, 'select 2 as two from dual').rows, [{ two: 2 }]);
  conn.end();
  await own.stop();
});

test('timeout bounds a stalled reply: three tries of the receive time-out, then the link counts as closed', () => {
  const conn = zanvodb.createConnection(options(server, { timeout: 300, connectTimeout: 1000 }));
  conn.connect();
  run(conn, 'ZANVO FAULT STALL 5000');
  const start = Date.now();
  const stalled = run(conn, 'select 1 from dual');
  const waited = Date.now() - start;
  assert.deepEqual(stalled, { err: { Error: '[EJ1024] database connection is closed' }, rows: [], fields: [] });
  assert.ok(waited >= 850 && waited < 2500, `waited ${waited} ms`);
  conn.end();
});
