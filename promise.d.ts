// Types of require('zanvodb/promise'): the promise namespace of index.d.ts.
import { promise } from './index';

export = promise;
