'use strict';
// The addon's createConnection, and the one thing that needs script code: a connection that is
// collected without end, disconnect or destry has its link closed here. The registry holds the
// connection's link holder, which refers to nothing of the connection, and its register is
// bound at load, so that no later change to FinalizationRegistry's prototype can stop it.
const native = require('./build/Release/zanvodbjs.node');

const links = new FinalizationRegistry((holder) => holder.close());
native.watchLinks(FinalizationRegistry.prototype.register.bind(links));

module.exports = { createConnection: native.createConnection };
