// Types of both faces of zanvodb: the synchronous one (createConnection) and the Promise one
// (require('zanvodb/promise'), also reached as .promise).

/// <reference types="node" />

export interface ConnectionOptions {
  host: string;
  port?: number | string;
  user?: string;
  password?: string;
  database?: string;
  char_set?: string;
  /** Receive time-out in milliseconds. */
  timeout?: number;
  /** Time limit for connecting and logging in, in milliseconds. */
  connectTimeout?: number;
}

/** The failure of a statement or a connection, from either face. */
export class ZanvoError extends Error {
  constructor(code: string, message: string, sql?: string);
  readonly name: 'ZanvoError';
  /** The bracketed code of the failure ("E10001", "EJ1024", ...), or one of `codes`. */
  code: string;
  /** The statement that failed, where one did. */
  sql?: string;
  /** From a failure text of either face: its first bracketed code and the text without it. */
  static from(text: string, sql?: string): ZanvoError;
}

// The one class under a second name, for the promise namespace to hand on as its own.
type SharedZanvoError = ZanvoError;
declare const SharedZanvoError: typeof ZanvoError;

// ---- The synchronous face ----------------------------------------------------------------

/** `{ Error: text }` with the failure of a statement. */
export interface QueryFailure { Error: string }
export interface SyncField { ColName: string; Type: number }
export type SyncRow = Record<string, unknown>;
export type SyncValues = unknown[] | Record<string, unknown>;

export interface SyncQuery {
  on(event: 'fields', cb: (fields: SyncField[]) => void): void;
  on(event: 'result', cb: (row: SyncRow | string | null) => void): void;
  on(event: 'error', cb: (text: string | null) => void): void;
  nextRecord(event: 'nextrecord' | 'nextresult', cb: (row: SyncRow | string | null) => void): void;
  close(): void;
}

export interface SyncConnection {
  connect(cb?: (err: string | null) => void): boolean;
  query(sql: string, cb: (err: QueryFailure | null, rows: SyncRow[], fields: SyncField[]) => void): void;
  query(sql: string, values: SyncValues, cb: (err: QueryFailure | null, rows: SyncRow[], fields: SyncField[]) => void): void;
  query(sql: string | { sql: string; values?: SyncValues }, values?: SyncValues): SyncQuery;
  querymany(sql: string, rows: SyncValues[], cb?: (err: QueryFailure | null, outcomes: Record<string, string | number>[]) => void): void;
  executeBatch(sql: string, rows: SyncValues[], cb: (err: string | null, count: number) => void): void;
  beginTransaction(cb?: (err: string | null) => void): void;
  commit(cb?: (err: string | null) => void): void;
  rollback(cb?: (err: string | null) => void): void;
  end(): void;
  disconnect(): void;
  destry(): void;
}

export function createConnection(options: ConnectionOptions | string): SyncConnection;

// ---- The Promise face --------------------------------------------------------------------

export namespace promise {
  export interface PromiseOptions extends ConnectionOptions {
    /** 64-bit columns as BigInt always (default false: numbers while safe, else a ZanvoError). */
    bigint?: boolean;
    /** Which wall clock a zone-less datetime stands for: the local zone's (default) or UTC's. */
    timezone?: 'local' | 'Z';
  }

  /** A value a placeholder takes. */
  export type Value = null | undefined | boolean | number | bigint | string | Date | ArrayBufferView | ArrayBuffer;
  export type Values = Value[] | { [name: string]: Value };

  export interface Field {
    name: string;
    /** The readable name of the column's type: "INTEGER", "BIGINT", "CHAR", "DATETIME", ... */
    type: string;
  }

  export type RowValue = null | boolean | number | bigint | string | Date | Buffer;
  export type Row = { [column: string]: RowValue };

  export interface Result<R = Row> {
    rows: R[];
    fields: Field[];
    /** Rows an UPDATE or DELETE changed, or the rows of a SELECT. */
    rowCount: number;
    /** The row id an INSERT made (a BigInt with bigint, its text when no number holds it). */
    rowId: number | bigint | string | null;
  }

  export interface Notice { code: string; message: string }

  export interface StreamOptions {
    /** Rows each FETCH of the cursor asks for, 1 to 20000 (default 10000). */
    blockRows?: number;
  }

  /**
   * A select's rows through a server cursor, a block at a time, one block fetched ahead.
   * Leaving early (break, return, a throw, the Readable's destroy()) closes the cursor. On a
   * connection closed under it, the rows already fetched come and then the stream rejects
   * with EP001.
   */
  export interface RowStream<R = Row> extends AsyncIterableIterator<R> {
    readonly fields: Promise<Field[]>;
    /** Blocks read from the server so far: the one being read and one ahead at most. */
    readonly blocksRead: number;
    /** An object-mode Readable of the rows, with back-pressure. */
    toReadable(): import('stream').Readable;
    return(value?: unknown): Promise<IteratorResult<R>>;
  }

