'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const path = require('path');
const { spawnSync } = require('child_process');
const { launcher } = require('./helpers');

let server;
test.before(async () => { server = await launcher.start(); });
test.after(async () => { await server.stop(); });

// Run in a process of its own, with the collector at hand, so that nothing else of the test
// run is on the heap.
const heapGrowth = `
  const { zanvodb } = require(${JSON.stringify(path.join(__dirname, 'helpers.js'))});
  const conn = zanvodb.createConnection(process.argv[1]);
  conn.connect();
  const round = (n) => { for (let i = 0; i < n; ++i) conn.query('COMMIT;'); };
  round(1000);
  global.gc();
  const before = process.memoryUsage().heapUsed;
  round(20000);
  global.gc();
  process.stdout.write(String(process.memoryUsage().heapUsed - before));
  conn.end();
`;

test('queries without a callback leave the heap as it was', () => {
  const child = spawnSync(process.execPath, ['--expose-gc', '-e', heapGrowth, server.connString()],
    { encoding: 'utf8', timeout: 20000 });
  assert.equal(child.status, 0, child.stderr);
  const grown = Number(child.stdout);
  assert.ok(grown < 1024 * 1024, `the heap grew by ${grown} bytes over 20,000 queries`);
});
