'use strict';
// The one error type of both faces. Failures of the client and the server carry a bracketed
// code at the head of their text ("[E10001]no such table: t"); failures that carry none get a
// code of our own from the table below.

const codes = Object.freeze({
  NO_CODE: 'EP000',        // a failure whose text brought no code
  CLOSED: 'EP001',         // a call on a connection after close()
  UNREACHABLE: 'EP002',    // connect: no server answered at that address
  DEADLINE: 'EP003',       // connect: the connect deadline passed
  LOGIN_REFUSED: 'EP004',  // connect: the server refused the login
  UNSAFE_INTEGER: 'EP005', // a 64-bit value that no number holds exactly
  CIPHER: 'EP006',         // connect: the enciphered link's key could not be made
  ACQUIRE_TIMEOUT: 'EP007', // pool: no link became free within acquireTimeoutMillis
  POOL_ENDED: 'EP008',     // pool: a call after end()
  LINK_LOST: 'EJ1024',     // the link dropped; the client's own code for it
});

const BRACKET = /\[([A-Z]{1,3}\d{3,6})\]/;

class ZanvoError extends Error {
  constructor(code, message, sql) {
    super(message);
    this.code = code;
    if (sql !== undefined) this.sql = sql;
  }

  // From a failure text of either face: the first bracketed code, and the text without it.
  static from(text, sql) {
    const whole = String(text);
    const match = BRACKET.exec(whole);
    if (!match) return new ZanvoError(codes.NO_CODE, whole.trim(), sql);
    const message = (whole.slice(0, match.index) + whole.slice(match.index + match[0].length)).trim();
    return new ZanvoError(match[1], message, sql);
  }
}

Object.defineProperty(ZanvoError.prototype, 'name', { value: 'ZanvoError' });

module.exports = { ZanvoError, codes };
