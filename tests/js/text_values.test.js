'use strict';
const test = require('node:test');
const assert = require('node:assert/strict');
const { run, withServer } = require('./helpers');

const fx = withServer(test, { connect: true });

// A text buffer holds three bytes for each declared unit and a terminator; what does not fit
// is cut there, on a character boundary, and reported.
test('a text longer than its buffer is cut inside it and reported, one that fits is whole', () => {
  const cases = [
    { decl: 'varchar(10)', stored: `'${'x'.repeat(5000)}'`, value: 'x'.repeat(30), type: 2 },
    { decl: 'varchar(10)', stored: `'a${'é'.repeat(2500)}'`, value: `a${'é'.repeat(14)}`, type: 2 },
    { decl: 'varchar(10)', stored: `'${'€'.repeat(100)}'`, value: '€'.repeat(10), type: 2 },
    { decl: 'varchar(1)', stored: 'hex(zeroblob(262144))', value: '000', type: 2 },
    { decl: 'time(1)', stored: "'10:11:12'", value: '10:', type: 11 },
    // What fits, terminator included, is whole and no failure.
    { decl: 'varchar(2)', stored: "'abcdef'", value: 'abcdef', type: 2, whole: true },
    { decl: 'time(3)', stored: "'10:11:12'", value: '10:11:12', type: 11, whole: true },
  ];
  cases.forEach(({ decl, stored, value, type, whole }, i) => {
    run(fx.conn, `create table cut_${i} (v ${decl})`);
    run(fx.conn, `insert into cut_${i} values (${stored})`);
    assert.deepEqual(run(fx.conn, `select v from cut_${i}`),
      { err: whole ? null : { Error: 'data truncation error' }, rows: [{ v: value }], fields: [{ ColName: 'v', Type: type }] },
      `${decl} holding ${stored.slice(0, 20)}`);
  });
});
