'use strict';
// A pool of Promise-API connections behind one object. Callers borrow a link (a lease), or let
// query, executeMany, stream and transaction borrow one for the length of the call. A link
// whose call lost it is closed and a new one opened in its place; it is never lent again.
// Leases, streams and transactions have their link to themselves; single calls (query,
// executeMany) may share a busy one when the pool can open no more.
const { EventEmitter } = require('events');
const { Readable } = require('stream');
const checks = require('./checks');
const { connect } = require('./connection');
const { ZanvoError, codes } = require('./errors');

const DEFAULTS = { max: 10, min: 0, idleTimeoutMillis: 10000, acquireTimeoutMillis: 30000 };
// Single calls a link may hold at once once every link is open and none is idle: the one it
// runs and those queued behind it on its thread, which goes from one to the next without
// waiting for the script thread to hand it the next, and sends the selects among them in one
// write.
const DEPTH = 16;
const TX_METHODS = ['query', 'prepare', 'executeMany'];
const STATEMENT_METHODS = ['run', 'all', 'close'];

function integerOption(options, key, least) {
  const value = options[key] === undefined ? DEFAULTS[key] : options[key];
  if (!Number.isSafeInteger(value) || value < least) throw new TypeError(`createPool: options.${key} must be an integer of at least ${least}`);
  return value;
}

function poolSettings(options) {
  const max = integerOption(options, 'max', 1);
  const min = integerOption(options, 'min', 0);
  if (min > max) throw new TypeError('createPool: options.min must not be above options.max');
  return {
    max,
    min,
    idleTimeoutMillis: integerOption(options, 'idleTimeoutMillis', 0),
    acquireTimeoutMillis: integerOption(options, 'acquireTimeoutMillis', 1),
  };
}

// The addresses of a connection string's "IPS=" item (the last one, as the client reads it),
// or null without one.
function serverList(target) {
  if (typeof target !== 'string') return null;
  const items = target.split(';').filter((item) => item.includes('IPS=') || item.includes('ips='));
  return items.length === 0 ? null : items[items.length - 1].slice(4).split(',');
}

// The connection string with its server list replaced by one server.
function oneServer(target, address) {
  const items = target.split(';').filter((item) => !item.includes('IPS=') && !item.includes('ips='));
  return `${items.join(';')};IP=${address}`;
}

// A copy of target's methods that checks first and, when a call rejects, tells note what it
// rejected with before passing it on.
function watched(target, methods, check, note) {
  const out = {};
  for (const name of methods) {
    out[name] = (...args) => {
      const stopped = check();
      if (stopped) return Promise.reject(stopped);
      return target[name](...args).catch((err) => {
        note(err);
        throw err;
      });
    };
  }
  return out;
}

// Rows of a stream that may start late: an async iterable over the rows of started (a
// Promise of a row stream), whose end, in any way, is told to ended once, with the failure
// it ended with.
class WatchedRows {
  #started;
  #ended;
  #iterator = null;
  #over = false;

