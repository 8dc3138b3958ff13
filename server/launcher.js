'use strict';
// Starts zanvo-server as a child process on an ephemeral port, for the tests and the demo.

const { spawn } = require('child_process');
const path = require('path');
const readline = require('readline');

const DEFAULT_BIN = path.join(__dirname, '..', 'out', 'server', 'zanvo-server');
const LISTENING = /^listening on (127\.\d+\.\d+\.\d+):(\d+)$/;
const FLAGS = {
  host: '--host',
  database: '--database',
  user: '--user',
  password: '--password',
  replyVersion: '--reply-version',
  busyTimeout: '--busy-timeout',
  lobInlineMax: '--lob-inline-max',
};

// Servers still running when this process exits are stopped with it; SIGTERM lets them
// remove their private database files.
const running = new Set();
process.on('exit', () => {
  for (const child of running) child.kill('SIGTERM');
});

function serverArgs(options) {
  // --exit-with-parent: the server also goes when this process dies without an 'exit' event.
  const args = ['--port', String(options.port || 0), '--exit-with-parent'];
  for (const [key, flag] of Object.entries(FLAGS)) {
    if (options[key] !== undefined && options[key] !== null) args.push(flag, String(options[key]));
  }
  return args;
}

function start(options = {}) {
  const bin = process.env.ZANVO_SERVER_BIN || DEFAULT_BIN;
  const user = options.user || 'SYSDBA';
  const password = options.password || 'SYSDBA';
  return new Promise((resolve, reject) => {
    const child = spawn(bin, serverArgs(options), { stdio: ['ignore', 'pipe', 'pipe'] });
    running.add(child);
    let stderr = '';
    child.stderr.on('data', (chunk) => { stderr += chunk; });
    const exited = new Promise((done) => {
      child.once('exit', (code, signal) => {
        running.delete(child);
        done();
        reject(new Error(`zanvo-server ended (${signal || code}) before listening: ${stderr.trim()}`));
      });
    });
    child.once('error', (err) => {
      running.delete(child);
      reject(err);
    });
    const lines = readline.createInterface({ input: child.stdout });
    lines.once('line', (line) => {
      const match = LISTENING.exec(line);
      if (!match) {
        child.kill('SIGKILL');
        reject(new Error(`zanvo-server said "${line}" instead of where it listens`));
        return;
      }
      // From here on a forgotten server does not keep this process alive; 'exit' ends it.
      child.unref();
      child.stdout.unref();
      child.stderr.unref();
      const host = match[1];
      const port = Number(match[2]);
      resolve({
        host,
        port,
        pid: child.pid,
        connString(extra = '') {
          const base = `IP=${host};PORT=${port};DB=SYSTEM;USER=${user};PWD=${password}`;
          if (!extra) return base;
          return /^[;,]/.test(extra) ? base + extra : `${base};${extra}`;
        },
        stop() {
          if (child.exitCode === null && child.signalCode === null) {
            child.ref();  // keeps this process alive until the server has gone
            child.kill('SIGTERM');
          }
          return exited;
        },
      });
    });
  });
}

module.exports = { start };
