'use strict';
// Every argument of the Promise API is checked here, once, before anything is sent; the native
// layer gets plain copies of values of the kinds it binds, so that no getter, Proxy or
// prototype of the caller's runs while a statement is bound.

const INT64_MIN = -(2n ** 63n);
const INT64_MAX = 2n ** 63n - 1n;
const OPTION_KEYS = ['host', 'port', 'user', 'password', 'database', 'char_set', 'timeout', 'connectTimeout'];
const CONNECT_TIMEOUT_DEFAULT = 10000;

function typeError(text) {
  return new TypeError(text);
}

function isPlainObject(value) {
  if (value === null || typeof value !== 'object' || Array.isArray(value)) return false;
  const proto = Object.getPrototypeOf(value);
  return proto === Object.prototype || proto === null;
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
    for (const key of OPTION_KEYS) if (target[key] !== undefined) link[key] = target[key];
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
  const ms = date.getTime();
  if (Number.isNaN(ms)) throw typeError('an invalid Date cannot be bound');
  return local ? ms - date.getTimezoneOffset() * 60000 : ms;
}

function oneValue(value, local, where) {
  switch (typeof value) {
    case 'undefined': return null;
    case 'boolean':
    case 'string': return value;
    case 'number':
      if (!Number.isFinite(value)) throw typeError(`${where}: ${value} cannot be bound`);
      return value;
    case 'bigint':
      if (value < INT64_MIN || value > INT64_MAX) throw new RangeError(`${where}: ${value} is beyond 64 bits`);
      return value;
    case 'object':
      if (value === null) return null;
      if (value instanceof Date) return new Date(dateMillis(value, local));
      if (ArrayBuffer.isView(value)) return value;
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
  if (Array.isArray(values)) return Array.from(values, (v, i) => oneValue(v, local, `value ${i}`));
  if (!isPlainObject(values)) throw typeError('values must be an array or a plain object');
  const out = Object.create(null);
  for (const key of Object.keys(values)) out[key] = oneValue(values[key], local, `value "${key}"`);
  return out;
}


// Rows of executeMany: the kinds the array batch binds. A Date becomes the datetime text of
// its milliseconds (already those of the connection's zone) and a BigInt a number while safe,
// else its decimal text, which an integer column stores as that integer.
function batchRows(rows, local) {
  if (!Array.isArray(rows) || rows.length === 0) throw typeError('executeMany: rows must be a non-empty array');
  return rows.map((row) => {
    if (!Array.isArray(row) && !isPlainObject(row)) throw typeError('executeMany: each row must be an array or a plain object');
    const copy = statementValues(row, local);
    for (const key of Object.keys(copy)) {
      const v = copy[key];
      if (v instanceof Date) copy[key] = v.toISOString().replace('T', ' ').replace('Z', '');
      else if (typeof v === 'bigint') copy[key] = Number.isSafeInteger(Number(v)) ? Number(v) : String(v);
    }
    return copy;
  });
}

function callback(fn, method) {
  if (typeof fn !== 'function') throw typeError(`${method}: the argument must be a function`);
  return fn;
}

module.exports = { connectArgs, sqlText, statementValues, batchRows, callback };
