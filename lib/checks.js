'use strict';
// Every argument of the Promise API is checked here, once, before anything is sent; the native
// layer gets plain copies of values of the kinds it binds, so that no getter, Proxy or
// prototype of the caller's runs while a statement is bound.

// Taken at load: a script that replaces one of these later neither drops nor changes a value.
const arrayFrom = Array.from.bind(Array);
const isArray = Array.isArray;
const keysOf = Object.keys;
const protoOf = Object.getPrototypeOf;
const ObjectProto = Object.prototype;
const isView = ArrayBuffer.isView;
const isFinite = Number.isFinite;
const isSafeInteger = Number.isSafeInteger;
const apply = Reflect.apply;
const getTime = Date.prototype.getTime;
const getTimezoneOffset = Date.prototype.getTimezoneOffset;
const DateOf = Date;

// The elements of an array by index, read without its iterator or its map.
const eachOf = (array, fn) => arrayFrom({ __proto__: null, length: array.length }, (_, i) => fn(array[i], i));

const INT64_MIN = -(2n ** 63n);
const INT64_MAX = 2n ** 63n - 1n;
const OPTION_KEYS = ['host', 'port', 'user', 'password', 'database', 'char_set', 'timeout', 'connectTimeout'];
const CONNECT_TIMEOUT_DEFAULT = 10000;

function typeError(text) {
  return new TypeError(text);
}

function isPlainObject(value) {
  if (value === null || typeof value !== 'object' || isArray(value)) return false;
  const proto = protoOf(value);
  return proto === ObjectProto || proto === null;
}

// The connect argument: a connection string, or options with the keys createConnection knows
// plus bigint and timezone. Gives what the native link takes and the Promise API's own settings.
function connectArgs(target) {
  let link;
  let settings = {};
  if (typeof target === 'string') {
    if (target.length === 0) throw typeError('connect: the connection string is empty');
    link = target;
  } else if (isPlainObject(target)) {
    if (typeof target.host !== 'string') throw typeError('connect: options.host must be a string');
    link = {};
    for (let i = 0; i < OPTION_KEYS.length; i++) {
      const key = OPTION_KEYS[i];
      if (target[key] !== undefined) link[key] = target[key];
    }
    settings = target;
  } else {
    throw typeError('connect: give an options object or a connection string');
  }
  const bigint = settings.bigint === undefined ? false : settings.bigint;
  if (typeof bigint !== 'boolean') throw typeError('connect: options.bigint must be a boolean');
  const timezone = settings.timezone === undefined ? 'local' : settings.timezone;
  if (timezone !== 'local' && timezone !== 'Z') throw typeError("connect: options.timezone must be 'local' or 'Z'");
  return { link, bigint, local: timezone === 'local', connectTimeout: connectTimeoutOf(target) };
}

function connectTimeoutOf(target) {
  if (typeof target === 'string') {
    const m = /(?:^|;)\s*CONNECT_TIMEOUT\s*=\s*(\d+)/i.exec(target);
    return m ? Number(m[1]) : CONNECT_TIMEOUT_DEFAULT;
  }
  return Number.isInteger(target.connectTimeout) ? target.connectTimeout : CONNECT_TIMEOUT_DEFAULT;
}

function sqlText(sql, method) {
  if (typeof sql !== 'string' || sql.length === 0) throw typeError(`${method}: the statement text must be a non-empty string`);
  return sql;
}

// A Date goes out as milliseconds: of UTC with 'Z'; of the local wall clock, read as UTC,
// with 'local', since a datetime column keeps no zone.
function dateMillis(date, local) {
  const ms = apply(getTime, date, []);
  if (ms !== ms) throw typeError('an invalid Date cannot be bound');
  return local ? ms - apply(getTimezoneOffset, date, []) * 60000 : ms;
}

function oneValue(value, local, where) {
  switch (typeof value) {
    case 'undefined': return null;
    case 'boolean':
    case 'string': return value;
    case 'number':
      if (!isFinite(value)) throw typeError(`${where}: ${value} cannot be bound`);
      return value;
    case 'bigint':
      if (value < INT64_MIN || value > INT64_MAX) throw new RangeError(`${where}: ${value} is beyond 64 bits`);
      return value;
    case 'object':
      if (value === null) return null;
      if (value instanceof DateOf) return new DateOf(dateMillis(value, local));
      if (isView(value)) return value;
      if (value instanceof ArrayBuffer) return new Uint8Array(value);
      break;
    default:
      break;
  }
  throw typeError(`${where}: a value of this kind cannot be bound`);
}

// The values of one statement: an array by position, an object by name (and by index keys).
function statementValues(values, local) {
  if (values === undefined || values === null) return [];
  if (isArray(values)) return eachOf(values, (v, i) => oneValue(v, local, `value ${i}`));
  if (!isPlainObject(values)) throw typeError('values must be an array or a plain object');
  const out = Object.create(null);
  const keys = keysOf(values);
  for (let i = 0; i < keys.length; i++) out[keys[i]] = oneValue(values[keys[i]], local, `value "${keys[i]}"`);
  return out;
}


// Rows of executeMany, each checked and copied as the values of one statement: the batch binds
// every value as query binds it.
function batchRows(rows, local) {
  if (!isArray(rows) || rows.length === 0) throw typeError('executeMany: rows must be a non-empty array');
  return eachOf(rows, (row) => {
    if (!isArray(row) && !isPlainObject(row)) throw typeError('executeMany: each row must be an array or a plain object');
    return statementValues(row, local);
  });
}

function callback(fn, method) {
  if (typeof fn !== 'function') throw typeError(`${method}: the argument must be a function`);
  return fn;
}

// A stream's options: { blockRows }, the rows each FETCH asks for. Two blocks are held at
// most: 10,000 rows of 8 columns keep the reading process well under 64 MiB above its start.
const BLOCK_ROWS_DEFAULT = 10000;
const BLOCK_ROWS_MAX = 20000;

function blockRows(options, method) {
  if (options === undefined) return BLOCK_ROWS_DEFAULT;
  if (!isPlainObject(options)) throw typeError(`${method}: the options are not an object`);
  const rows = options.blockRows;
  if (rows === undefined) return BLOCK_ROWS_DEFAULT;
  if (!isSafeInteger(rows) || rows < 1 || rows > BLOCK_ROWS_MAX) {
    throw typeError(`${method}: blockRows is not an integer from 1 to ${BLOCK_ROWS_MAX}`);
  }
  return rows;
}

module.exports = { connectArgs, sqlText, statementValues, batchRows, callback, blockRows };
