'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const { launcher } = require('./helpers');
const { runLoad } = require('../../bench/load_connections.js');

let server;
test.before(async () => { server = await launcher.start(); });
test.after(async () => { await server.stop(); });

test('16 connections x 50 statements: no failure, one socket each, none left after end', () => {
  const r = runLoad(server, 16, 50);
  assert.equal(r.statements, 800);
  assert.equal(r.errors, 0);
  assert.equal(r.fdsOpen, r.before.fds + 16);
  assert.equal(r.after.fds, r.before.fds);
});