  export interface Statement {
    readonly sql: string;
    run<R = Row>(values?: Values): Promise<Result<R>>;
    all<R = Row>(values?: Values): Promise<R[]>;
    /** The statement's rows as a stream; one iteration of a statement at a time. */
    iterate<R = Row>(values?: Values, options?: StreamOptions): RowStream<R>;
    close(): Promise<void>;
  }

  export interface Transaction {
    query<R = Row>(sql: string, values?: Values): Promise<Result<R>>;
    prepare(sql: string): Promise<Statement>;
    executeMany(sql: string, rows: Values[]): Promise<number>;
    /** Throws EP001 once the transaction has ended. */
    stream<R = Row>(sql: string, values?: Values, options?: StreamOptions): RowStream<R>;
  }

  export interface Connection {
    readonly closed: boolean;
    query<R = Row>(sql: string, values?: Values): Promise<Result<R>>;
    stream<R = Row>(sql: string, values?: Values, options?: StreamOptions): RowStream<R>;
    prepare(sql: string): Promise<Statement>;
    /** Loads rows through the array batch; resolves to the rows the server counts as changed. */
    executeMany(sql: string, rows: Values[]): Promise<number>;
    begin(): Promise<void>;
    commit(): Promise<void>;
    rollback(): Promise<void>;
    transaction<T>(fn: (tx: Transaction) => Promise<T> | T): Promise<T>;
    close(): Promise<void>;
    on(event: 'notice', listener: (notice: Notice) => void): this;
  }

  export const codes: {
    readonly NO_CODE: 'EP000';
    readonly CLOSED: 'EP001';
    readonly UNREACHABLE: 'EP002';
    readonly DEADLINE: 'EP003';
    readonly LOGIN_REFUSED: 'EP004';
    readonly UNSAFE_INTEGER: 'EP005';
    readonly CIPHER: 'EP006';
    readonly ACQUIRE_TIMEOUT: 'EP007';
    readonly POOL_ENDED: 'EP008';
    readonly LINK_LOST: 'EJ1024';
  };

  export function connect(options: PromiseOptions | string): Promise<Connection>;

  export interface PoolSettings {
    /** Links at most (default 10). */
    max?: number;
    /** Links kept open even when idle (default 0). */
    min?: number;
    /** An idle link above min closes after this long; 0 keeps it (default 10000). */
    idleTimeoutMillis?: number;
    /** An acquire waiting longer rejects with EP007 (default 30000). */
    acquireTimeoutMillis?: number;
  }

  /** Rows of one statement, read as they arrive; leaving the loop early frees the link. */
  export interface PoolRows<R = Row> extends AsyncIterable<R> {
    readonly fields: Promise<Field[]>;
    /** An object-mode Readable of the rows, with back-pressure. */
    toReadable(): import('stream').Readable;
  }

  /** A link borrowed from a pool: the connection's calls until release(). */
  export interface Lease extends Omit<Transaction, 'stream'> {
    begin(): Promise<void>;
    commit(): Promise<void>;
    rollback(): Promise<void>;
    transaction<T>(fn: (tx: Transaction) => Promise<T> | T): Promise<T>;
    stream<R = Row>(sql: string, values?: Values, options?: { blockRows?: number }): PoolRows<R>;
    /** Gives the link back; a second release does nothing. */
    release(): void;
  }

  export interface PoolStats { total: number; idle: number; busy: number; waiting: number }

  export interface Pool {
    query<R = Row>(sql: string, values?: Values): Promise<Result<R>>;
    executeMany(sql: string, rows: Values[]): Promise<number>;
    stream<R = Row>(sql: string, values?: Values, options?: { blockRows?: number }): PoolRows<R>;
    /** One link for the whole callback: committed when it returns, rolled back when it throws. */
    transaction<T>(fn: (tx: Transaction) => Promise<T> | T): Promise<T>;
    acquire(): Promise<Lease>;
    /** No acquire after this; resolves once every lease is back and every link closed. */
    end(): Promise<void>;
    stats(): PoolStats;
    /** The lines of every link of the pool, as a connection's 'notice' listeners get them. */
    on(event: 'notice', listener: (notice: Notice) => void): this;
  }

  export function createPool(options: PromiseOptions & PoolSettings): Pool;
  export function createPool(connectionString: string, settings?: PoolSettings): Pool;

  export type ZanvoError = SharedZanvoError;
  export const ZanvoError: typeof SharedZanvoError;
}
