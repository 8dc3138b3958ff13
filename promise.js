'use strict';
// require('zanvodb/promise'): the face of zanvodb whose calls return Promises and never block
// the script thread.
const { connect, Connection, Statement } = require('./lib/connection');
const { ZanvoError, codes } = require('./lib/errors');
const { createPool } = require('./lib/pool');

module.exports = { connect, createPool, Connection, Statement, ZanvoError, codes };
