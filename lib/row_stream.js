'use strict';
// A select's rows as an async iterable, read through a server cursor a block at a time. While
// the script reads one block, the connection's thread fetches the next: one block ahead, never
// more, so the client holds at most two blocks however long the result. A block stays decoded in
// native memory and becomes row objects CHUNK_ROWS at a time as the script reads: so few rows
// live at once that they die young, and the collector has next to nothing to keep. Leaving early
// closes the cursor; reading to the end closes it with the last, short block.
const { Readable } = require('stream');
const { ZanvoError, codes } = require('./errors');

const readableFrom = Readable.from.bind(Readable);
const { performance } = require('perf_hooks');

const now = performance.now.bind(performance);
const setImmediateAtLoad = setImmediate;
// Rows handed out in one turn of the event loop: a block in hand is read in microtasks alone,
// so the loop gets a turn every SLICE_MS, checked at each chunk.
const SLICE_MS = 2;
const CHUNK_ROWS = 256;
const resolved = Promise.resolve.bind(Promise);
const nextTurn = () => new Promise((resolve) => setImmediateAtLoad(resolve));
const promiseWithCatch = (promise) => {
  promise.then(undefined, () => {});
  return promise;
};

class RowStream {
  #conn;
  #sql;
  #cursor;
  #blockRows;
  #bigint;
  #block = null;    // the block being read, until its last chunk is made
  #rows = null;     // the chunk being read
  #at = 0;
  #ahead;           // the promise of the next block, fetched while this one is read
  #done = false;
  #cursorOpen = true;
  #settleFields;
  #sliceStart = 0;

  // open posts the job that opens the cursor and fetches its first block; it is posted now,
  // in its turn among the connection's calls.
  constructor(conn, sql, cursor, blockRows, open) {
    this.#conn = conn;
    this.#sql = sql;
    this.#cursor = cursor;
    this.#blockRows = blockRows;
    this.#bigint = conn._bigint;
    // Blocks the connection's thread has read for this stream: the one being read and the
    // one ahead of it at most.
    this.blocksRead = 0;
    this.fields = promiseWithCatch(new Promise((resolve, reject) => { this.#settleFields = { resolve, reject }; }));
    this.#ahead = this.#counted(open());
  }

  [Symbol.asyncIterator]() { return this; }

  // A row of the chunk in hand comes without entering an async function: that costs a good part
  // of a row's time.
  next() {
    const rows = this.#rows;
    if (rows !== null && this.#at < rows.length) return resolved({ value: rows[this.#at++], done: false });
    return this.#next();
  }

  async #next() {
    for (;;) {
      const rows = this.#rows;
      if (rows !== null && this.#at < rows.length) return { value: rows[this.#at++], done: false };
      if (this.#block !== null) {
        if (now() - this.#sliceStart >= SLICE_MS) {
          await nextTurn();
          this.#sliceStart = now();
        }
        this.#chunk();
      } else if (this.#done) {
        return { value: undefined, done: true };
      } else {
        await this.#nextBlock();
      }
    }
  }

  // Leaves the rows: the cursor is closed on the server and the blocks held are dropped.
  async return(value) {
    // Rows not yet handed out are dropped even after the last block came: a next() after this
    // one gives done.
    this.#rows = null;
    this.#block = null;
    if (this.#done) return { value, done: true };
    this.#done = true;
    const ahead = this.#ahead;
    this.#ahead = null;
    const last = await ahead.catch(() => null);
    if (last !== null && last.info().rows < this.#blockRows) this.#cursorOpen = false;
    await this.#closeCursor();
    return { value, done: true };
  }

  // An object-mode stream.Readable of the rows: it reads a row when its buffer has room, and
  // destroy() leaves the rows as return() does.
  toReadable() {
    return readableFrom(this, { objectMode: true });
  }

  async #nextBlock() {
    this.#rows = null;
    let block;
    try {
      block = await this.#ahead;
    } catch (err) {
      this.#done = true;
      this.#settleFields.reject(err);
      await this.#closeCursor();
      throw err;
    }
    const info = block.info();
    this.#settleFields.resolve(info.fields);
    this.#sliceStart = now();
    this.#block = block;
    if (info.rows < this.#blockRows) {
      this.#done = true;
      this.#cursorOpen = false;
      this.#ahead = null;
    } else {
      this.#ahead = this.#fetch();
    }
  }

  // The next chunk of the block in hand; a value no number holds exactly fails the stream.
  #chunk() {
    let rows;
    try {
      rows = this.#block.take(SLICE_MS, this.#bigint, CHUNK_ROWS);
    } catch (err) {
      this.return();
      throw err instanceof RangeError ? new ZanvoError(codes.UNSAFE_INTEGER, err.message, this.#sql) : err;
    }
    if (rows === undefined) {
      this.#block = null;
      this.#rows = null;
    } else {
      this.#rows = rows;
      this.#at = 0;
    }
  }

  #counted(fetching) {
    return promiseWithCatch(fetching.then((block) => {
      this.blocksRead++;
      return block;
    }));
  }

  // A stream whose connection was closed under it ends with EP001 at the next block it has
  // not yet fetched; the cursor went with the link.
  #fetch() {
    if (this.#conn.closed) {
      this.#cursorOpen = false;
      return Promise.reject(new ZanvoError(codes.CLOSED, 'connection is closed', this.#sql));
    }
    const cursor = this.#cursor;
    const blockRows = this.#blockRows;
    return this.#counted(this.#conn._call(() => (link, done) => link.fetch(cursor, blockRows, done), this.#sql, false, true));
  }

  // Best effort: a link that dropped took the cursor with it.
  async #closeCursor() {
    if (!this.#cursorOpen || this.#conn.closed) return;
    this.#cursorOpen = false;
    const cursor = this.#cursor;
    await this.#conn._call(() => (link, done) => link.closeCursor(cursor, done), this.#sql, false, true).catch(() => {});
  }
}

module.exports = { RowStream };
