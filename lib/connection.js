'use strict';
// The Promise API's connection, statement and transaction over the native AsyncLink. Each
// connection's calls run on its own exchange thread in the order they were made: the native
// queue keeps that order, and calls made from outside a running transaction wait here until
// it has ended.
const { AsyncLocalStorage } = require('async_hooks');
const { EventEmitter } = require('events');
const { performance } = require('perf_hooks');
const checks = require('./checks');
const { ZanvoError, codes } = require('./errors');
const { RowStream } = require('./row_stream');
const { AsyncLink } = require('../build/Release/zanvodbjs.node');

const SLICE_MS = 4;  // the longest one turn of the event loop spends making row objects
const ZV_SOCKET_FAILED = -8;

// What results are put together with, taken at load: a script that later replaces a global or
// a built-in method does not change a result.
const now = performance.now.bind(performance);
const setImmediateAtLoad = setImmediate;
const setPrototypeOf = Object.setPrototypeOf;
const ArrayProto = Array.prototype;
const NumberOf = Number;
const BigIntOf = BigInt;
const isSafeInteger = Number.isSafeInteger;

// The connection whose transaction callback is running, in the callback's own async context:
// a call on that connection from inside the callback is part of the transaction instead of
// waiting for its end, which would never come.
const transactionOf = new AsyncLocalStorage();

// The milliseconds spent making rows in this turn of the event loop, over all results: many
// results finished at once share one slice, and the rest wait for the next turn.
let spentThisTurn = 0;
let resetPending = false;

function spend(ms) {
  spentThisTurn += ms;
  if (resetPending) return;
  resetPending = true;
  setImmediateAtLoad(() => {
    spentThisTurn = 0;
    resetPending = false;
  });
}

// A select's rows, made into row objects part by part as the connection's thread hands the
// parts over, a slice per turn of the event loop: the rows of one part are made while the next
// is read. It settles with the whole result once the last part is made; a small result is made
// at once, in the turn its only part arrived.
class ResultRows {
  #sql;
  #bigint;
  #settle;
  // Parts handed over and not yet made, first to last; without a prototype, as the rows.
  #parts = { __proto__: null };
  #first = 0;
  #end = 0;
  #last = false;
  #running = false;
  #failed = false;
  #fields = null;
  #partInfo = null;  // the counts and fields of the part being made
  #lastInfo = null;  // of the last part made: the result's counts
  #rows = [];

