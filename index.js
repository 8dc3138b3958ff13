'use strict';
// The addon exports one function, createConnection; everything else is reached through it.
module.exports = require('./build/Release/zanvodbjs.node');