  constructor(started, ended) {
    this.#started = started;
    this.#ended = ended;
    this.fields = started.then((rows) => rows.fields);
    this.fields.catch(() => {});
    started.catch((err) => this.#end(err));
  }

  [Symbol.asyncIterator]() { return this; }

  #end(err) {
    if (this.#over) return;
    this.#over = true;
    this.#ended(err);
  }

  async next() {
    const rows = await this.#started;
    if (this.#over) return { done: true, value: undefined };
    this.#iterator ??= rows[Symbol.asyncIterator]();
    try {
      const step = await this.#iterator.next();
      if (step.done) this.#end();
      return step;
    } catch (err) {
      this.#end(err);
      throw err;
    }
  }

  // Leaving early closes the rows' cursor before the link goes back.
  async return(value) {
    const rows = await this.#started.catch(() => null);
    if (rows !== null && !this.#over) {
      this.#iterator ??= rows[Symbol.asyncIterator]();
      try {
        if (typeof this.#iterator.return === 'function') await this.#iterator.return();
        this.#end();
      } catch (err) {
        this.#end(err);
      }
    }
    return { done: true, value };
  }

  toReadable() {
    return Readable.from(this, { objectMode: true });
  }
}

// One borrowed link: the connection's calls until release(); a call after it rejects.
class Lease {
  #pool;
  #link;
  #released = false;
  #note;

  constructor(pool, link) {
    this.#pool = pool;
    this.#link = link;
    this.#note = (err) => {
      pool._saw(link, err);
      throw err;
    };
  }

  #stopped() {
    return this.#released ? new ZanvoError(codes.CLOSED, 'lease is released') : null;
  }

  // call(conn) on the link while the lease is held; its failures are seen as the link's.
  #watch(call) {
    const stopped = this.#stopped();
    return stopped ? Promise.reject(stopped) : call(this.#link.conn).catch(this.#note);
  }

  query(sql, values) { return this.#watch((conn) => conn.query(sql, values)); }
  executeMany(sql, rows) { return this.#watch((conn) => conn.executeMany(sql, rows)); }

  prepare(sql) {
    const stopped = () => this.#stopped();
    const note = (err) => this.#pool._saw(this.#link, err);
    return this.#watch((conn) => conn.prepare(sql)).then((st) => ({ sql: st.sql, ...watched(st, STATEMENT_METHODS, stopped, note) }));
  }

  // Marked as it starts, so that a release before it has finished still rolls it back.
  begin() {
    if (!this.#released) this.#link.inTransaction = true;
    return this.#watch((conn) => conn.begin());
  }

  commit() { return this.#watch((conn) => conn.commit()).then(() => { this.#link.inTransaction = false; }); }
  rollback() { return this.#watch((conn) => conn.rollback()).then(() => { this.#link.inTransaction = false; }); }
  transaction(fn) { return this.#watch((conn) => this.#pool._transaction(this.#link, fn)); }

  // The rows' failures are seen as the link's; bad arguments throw as the connection's do.
  stream(sql, values, opts) {
    const stopped = this.#stopped();
    const rows = stopped ? Promise.reject(stopped) : Promise.resolve(this.#link.conn.stream(sql, values, opts));
    return new WatchedRows(rows, (err) => { if (err !== undefined) this.#pool._saw(this.#link, err); });
  }

  // Gives the link back to the pool; a second release does nothing.
  release() {
    if (this.#released) return;
    this.#released = true;
    this.#pool._giveBack(this.#link, this);
  }
}

class Pool extends EventEmitter {
  #connectTarget;
  #settings;
  #servers;
  #turn = 0;
  #links = new Set();   // every open link, lent or idle
  #idle = [];           // the idle links, the one given back last at the end
  #opening = 0;
  #waiters = [];
  #sweeper = null;      // the timer that closes links idle too long
  #ended = false;
  #ending = null;
  #drained = null;
  #closing = new Set();
  // A lease that was collected without release() gives its link back.
  #collected = new FinalizationRegistry((link) => this._giveBack(link, null));

  constructor(connectTarget, settings) {
    super();
    this.#connectTarget = connectTarget;
    this.#settings = settings;
    this.#servers = serverList(connectTarget);
    this.#fill();
  }

  stats() {
    const idle = this.#idle.length;
    return { total: this.#links.size + this.#opening, idle, busy: this.#links.size - idle, waiting: this.#waiters.length };
  }

  // Resolves to a lease on an idle link, on a new one while the pool has fewer than max, or
  // on the first link given back; rejects once acquireTimeoutMillis have passed.
  acquire() {
    return this.#take(false).then((link) => {
      const lease = new Lease(this, link);
      this.#collected.register(lease, link, lease);
      return lease;
    });
  }

  query(sql, values) { return this.#using((conn) => conn.query(sql, values)); }
  executeMany(sql, rows) { return this.#using((conn) => conn.executeMany(sql, rows)); }
  // One link for the whole callback: committed when it returns, rolled back when it throws.
  transaction(fn) { return this.#using((conn, link) => this._transaction(link, fn), false); }

  // Rows of one statement on a link held from now until the iteration ends, in any way.
  stream(sql, values, opts) {
    let lease = null;
    const started = this.acquire().then((got) => {
      lease = got;
      return lease.stream(sql, values, opts);
    });
    return new WatchedRows(started, () => { if (lease !== null) lease.release(); });
  }

  // No acquire after this; the waiters and leases out are served and given back, then every
  // link closes.
  end() {
    if (this.#ending === null) {
      this.#ended = true;
      this.#ending = new Promise((resolve) => { this.#drained = resolve; });
      this.#dispatch();
    }
    return this.#ending;
  }

  // A link: an idle one at once, else the first one given back or opened for this caller; a
  // shared one for a single call when every link is open and busy.
  #take(shared) {
    if (this.#ended) return Promise.reject(new ZanvoError(codes.POOL_ENDED, 'pool is ended'));
    if (this.#waiters.length === 0) {
      const link = this.#free(shared);
      if (link !== null) return Promise.resolve(this.#lend(link, shared));
    }
    return new Promise((resolve, reject) => {
      const waiter = { resolve, reject, timer: null, shared };
      waiter.timer = setTimeout(() => {
        this.#waiters.splice(this.#waiters.indexOf(waiter), 1);
        reject(new ZanvoError(codes.ACQUIRE_TIMEOUT, 'pool acquire timed out'));
      }, this.#settings.acquireTimeoutMillis);
      this.#waiters.push(waiter);
      this.#dispatch();
    });
  }

  // call(conn, link) on a link taken for it, given back when it settles.
  async #using(call, shared = true) {
    const link = await this.#take(shared);
    try {
      return await call(link.conn, link);
    } catch (err) {
      this._saw(link, err);
      throw err;
    } finally {
      this._giveBack(link, null);
    }
  }

  // The callback gets the transaction's calls, whose failures are seen as the link's.
  _transaction(link, fn) {
    const note = (err) => this._saw(link, err);
    return link.conn.transaction((tx) => fn(watched(tx, TX_METHODS, () => null, note)));
  }

  // A failure seen on a link: one that lost its link marks it, to be closed when given back.
  _saw(link, err) {
    if (err instanceof ZanvoError && err.code === codes.LINK_LOST) link.lost = true;
  }

  // A transaction begun by hand and left open is rolled back before the link is lent again;
  // a link that could not roll back is closed.
  _giveBack(link, lease) {
    if (lease !== null) this.#collected.unregister(lease);
    if (!link.inTransaction || link.lost) {
      this.#back(link);
      return;
    }
    link.inTransaction = false;
    link.conn.rollback().catch(() => { link.lost = true; }).then(() => this.#back(link));
  }

  #back(link) {
    link.leased = false;
    if (--link.uses > 0) this.#dispatch();
    else if (link.lost) this.#drop(link);
    else this.#toIdle(link);
  }

  #lend(link, shared) {
    link.uses++;
    link.leased = !shared;
    return link;
  }

  // An idle link; for a shared call with every link open, else the least busy link that
  // single calls hold, below DEPTH; else null.
  #free(shared) {
    if (this.#idle.length > 0) return this.#idle.pop();
    if (!shared || this.#links.size + this.#opening < this.#settings.max) return null;
    let best = null;
    for (const link of this.#links) {
      if (!link.leased && !link.lost && link.uses < DEPTH && (best === null || link.uses < best.uses)) best = link;
    }
    return best;
  }

  #toIdle(link) {
    link.idleSince = Date.now();
    this.#idle.push(link);
    this.#dispatch();
    if (this.#sweeper === null && this.#idle.length > 0 && this.#settings.idleTimeoutMillis > 0) this.#sweepIn(this.#settings.idleTimeoutMillis);
  }

  // One timer for all idle links: it closes those idle for idleTimeoutMillis, down to min,
  // and comes back while idle links above min are left. The idle list is oldest first.
  #sweepIn(ms) {
    this.#sweeper = setTimeout(() => {
      this.#sweeper = null;
      const limit = Date.now() - this.#settings.idleTimeoutMillis;
      while (this.#idle.length > 0 && this.#idle[0].idleSince <= limit && this.#links.size > this.#settings.min) this.#close(this.#idle.shift());
      if (this.#idle.length > 0 && this.#links.size > this.#settings.min) this.#sweepIn(Math.max(this.#idle[0].idleSince - limit, 1));
    }, ms);
    this.#sweeper.unref();
  }

  #close(link) {
    this.#links.delete(link);
    const closing = link.conn.close().catch(() => {});
    this.#closing.add(closing);
    closing.then(() => this.#closing.delete(closing));
  }

  // A lost link is closed and, while the pool keeps a minimum, replaced.
  #drop(link) {
    this.#close(link);
    this.#fill();
    this.#dispatch();
  }

  #fill() {
    while (!this.#ended && this.#links.size + this.#opening < this.#settings.min) this.#open();
  }

  // Links to the waiters in order; new links for the waiters no link is opening for; at
  // the end, the idle links closed once no one waits.
  #dispatch() {
    while (this.#waiters.length > 0) {
      const link = this.#free(this.#waiters[0].shared);
      if (link === null) break;
      const waiter = this.#waiters.shift();
      clearTimeout(waiter.timer);
      waiter.resolve(this.#lend(link, waiter.shared));
    }
    while (this.#waiters.length > this.#opening && this.#links.size + this.#opening < this.#settings.max) this.#open();
    if (this.#ended && this.#waiters.length === 0 && this.#opening === 0) {
      for (const link of this.#idle.splice(0)) this.#close(link);
      if (this.#links.size === 0 && this.#drained !== null) {
        const drained = this.#drained;
        this.#drained = null;
        clearTimeout(this.#sweeper);
        Promise.all(this.#closing).then(() => drained());
      }
    }
  }

  // A failure to open is the oldest waiter's.
  #open() {
    this.#opening++;
    this.#connectNext().then((conn) => {
      this.#opening--;
      const link = { conn, lost: false, inTransaction: false, idleSince: 0, uses: 0, leased: false };
      this.#links.add(link);
      this.#toIdle(link);
    }, (err) => {
      this.#opening--;
      const waiter = this.#waiters.shift();
      if (waiter !== undefined) {
        clearTimeout(waiter.timer);
        waiter.reject(err);
      }
      this.#dispatch();
    });
  }

  // A new link, whose lines go to the pool's 'notice' listeners.
  async #connectNext() {
    const conn = await this.#connectSpread();
    conn.on('notice', (notice) => this.emit('notice', notice));
    return conn;
  }

  // Without a server list, the one server. With one, each new link starts at the next server
  // of the list and goes on through it past servers that do not answer.
  async #connectSpread() {
    if (this.#servers === null) return connect(this.#connectTarget);
    const servers = this.#servers;
    const start = this.#turn++;
    let failure;
    for (let k = 0; k < servers.length; k++) {
      try {
        return await connect(oneServer(this.#connectTarget, servers[(start + k) % servers.length]));
      } catch (err) {
        if (err.code !== codes.UNREACHABLE && err.code !== codes.DEADLINE) throw err;
        failure = err;
      }
    }
    throw failure;
  }
}

// createPool(options) with the pool's settings among the connect options, or
// createPool(connectionString, settings).
function createPool(target, settings) {
  const options = typeof target === 'string' ? (settings === undefined ? {} : settings) : target;
  if (options === null || typeof options !== 'object') throw new TypeError('createPool: give an options object or a connection string');
  const pool = poolSettings(options);
  checks.connectArgs(target);
  return new Pool(target, pool);
}

module.exports = { createPool, Pool };
