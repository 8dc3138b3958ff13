'use strict';
// The addon exports createConnection, the synchronous face. The Promise face,
// require('zanvodb/promise'), is also reached as .promise here, and ZanvoError serves both;
// neither is enumerable, so the synchronous face's own keys stay as they were.
module.exports = require('./build/Release/zanvodbjs.node');
Object.defineProperties(module.exports, {
  promise: { get: () => require('./promise') },
  ZanvoError: { value: require('./lib/errors').ZanvoError },
});
