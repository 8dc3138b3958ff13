'use strict';
// A short tour of zanvodb against the reference server, which this script starts itself.
const path = require('path');
const zanvodb = require(path.join(__dirname, '..'));
const launcher = require(path.join(__dirname, '..', 'server', 'launcher.js'));

async function main() {
  const server = await launcher.start();
  try {
    console.log(`reference server on ${server.host}:${server.port}`);
    const conn = zanvodb.createConnection({
      host: server.host, port: server.port, user: 'SYSDBA', password: 'SYSDBA', database: 'SYSTEM',
    });
    conn.connect((err) => console.log('connect:', err === null ? 'ok' : err));
    conn.end();
    console.log('closed');
  } finally {
    await server.stop();
  }
}

main().catch((err) => {
  console.error(err);
  process.exit(1);
});
