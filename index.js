'use strict';
// The addon's createConnection, the synchronous face, and the one thing that needs script code:
// a connection that is collected without end, disconnect or destry has its link closed here. The
// registry holds the connection's link holder, which refers to nothing of the connection, and
// its register is bound at load, so that no later change to FinalizationRegistry's prototype can
// stop it. The Promise face, require('zanvodb/promise'), is also reached as .promise here, and
// ZanvoError serves both; neither is enumerable, so the synchronous face's own keys stay as they were.
const native = require('./build/Release/zanvodbjs.node');

const links = new FinalizationRegistry((holder) => holder.close());
native.watchLinks(FinalizationRegistry.prototype.register.bind(links));

module.exports = { createConnection: native.createConnection };
Object.defineProperties(module.exports, {
  promise: { get: () => require('./promise') },
  ZanvoError: { value: require('./lib/errors').ZanvoError },
});