  constructor(sql, bigint, resolve, reject) {
    this.#sql = sql;
    this.#bigint = bigint;
    this.#settle = { resolve, reject };
    // Without a prototype while it is filled, so that no index setter on Array.prototype or
    // Object.prototype sees a row; it gets the array prototype taken at load once it is whole.
    setPrototypeOf(this.#rows, null);
  }

  add(handle, last) {
    this.#parts[this.#end++] = handle;
    this.#last = last;
    if (!this.#running) this.#run();
  }

  // The rows made so far go nowhere: the query rejects instead.
  fail(err) {
    this.#failed = true;
    this.#settle.reject(err);
  }

  // Makes rows until the parts in hand are made or this turn's slice is spent; the next turn
  // goes on.
  #run() {
    this.#running = true;
    try {
      while (this.#first < this.#end) {
        if (this.#failed) return;
        if (spentThisTurn >= SLICE_MS) {
          setImmediateAtLoad(() => this.#run());
          return;
        }
        const start = now();
        const more = this.#slice(this.#parts[this.#first]);
        spend(now() - start);
        if (!more) delete this.#parts[this.#first++];
      }
    } catch (err) {
      this.fail(err instanceof RangeError ? new ZanvoError(codes.UNSAFE_INTEGER, err.message, this.#sql) : err);
      return;
    }
    this.#running = false;
    if (this.#last && !this.#failed) this.#settle.resolve(this.#whole());
  }

  // One slice of a part's rows; false once the part is made.
  #slice(handle) {
    if (this.#partInfo === null) {
      this.#partInfo = handle.info();
      if (this.#fields === null) this.#fields = this.#partInfo.fields;
    }
    const block = handle.take(SLICE_MS - spentThisTurn, this.#bigint);
    if (block === undefined) {
      this.#lastInfo = this.#partInfo;
      this.#partInfo = null;
      return false;
    }
    const rows = this.#rows;
    let made = rows.length;
    for (let k = 0; k < block.length; k++) rows[made++] = block[k];
    return true;
  }

  #whole() {
    const rows = this.#rows;
    setPrototypeOf(rows, ArrayProto);
    const info = this.#lastInfo;
    const rowCount = info.changed >= 0 ? info.changed : rows.length;
    return { rows, fields: this.#fields, rowCount, rowId: rowIdOf(info.rowId, this.#bigint) };
  }
}

function rowIdOf(text, bigint) {
  if (text === '') return null;
  if (bigint) return BigIntOf(text);
  const n = NumberOf(text);
  return isSafeInteger(n) ? n : text;
}

// Which failure a connect met. A refusal of the client's own, before the login went out,
// keeps its code (EC016: a connection-string value too long or holding a character the login
// text cannot carry; EC0193, EC0194: the login text); a key for the enciphered link that could
// not be made is the cipher's. Else, from the open's code and how long it took: a socket or a
// login that waited out the connect deadline, a socket that could not connect, or a login the
// server refused.
const OWN_REFUSALS = new Set(['EC016', 'EC0193', 'EC0194']);

function connectError(text, rc, elapsedMs, args) {
  const { code, message } = ZanvoError.from(text);
  if (OWN_REFUSALS.has(code)) return new ZanvoError(code, message);
  if (code === 'EC0192') return new ZanvoError(codes.CIPHER, message);
  if (elapsedMs >= args.connectTimeout * 0.9) return new ZanvoError(codes.DEADLINE, message);
  return new ZanvoError(rc === ZV_SOCKET_FAILED ? codes.UNREACHABLE : codes.LOGIN_REFUSED, message);
}

class Statement {
  #conn;
  #name;
  #sql;
  #closed = false;

  constructor(conn, name, sql) {
    this.#conn = conn;
    this.#name = name;
    this.#sql = sql;
  }

  get sql() { return this.#sql; }

  run(values) {
    return this.#conn._call(() => {
      if (this.#closed) throw new ZanvoError(codes.CLOSED, 'statement is closed', this.#sql);
      const checked = checks.statementValues(values, this.#conn._local);
      return (link, done) => link.execute(this.#name, this.#sql, checked, done);
    }, this.#sql, true);
  }

  async all(values) {
    return (await this.run(values)).rows;
  }

  // The statement's rows as a stream, through its cursor: one iteration of a statement at a
  // time (the server refuses a second cursor of the same name).
  iterate(values, options) {
    const checked = checks.statementValues(values, this.#conn._local);
    const blockRows = checks.blockRows(options, 'iterate');
    const name = this.#name;
    return new RowStream(this.#conn, this.#sql, `${name}_CUR`, blockRows, () => this.#conn._call(() => {
      if (this.#closed) throw new ZanvoError(codes.CLOSED, 'statement is closed', this.#sql);
      return (link, done) => link.executeCursor(name, this.#sql, checked, blockRows, done);
    }, this.#sql, false));
  }

  close() {
    if (this.#closed) return Promise.resolve();
    this.#closed = true;
    return this.#conn._call(() => (link, done) => link.unprepare(this.#name, done), this.#sql, false);
  }
}

// The face a transaction callback gets: the connection's query methods, past the wait that
// holds the connection's other callers until the transaction has ended.
class Transaction {
  #conn;
  #open = true;
  constructor(conn) { this.#conn = conn; }
  end() { this.#open = false; }
  #ended() { return Promise.reject(new ZanvoError(codes.CLOSED, 'transaction has ended')); }
  query(sql, values) { return this.#open ? this.#conn._query(sql, values, true) : this.#ended(); }
  prepare(sql) { return this.#open ? this.#conn._prepare(sql, true) : this.#ended(); }
  executeMany(sql, rows) { return this.#open ? this.#conn._executeMany(sql, rows, true) : this.#ended(); }
  stream(sql, values, options) {
    if (!this.#open) throw new ZanvoError(codes.CLOSED, 'transaction has ended');
    return this.#conn._stream(sql, values, options, true);
  }
}

class Connection extends EventEmitter {
  #link;
  #closed = false;
  #parked = null;  // while a transaction runs: the outside calls waiting for its end
  #cursors = 0;    // streams opened: each names its cursor after its number

  constructor(link, settings) {
    super();
    this.#link = link;
    this._bigint = settings.bigint;
    this._local = settings.local;
  }

  get closed() { return this.#closed; }

  // Posts one native job. prepare() checks the arguments and gives the function that posts;
  // result handles, a select's parts and then its last, are made into a Result. Outside calls
  // wait while a transaction runs.
  _call(prepare, sql, makesResult, inTransaction = false) {
    return new Promise((resolve, reject) => {
      let rows = null;  // a select's rows while its parts arrive
      const done = (err, value, number) => {
        if (err !== null) {
          if (rows !== null) rows.fail(ZanvoError.from(err, sql));
          else reject(ZanvoError.from(err, sql));
        } else if (makesResult) {
          if (rows === null) rows = new ResultRows(sql, this._bigint, resolve, reject);
          rows.add(value, number !== true);
        } else {
          resolve(value === undefined ? number : value);
        }
      };
      let post;
      try {
        if (this.#closed && !inTransaction) throw new ZanvoError(codes.CLOSED, 'connection is closed', sql);
        post = prepare();
      } catch (err) {
        reject(err);
        return;
      }
      const go = () => {
        try {
          post(this.#link, done);
        } catch (err) {
          reject(err);
        }
      };
      this.#whenFree(go, inTransaction);
    });
  }

  // Runs go now, or after the running transaction when there is one and go is not part of it.
  #whenFree(go, inTransaction) {
    if (this.#parked && !inTransaction && transactionOf.getStore() !== this) this.#parked.push(go);
    else go();
  }

  // The calls parked during a transaction, in order; one of them may start the next
  // transaction, which parks the rest again.
  #release() {
    const parked = this.#parked;
    this.#parked = null;
    for (let i = 0; i < parked.length; i++) {
      if (this.#parked) this.#parked.push(parked[i]);
      else parked[i]();
    }
  }

  _query(sql, values, inTransaction) {
    return this._call(() => {
      checks.sqlText(sql, 'query');
      const checked = checks.statementValues(values, this._local);
      return (link, done) => link.query(sql, checked, done);
    }, sql, true, inTransaction);
  }

  async _prepare(sql, inTransaction) {
    const name = await this._call(() => {
      checks.sqlText(sql, 'prepare');
      return (link, done) => link.prepare(sql, done);
    }, sql, false, inTransaction);
    return new Statement(this, name, sql);
  }

  _executeMany(sql, rows, inTransaction) {
    return this._call(() => {
      checks.sqlText(sql, 'executeMany');
      const checked = checks.batchRows(rows, this._local);
      return (link, done) => link.batch(sql, checked, done);
    }, sql, false, inTransaction);
  }

  // Rows through a server cursor, a block at a time; see RowStream.
  _stream(sql, values, options, inTransaction) {
    checks.sqlText(sql, 'stream');
    const checked = checks.statementValues(values, this._local);
    const blockRows = checks.blockRows(options, 'stream');
    const cursor = `ZS${++this.#cursors}_STREAM`;
    return new RowStream(this, sql, cursor, blockRows,
      () => this._call(() => (link, done) => link.openCursor(sql, checked, cursor, blockRows, done), sql, false, inTransaction));
  }

  stream(sql, values, options) { return this._stream(sql, values, options, false); }

  query(sql, values) { return this._query(sql, values, false); }
  prepare(sql) { return this._prepare(sql, false); }
  executeMany(sql, rows) { return this._executeMany(sql, rows, false); }

  // Auto commit goes off until commit or rollback, which turn it on again.
  begin() { return this.query('SET AUTO_COMMIT OFF;').then(() => undefined); }
  commit() { return this.query('SET AUTO_COMMIT ON;').then(() => undefined); }
  rollback() {
    return this.query('ROLLBACK;').then(() => this.query('SET AUTO_COMMIT ON;')).then(() => undefined);
  }

  // Runs fn(tx) inside a transaction: commits when it returns, rolls back when it throws and
  // rethrows what it threw, unchanged. It starts in its turn among the connection's calls;
  // calls made on the connection while it runs wait until it has ended.
  transaction(fn) {
    return new Promise((resolve, reject) => {
      if (this.#closed) throw new ZanvoError(codes.CLOSED, 'connection is closed');
      checks.callback(fn, 'transaction');
      if (this.#parked && transactionOf.getStore() === this) throw new TypeError('transaction: a transaction of this connection is running here');
      this.#whenFree(() => {
        this.#parked = [];
        this.#runTransaction(fn).then(resolve, reject);
      }, false);
    });
  }

  async #runTransaction(fn) {
    const tx = new Transaction(this);
    try {
      await tx.query('SET AUTO_COMMIT OFF;');
      const value = await transactionOf.run(this, () => fn(tx));
      await tx.query('SET AUTO_COMMIT ON;');
      return value;
    } catch (err) {
      await tx.query('ROLLBACK;').catch(() => {});
      await tx.query('SET AUTO_COMMIT ON;').catch(() => {});
      throw err;
    } finally {
      tx.end();
      this.#release();
    }
  }

  // Closes the link after every call made before it; calls made after it reject.
  close() {
    if (this.#closed) return Promise.resolve();
    const closing = this._call(() => (link, done) => link.close(done), undefined, false);
    this.#closed = true;
    return closing.then(() => undefined);
  }
}

// Lines the link gives out go to the connection's 'notice' listeners, after the call that
// brought them has returned to native code and before its promise settles; without a listener
// they are dropped, as are the lines of the open itself, which come before there is a
// connection. The link holds onNotice for as long as it lives, so onNotice reaches the
// connection weakly and nothing of the link: a dropped connection is still collected.
function noticeForwarder() {
  let connRef = null;
  return {
    onNotice(line) {
      const conn = connRef === null ? undefined : connRef.deref();
      if (conn !== undefined && conn.listenerCount('notice') > 0) process.nextTick(emitNotice, conn, line);
    },
    reach(conn) { connRef = new WeakRef(conn); },
  };
}

function emitNotice(conn, line) {
  const { code, message } = ZanvoError.from(line);
  conn.emit('notice', { code, message });
}

// Opens a link on a thread of its own.
function connect(target) {
  let args;
  try {
    args = checks.connectArgs(target);
  } catch (err) {
    return Promise.reject(err);
  }
  return new Promise((resolve, reject) => {
    const notices = noticeForwarder();
    let link;
    try {
      link = new AsyncLink(args.link, args.local, notices.onNotice);
    } catch (err) {
      reject(err);
      return;
    }
    link.open((err, rc, elapsedMs) => {
      if (err !== null) {
        link.close(() => {});
        reject(connectError(err, rc, elapsedMs, args));
        return;
      }
      const conn = new Connection(link, args);
      notices.reach(conn);
      resolve(conn);
    });
  });
}

module.exports = { connect, Connection, Statement, Transaction };
