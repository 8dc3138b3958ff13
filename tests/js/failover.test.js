'use strict';
// connect with an "IPS=" string against three reference servers that share one port on
// 127.0.0.1, .2 and .3, stopped one after another.
const test = require('node:test');
const assert = require('node:assert/strict');
const { zanvodb, launcher, openConnection, run } = require('./helpers');

const typeError = (message) => (err) => err instanceof TypeError && err.message === message;

test('connect fails over to a live server of the list as servers stop', async () => {
  const first = await launcher.start();
  const servers = [first, await launcher.start({ host: '127.0.0.2', port: first.port }),
    await launcher.start({ host: '127.0.0.3', port: first.port })];
  try {
    // Each server's own database tells which one answered.
    servers.forEach((server, k) => {
      const conn = openConnection(server);
      run(conn, 'create table who (n integer)');
      run(conn, `insert into who values (${k + 1})`);
      conn.end();
    });
    const ips = `IPS=127.0.0.1,127.0.0.2,127.0.0.3;PORT=${first.port};DB=SYSTEM;USER=SYSDBA;PWD=SYSDBA`;
    const answered = () => {
      const conn = zanvodb.createConnection(ips);
      conn.connect();
      const { rows } = run(conn, 'select n from who');
      conn.end();
      return rows[0].n;
    };
    for (let i = 0; i < 6; i++) assert.ok([1, 2, 3].includes(answered()));
    await servers[0].stop();
    await servers[2].stop();
    // Wherever the random start falls, the one live server answers.
    for (let i = 0; i < 6; i++) assert.equal(answered(), 2);
    await servers[1].stop();
    assert.throws(() => zanvodb.createConnection(ips).connect(),
      typeError("Connect to Database failed! connection params error or Server can't reach 2"));
  } finally {
    for (const server of servers) await server.stop();
  }
});
