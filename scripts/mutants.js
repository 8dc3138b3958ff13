'use strict';
// The mutants of npm run mutate: each is one change a developer could plausibly make. `from`
// must occur exactly once in `file`; `tests` are the runs that can see the change, tried in
// order until one fails:
//   'client:FILTER'  out-asan/client_tests --gtest_filter=FILTER
//   'server:FILTER'  out-asan/server/server_tests --gtest_filter=FILTER
//   'js:a.test.js,b.test.js'  node --test on those files of tests/js (release addon and server)
const C = (filter) => `client:${filter}`;
const S = (filter) => `server:${filter}`;
const J = (...files) => `js:${files.join(',')}`;

const WIRE = C('Wire*:ReplyCut*:StmtReply*');
const REPLY = C('StmtReply*:ReplyCut*:ResultReception*:NavResult*');
const LOGIN = C('Login*:CipherLogin*:ConnString*:ReplyCut*');
const PARAMS = C('Params*:ParamArray*:Prepare*');
const CURSOR = C('NamedCursor*:SmartCursor*');
const PREPARE = C('Prepare*');
const CONVERT = C('ResultConvert*:ResultText*:Calendar*:ResultReception*');
const LOB = C('Lob*');
const CIPHER = C('Turing*:BigNumber*:CipherLogin*');
const FAILOVER = C('Failover*');

module.exports = [
  // ---- client library: wire ----
  {
    name: 'wire-pushback-kept', file: 'src/client/connection/wire.cc',
    from: '    conn->pushback = 0;\n    --len;', to: '    --len;',
    fault: 'a byte handed back is read again after it was taken', tests: [WIRE],
  },
  {
    name: 'wire-buffer-tail-lost', file: 'src/client/connection/wire.cc',
    from: '  conn->recv_len = got;\n  conn->recv_pos = len;', to: '  conn->recv_len = conn->recv_pos = 0;',
    fault: 'bytes received beyond a read are dropped instead of kept for the next read', tests: [WIRE],
  },
  {
    name: 'wire-string-limit-off', file: 'src/client/connection/wire.cc',
    from: '  if (len < 0 || len > WIRE_MAX_STRING) return ZV_NET_ERROR;\n  char* text',
    to: '  if (len < 0) return ZV_NET_ERROR;\n  char* text',
    fault: 'a hostile string length is allocated and waited for', tests: [WIRE],
  },
  {
    name: 'wire-partial-copy-short', file: 'src/client/connection/wire.cc',
    from: '  if (waiting > len) {', to: '  if (waiting > len + 1) {',
    fault: 'a buffered run one byte longer than the read is handed out whole', tests: [WIRE],
  },
  {
    name: 'wire-send-flush-edge', file: 'src/client/connection/wire.cc',
    from: 'if (conn->send_len + len >= CONN_BUF_SIZE) r = write_send_buf(conn);',
    to: 'if (conn->send_len + len > CONN_BUF_SIZE + 8) r = write_send_buf(conn);',
    fault: 'the send buffer is filled past its end before it is written', tests: [WIRE, PARAMS],
  },
  {
    name: 'wire-recv-tries-once', file: 'src/client/connection/wire.cc',
    from: 'int tries_left = conn->recv_cipher ? 1 : RECV_TRIES;', to: 'int tries_left = 1;',
    fault: 'a plain link gives up at its first read that times out instead of its third',
    tests: [WIRE, C('Login*:CipherLogin*')],
  },
  // ---- client library: replies ----
  {
    name: 'reply-F-no-error-result', file: 'src/client/statements/recv_result.cc',
    from: "st->ret = letter == 'E' || letter == 'F' ? ZV_SERVER_ERROR : 0;", to: "st->ret = letter == 'E' ? ZV_SERVER_ERROR : 0;",
    fault: 'an F (fatal) text in a statement reply is treated as no error', tests: [REPLY],
  },
  {
    name: 'reply-F-no-error-noquery', file: 'src/client/statements/recv_noquery.cc',
    from: "{'E', on_error},  {'F', on_error}, {'W', on_notice},          {'M', on_notice},",
    to: "{'E', on_error},  {'F', on_notice}, {'W', on_notice},          {'M', on_notice},",
    fault: 'an F text in a reply without rows is read as a notice, not an error', tests: [REPLY],
  },
  {
    name: 'reply-F-no-error-rows', file: 'src/client/results/recv_rows.cc',
    from: "if (*letter == 'E' || *letter == 'F') result->message_has_error = 1;",
    to: "if (*letter == 'E') result->message_has_error = 1;",
    fault: 'an F text among rows does not mark the result failed', tests: [REPLY],
  },
  {
    name: 'reply-negative-count', file: 'src/client/statements/recv_noquery.cc',
    from: 'if (!recv_int32(st->conn, &count) || count < 0) return ZV_NET_ERROR;',
    to: 'if (!recv_int32(st->conn, &count)) return ZV_NET_ERROR;',
    fault: 'a negative changed-row count is taken and reads as a failure code', tests: [REPLY],
  },
  {
    name: 'reply-stray-letter-in-step', file: 'src/client/statements/reply_reader.cc',
    from: 'int32_t stop_short(ReplyState* st, int32_t rc) {\n  st->conn->out_of_step = 1;',
    to: 'int32_t stop_short(ReplyState* st, int32_t rc) {',
    fault: 'a reply left unread does not mark the link out of step', tests: [REPLY],
  },
  {
    name: 'reply-peek-zero', file: 'src/client/statements/reply_reader.cc',
    from: "if (ch == 'K' || ch == 0) return 1;", to: "if (ch == 'K') return 1;",
    fault: 'a zero byte after a record is handed back instead of ending the reply', tests: [REPLY],
  },
  {
    name: 'reply-field-count-limit', file: 'src/client/results/field_descs.cc',
    from: 'field_num < 0 || field_num > MAX_FIELDS) return ZV_NET_ERROR;', to: 'field_num < 0) return ZV_NET_ERROR;',
    fault: 'a hostile field count is allocated', tests: [REPLY],
  },
  {
    name: 'reply-rows-error-dropped', file: 'src/client/statements/reply_reader.cc',
    from: '  if (rc >= 0 && result->message_has_error) {', to: '  if (rc > 0 && result->message_has_error) {',
    fault: 'an error among dropped rows passes for success', tests: [REPLY],
  },
  // ---- client library: login ----
  {
    name: 'login-301-no-K-check', file: 'src/client/connection/login.cc',
    from: "if (recv_bytes(conn, rest, 5) && rest[4] == 'K') return LOGIN_OK;", to: 'if (recv_bytes(conn, rest, 5)) return LOGIN_OK;',
    fault: 'a 301 login answer not ending in K is accepted', tests: [LOGIN],
  },
  {
    name: 'login-quote-allowed', file: 'src/client/connection/login.cc',
    from: "    if (strchr(text, '\\'')) return v.name;", to: '    (void)text;',
    fault: 'a quote inside a login value goes into the login text', tests: [LOGIN],
  },
  {
    name: 'login-lock-timeout-sign', file: 'src/client/connection/login.cc',
    from: '{enciphered ? conn->lock_timeout > 0 : conn->lock_timeout != 0, " lock_timeout = ", lock, ""},',
    to: '{conn->lock_timeout != 0, " lock_timeout = ", lock, ""},',
    fault: 'an enciphered login sends a negative lock time-out', tests: [LOGIN],
  },
  {
    name: 'login-auto-commit-flipped', file: 'src/client/connection/login.cc',
    from: "conn->auto_commit_off == 1 ? \" auto_commit = 'off'\" : \" auto_commit = 'on'\"",
    to: "conn->auto_commit_off == 0 ? \" auto_commit = 'off'\" : \" auto_commit = 'on'\"",
    fault: 'the login asks for auto-commit off when the connection string leaves it on', tests: [LOGIN, J('connection.test.js', 'options.test.js')],
  },
  {
    name: 'login-timeout-not-restored', file: 'src/client/connection/login.cc',
    from: 'result = LOGIN_NO_ANSWER;\n  conn->link_deadline = 0;', to: 'result = LOGIN_NO_ANSWER;',
    fault: 'the link keeps the login deadline after login', tests: [LOGIN],
  },
  // ---- client library: parameters ----
  {
    name: 'params-max-position', file: 'src/client/statements/param_bind.cc',
    from: 'if (param_no > PARAM_MAX) return out_of_range(t, param_no);', to: 'if (param_no > PARAM_MAX + 1) return out_of_range(t, param_no);',
    fault: 'a parameter position one past the limit is accepted', tests: [PARAMS],
  },
  {
    name: 'params-zero-position', file: 'src/client/statements/param_bind.cc',
    from: 'if (param_no < 1) return target_error', to: 'if (param_no < 0) return target_error',
    fault: 'parameter position 0 is accepted', tests: [PARAMS],
  },
  {
    name: 'params-int16-width', file: 'src/client/statements/send_params.cc',
    from: 'case CT_INT16: return {TC_SMALLINT, 2};', to: 'case CT_INT16: return {TC_SMALLINT, 4};',
    fault: 'a 16-bit value goes out as four bytes', tests: [PARAMS],
  },
  {
    name: 'params-null-not-empty', file: 'src/client/statements/send_params.cc',
    from: 'if (form.width == EMPTY || length == 0) {', to: 'if (form.width == EMPTY) {',
    fault: 'a fixed-width value of length 0 goes out as a value, not as a null', tests: [PARAMS],
  },
  {
    name: 'params-out-length-unbounded', file: 'src/client/statements/send_params.cc',
    from: 'if (set->directions[i] != DIR_IN && length > set->sizes[i]) length = set->sizes[i] > 0 ? set->sizes[i] : 0;',
    to: '',
    fault: 'an in-out value longer than its buffer is sent past the buffer', tests: [PARAMS, C('StmtReply*')],
  },
  {
    name: 'params-lob-size-dropped', file: 'src/client/statements/send_params.cc',
    from: 'int64_t size = complete ? lob->size : 0;', to: 'int64_t size = lob ? lob->size : 0;',
    fault: 'a large object still being written is sent with its partial size', tests: [PARAMS, LOB],
  },
  // ---- client library: batches ----
  {
    name: 'batch-word-halves-swapped', file: 'src/client/statements/execute_batch.cc',
    from: 'static_cast<uint32_t>(set->array_size) << 16 | set->count', to: 'static_cast<uint32_t>(set->count) << 16 | set->array_size',
    fault: 'rows and parameters swap halves in the command word', tests: [C('ParamArray*'), J('execute_batch.test.js')],
  },
  {
    name: 'batch-65536-rows', file: 'src/client/statements/execute_batch.cc',
    from: 'set->array_size > WORD_HALF_MAX) {', to: 'set->array_size > WORD_HALF_MAX + 1) {',
    fault: 'a batch of 65536 rows overflows its half of the command word', tests: [C('ParamArray*'), J('execute_batch.test.js')],
  },
  {
    name: 'batch-count-of-insert', file: 'src/client/statements/execute_batch.cc',
    from: '(pres->result_kind == RK_UPDATE || pres->result_kind == RK_DELETE) ? pres->effect_count : 0',
    to: 'pres->result_kind != RK_ROWS ? pres->effect_count : 0',
    fault: 'a batch count is given for replies that carry none', tests: [C('ParamArray*'), J('execute_batch.test.js')],
  },
  {
    name: 'batch-block-spare', file: 'src/client/statements/send_params_array.cc',
    from: 'if (pk->off + need <= pk->size) return true;\n  if (pk->mark > 0) {', to: 'if (pk->off + need <= pk->size + 16) return true;\n  if (pk->mark > 0) {',
    fault: 'a row is packed 16 bytes past the end of its block', tests: [C('ParamArray*'), J('execute_batch.test.js')],
  },
  // ---- client library: cursors ----
  {
    name: 'cursor-full-block-drained', file: 'src/client/statements/smart_cursor.cc',
    from: '  if (cursor->result->row_count == SMART_BLOCK_ROWS) return 0;\n  return drain(cursor, conn);',
    to: '  return drain(cursor, conn);',
    fault: 'a cursor stops after its second block even when it was full', tests: [CURSOR, J('query_object.test.js', 'promise_stream.test.js')],
  },
  {
    name: 'cursor-first-block-edge', file: 'src/client/statements/smart_cursor.cc',
    from: 'if (cursor->result->row_count != SMART_BLOCK_ROWS) drain_later(cursor, conn);', to: 'if (cursor->result->row_count + 1 < SMART_BLOCK_ROWS) drain_later(cursor, conn);',
    fault: 'a first block one row short is taken for a full one', tests: [CURSOR, J('query_object.test.js')],
  },
  {
    name: 'cursor-refill-ignored', file: 'src/client/statements/smart_cursor.cc',
    from: 'if (ret != ZV_NO_MORE || !cursor->more) return ret;', to: 'if (ret != ZV_NO_MORE || cursor->more) return ret;',
    fault: 'the cursor never asks for the next block', tests: [CURSOR, J('query_object.test.js')],
  },
  {
    name: 'cursor-name-length', file: 'src/client/statements/smart_cursor.cc',
    from: 'strnlen(name, ZV_CURSOR_NAME_SIZE) < ZV_CURSOR_NAME_SIZE) return true;', to: 'strnlen(name, ZV_CURSOR_NAME_SIZE) <= ZV_CURSOR_NAME_SIZE) return true;',
    fault: 'a cursor name that fills its whole buffer is accepted unterminated', tests: [CURSOR],
  },
  {
    name: 'cursor-busy-not-set', file: 'src/client/statements/named_cursors.cc',
    from: 'if (rc >= 0 && rc < SMART_BLOCK_ROWS) conn->smart_busy = 1;', to: 'if (rc > 0 && rc < SMART_BLOCK_ROWS) conn->smart_busy = 1;',
    fault: 'an empty last block leaves the cursor to be fetched again', tests: [CURSOR],
  },
  // ---- client library: prepare ----
  {
    name: 'prepare-4000-limit', file: 'src/client/statements/prepare_reply.cc',
    from: 'param_num < 0 || param_num > PARAM_MAX) return ZV_NET_ERROR;', to: 'param_num < 0) return ZV_NET_ERROR;',
    fault: 'a PREPARE reply may describe more than 4,000 parameters', tests: [PREPARE, C('ReplyCut*')],
  },
  {
    name: 'prepare-name-length', file: 'src/client/statements/prepare_reply.cc',
    from: 'strlen(set->names[i]) > PARAM_NAME_MAX) return false;', to: 'strlen(set->names[i]) > PARAM_NAME_MAX * 4) return false;',
    fault: 'a described parameter name longer than 255 bytes is taken', tests: [PREPARE],
  },
  {
    name: 'prepare-refusal-prepared', file: 'src/client/statements/prepare_reply.cc',
    from: 'st->ret = st->end_value = ZV_SERVER_ERROR;\n  return REPLY_PEEK;', to: 'st->end_value = ZV_SERVER_ERROR;\n  return REPLY_PEEK;',
    fault: 'a refused PREPARE followed by more records counts as prepared', tests: [PREPARE],
  },
  {
    name: 'prepare-stray-letter', file: 'src/client/statements/prepare_reply.cc',
    from: 'const ReplyReader kPrepare = {kPrepareLetters, ZV_NET_ERROR, nullptr};', to: 'const ReplyReader kPrepare = {kPrepareLetters, READ_RET, nullptr};',
    fault: 'an unknown letter in a PREPARE reply passes for its end', tests: [PREPARE],
  },
  // ---- client library: conversion ----
  {
    name: 'convert-leap-century', file: 'src/client/results/calendar.cc',
    from: 'static bool leap(int64_t y) { return y % 400 == 0 || (y % 4 == 0 && y % 100 != 0); }',
    to: 'static bool leap(int64_t y) { return y % 4 == 0; }',
    fault: 'every fourth year is a leap year, 1900 and 2100 too', tests: [CONVERT],
  },
  {
    name: 'convert-int32-text-clamp', file: 'src/client/results/field_access.cc',
    from: '  return static_cast<int32_t>(n > INT32_MAX ? INT32_MAX : n);', to: '  return static_cast<int32_t>(n);',
    fault: 'a text of 2147483648 read as int32 wraps to a negative number', tests: [CONVERT],
  },
  {
    name: 'convert-bigint-as-int32', file: 'src/client/results/field_access.cc',
    from: 'if (type == TC_BOOL || (is_integer_type(type) && type != TC_BIGINT))', to: 'if (type == TC_BOOL || is_integer_type(type))',
    fault: 'a BIGINT read as int32 is taken from its first four bytes', tests: [CONVERT],
  },
  {
    name: 'convert-interval-minutes', file: 'src/client/results/value_text.cc',
    from: 'client_sprintf(buff, VALUE_TEXT_SIZE, "%d:%02d", v / 60, v % 60);', to: 'client_sprintf(buff, VALUE_TEXT_SIZE, "%d:%d", v / 60, v % 60);',
    fault: 'an hour-minute interval loses the zero of its minutes', tests: [CONVERT, J('text_values.test.js')],
  },
  {
    name: 'convert-bool-text', file: 'src/client/results/value_text.cc',
    from: 'v[0] == \'F\' ? "F" : v[0] == \'T\' ? "T" : "UNKNOWN"', to: 'v[0] == \'T\' ? "T" : "F"',
    fault: 'a boolean of neither T nor F reads as false', tests: [CONVERT],
  },
  {
    name: 'convert-time-tz-short', file: 'src/client/results/value_text.cc',
    from: '      if (len >= 6) time_tz_text(v, buff);', to: '      time_tz_text(v, buff);',
    fault: 'a cut time-with-zone value is read past its end', tests: [CONVERT, C('ReplyCut*')],
  },
  // ---- client library: large objects ----
  {
    name: 'lob-read-pos-chunk', file: 'src/client/results/lob.cc',
    from: '  int64_t offset = lob->read_pos % LOB_CHUNK_SIZE;', to: '  int64_t offset = 0;',
    fault: 'reading from a position inside a chunk starts at the chunk front', tests: [LOB],
  },
  {
    name: 'lob-read-pos-past-end', file: 'src/client/results/lob.cc',
    from: '  if (pos >= 0 && pos <= lob->size) {', to: '  if (pos >= 0 && pos <= lob->size + 1) {',
    fault: 'a read position past the end of the object is accepted', tests: [LOB],
  },
  {
    name: 'lob-read-more-than-left', file: 'src/client/results/lob.cc',
    from: '  int64_t n = length < left ? length : left;', to: '  int64_t n = length;',
    fault: 'a read asks for more bytes than the object has left', tests: [LOB],
  },
  {
    name: 'lob-fetch-F-error', file: 'src/client/statements/lob_fetch.cc',
    from: "if (ch == 'E' || ch == 'F') return recv_fetch_error(conn, lob);", to: "if (ch == 'E') return recv_fetch_error(conn, lob);",
    fault: 'an F answer to a large-object fetch is not read as an error', tests: [LOB, REPLY],
  },
  // ---- client library: cipher ----
  {
    name: 'cipher-refill-late', file: 'src/client/connection/link_cipher.cc',
    from: 'if (ctx->counter == LINK_REFILL) {', to: 'if (ctx->counter == LINK_REFILL + TURING_BATCH) {',
    fault: 'the keystream is refilled one batch too late', tests: [CIPHER, J('enciphered.test.js')],
  },
  {
    name: 'cipher-recv-tries', file: 'src/client/connection/wire.cc',
    from: 'int tries_left = conn->recv_cipher ? 1 : RECV_TRIES;', to: 'int tries_left = RECV_TRIES;',
    fault: 'an enciphered link tries a failed read again', tests: [CIPHER, WIRE],
  },
  {
    name: 'cipher-send-key-words', file: 'src/client/connection/link_cipher.cc',
    from: 'conn->send_cipher = keyed_context(key, len);', to: 'conn->send_cipher = keyed_context(key, len / 4);',
    fault: 'the send direction is keyed with the key length in words, not bytes', tests: [CIPHER],
  },
  {
    name: 'cipher-login-block-round', file: 'src/client/connection/login.cc',
    from: 'send_direct(conn, auth_str, (n + LINK_BLOCK - 1) / LINK_BLOCK * LINK_BLOCK + LINK_KEY_SIZE);',
    to: 'send_direct(conn, auth_str, n / LINK_BLOCK * LINK_BLOCK + LINK_KEY_SIZE);',
    fault: 'the last partial block of the enciphered login text is not sent', tests: [CIPHER],
  },
  // ---- client library: fail-over ----
  {
    name: 'failover-stops-after-first', file: 'src/client/connection/open_ips.cc',
    from: '    if (list->remaining < 2) {', to: '    if (list->remaining > 0) {',
    fault: 'the walk ends at the first server that refuses the connection', tests: [FAILOVER, J('pool.test.js')],
  },
  {
    name: 'failover-no-strike', file: 'src/client/connection/open_ips.cc',
    from: '    strike_server(list);\n', to: '',
    fault: 'an unreachable server is not struck and is tried again', tests: [FAILOVER, J('pool.test.js')],
  },
  {
    name: 'failover-login-refusal-walks', file: 'src/client/connection/open_ips.cc',
    from: '    if (linked && login != LOGIN_NO_ANSWER) break;', to: '    if (linked && login == LOGIN_OK) break;',
    fault: 'a server that refuses the login is skipped like an unreachable one', tests: [FAILOVER, J('pool.test.js')],
  },
  {
    name: 'failover-position-kept', file: 'src/client/connection/open_ips.cc',
    from: 'if (pos > 1 && list && list->remaining > 0) {', to: 'if (pos > 0 && list && list->remaining > 0) {',
    fault: 'position 1 keeps the old list instead of starting a new one', tests: [FAILOVER],
  },
  {
    name: 'failover-ips-lowercase', file: 'src/client/connection/conn_string.cc',
    from: 'if (strstr(item, "IPS=") || strstr(item, "ips=")) {', to: 'if (strstr(item, "IPS=")) {',
    fault: 'a lower-case ips= list is not read', tests: [FAILOVER, C('ConnString*')],
  },
  // ---- binding ----
  {
    name: 'binding-int32-clamp', file: 'src/binding/param_values.cc',
    from: 'put_raw(static_cast<int32_t>(n > INT32_MAX ? INT32_MAX : n), out);', to: 'put_raw(static_cast<int32_t>(n), out);',
    fault: 'an unsigned value above the int32 range wraps negative', tests: [J('parameters.test.js', 'query.test.js')],
  },
  {
    name: 'binding-bool-bound-as-true', file: 'src/binding/param_values.cc',
    from: 'out->push_back(v->IsTrue() ? 1 : 0);', to: 'out->push_back(1);',
    fault: 'false is bound as true', tests: [J('parameters.test.js', 'query.test.js')],
  },
  {
    name: 'binding-named-before-index', file: 'src/binding/param_values.cc',
    from: '    if (!found->IsUndefined()) return found;\n', to: '',
    fault: 'a named value is looked up by index only', tests: [J('parameters.test.js', 'query_object.test.js', 'querymany.test.js')],
  },
  {
    name: 'binding-query-too-many-args', file: 'src/binding/query_method.cc',
    from: 'if (args.Length() > 3) return throw_type_error(isolate, "Wrong arguments number"), false;\n  if (args[0]->IsUndefined())',
    to: 'if (args.Length() > 4) return throw_type_error(isolate, "Wrong arguments number"), false;\n  if (args[0]->IsUndefined())',
    fault: 'query takes a fourth argument', tests: [J('query.test.js')],
  },
  {
    name: 'binding-query-object-values', file: 'src/binding/query_method.cc',
    from: '  if ((*values)->IsUndefined()) *values = args[1];', to: '',
    fault: 'query({sql}, values) ignores the values beside the object', tests: [J('parameters.test.js')],
  },
  {
    name: 'binding-querymany-update-key', file: 'src/binding/querymany.cc',
    from: 'const char* key = sql_class == SQL_UPDATE ? "UPDATE EFFECTNUM" : "DELETE EFFECTNUM";', to: 'const char* key = "UPDATE EFFECTNUM";',
    fault: 'querymany reports deletes under the update key', tests: [J('querymany.test.js')],
  },
  {
    name: 'binding-querymany-select', file: 'src/binding/querymany.cc',
    from: '    if (sql_class == SQL_QUERY) return fail(run, kNoSelect);\n', to: '',
    fault: 'querymany runs a SELECT instead of refusing it', tests: [J('querymany.test.js')],
  },
  {
    name: 'binding-batch-row-offset', file: 'src/binding/batch_columns.cc',
    from: 'std::to_string(row + first)', to: 'std::to_string(row)',
    fault: 'a failing row of a later command is named by its place in that command', tests: [J('execute_batch.test.js', 'promise.test.js')],
  },
  {
    name: 'binding-batch-changed-sum', file: 'src/binding/execute_batch_method.cc',
    from: '      changed += in_flight->changed;', to: '      changed = in_flight->changed;',
    fault: 'executeBatch reports the changes of its last command only', tests: [J('execute_batch.test.js')],
  },
  {
    name: 'binding-options-port-blank', file: 'src/binding/options_string.cc',
    from: 'if (value->IsUndefined()) return strdup("5138");', to: 'if (value->IsUndefined()) return strdup("5139");',
    fault: 'a connection without a port goes to the wrong default port', tests: [J('options.test.js', 'connection.test.js')],
  },
  {
    name: 'binding-options-ips-check', file: 'src/binding/options_string.cc',
    from: '  if (strcasestr(value, "IPS=")) return "it may not contain \\"IPS=\\"";\n', to: '',
    fault: 'an option value may smuggle an IPS= list into the connection string', tests: [J('options.test.js')],
  },
  {
    name: 'binding-placeholder-run', file: 'src/binding/placeholders.cc',
    from: 'static int run_value(int k) { return k <= 2 ? 1 : 3 - k; }', to: 'static int run_value(int k) { return k; }',
    fault: 'a run of marks counts one placeholder per mark', tests: [C('Placeholders*'), J('parameters.test.js', 'query.test.js')],
  },
  {
    name: 'binding-placeholder-quoted', file: 'src/binding/placeholders.cc',
    from: '    if (*p == \'\\\'\') quoted = !quoted;\n    if (quoted || *p != \':\') {', to: '    if (*p != \':\') {',
    fault: 'a colon inside a quoted text counts as a named placeholder', tests: [C('Placeholders*'), J('parameters.test.js', 'query_object.test.js')],
  },
  {
    name: 'binding-placeholder-name-end', file: 'src/binding/placeholders.cc',
    from: 'size_t len = strcspn(p + 1, " ;),\\n\\r\\t");', to: 'size_t len = strcspn(p + 1, " ;)\\n\\r\\t");',
    fault: 'a comma does not end a placeholder name', tests: [C('Placeholders*'), J('parameters.test.js', 'query_object.test.js')],
  },
  // ---- pool ----
  {
    name: 'pool-lost-link-lent', file: 'lib/pool.js',
    from: 'err.code === codes.LINK_LOST) link.lost = true;', to: 'err.code === codes.CLOSED) link.lost = true;',
    fault: 'a link whose call lost it is lent again', tests: [J('pool.test.js')],
  },
  {
    name: 'pool-hand-transaction-kept', file: 'lib/pool.js',
    from: '    if (!this.#released) this.#link.inTransaction = true;\n', to: '',
    fault: 'a lease released inside begin() lends its open transaction to the next borrower', tests: [J('pool.test.js')],
  },
  {
    name: 'pool-lease-shared', file: 'lib/pool.js',
    from: 'if (!link.leased && !link.lost && link.uses < DEPTH', to: 'if (!link.lost && link.uses < DEPTH',
    fault: "a single call is queued on a link that a lease holds, inside the lease's transaction", tests: [J('pool.test.js')],
  },
  {
    name: 'pool-ips-first-server', file: 'lib/pool.js',
    from: 'const start = this.#turn++;', to: 'const start = 0;',
    fault: 'every new link of an "IPS=" pool starts at the first server of the list', tests: [J('pool.test.js')],
  },
  {
    name: 'pool-timed-out-waiter-kept', file: 'lib/pool.js',
    from: '        this.#waiters.splice(this.#waiters.indexOf(waiter), 1);\n', to: '',
    fault: 'a waiter that timed out stays in the queue and is lent a link no one releases', tests: [J('pool.test.js')],
  },
  {
    name: 'pool-end-early', file: 'lib/pool.js',
    from: 'if (this.#links.size === 0 && this.#drained !== null) {', to: 'if (this.#drained !== null) {',
    fault: 'end() resolves while leases are out', tests: [J('pool.test.js')],
  },
  {
    name: 'pool-collected-lease-lost', file: 'lib/pool.js',
    from: '      this.#collected.register(lease, link, lease);\n', to: '',
    fault: 'a lease dropped without release() keeps its link for good', tests: [J('pool.test.js')],
  },
  // ---- server ----
  {
    name: 'server-int32-limit', file: 'server/src/value_encoder.cc',
    from: 'case kInteger: return v >= INT32_MIN && v <= INT32_MAX;', to: 'case kInteger: return v >= INT32_MIN && v < INT32_MAX;',
    fault: 'the largest INTEGER is refused by the encoder', tests: [S('ServerTest.*Type*'), J('text_values.test.js', 'query.test.js')],
  },
  {
    name: 'server-int32-limit-dropped', file: 'server/src/value_encoder.cc',
    from: 'case kInteger: return v >= INT32_MIN && v <= INT32_MAX;', to: 'case kInteger: return true;',
    fault: 'an INTEGER column value beyond int32 is cut to four bytes', tests: [S('ServerTest.*Type*'), J('text_values.test.js', 'query.test.js')],
  },
  {
    name: 'server-smallint-width', file: 'server/src/value_encoder.cc',
    from: '    case kSmallInt: return 2;', to: '    case kSmallInt: return 4;',
    fault: 'a SMALLINT goes out four bytes wide', tests: [S('ServerTest.*Type*'), J('text_values.test.js', 'query.test.js')],
  },
  {
    name: 'server-bool-letter', file: 'server/src/value_encoder.cc',
    from: "out_.letter(b ? 'T' : 'F');", to: "out_.letter(b ? 'T' : '0');",
    fault: 'false goes out as 0 instead of F', tests: [S('ServerTest.*Type*'), J('text_values.test.js')],
  },
  {
    name: 'server-update-count', file: 'server/src/statement_runner.cc',
    from: "    out.letter('U');\n    out.int32(sqlite3_changes(db_));", to: "    out.letter('U');\n    out.int32(1);",
    fault: 'an UPDATE reports one changed row whatever it changed', tests: [S('ServerTest.Each*'), J('query.test.js')],
  },
  {
    name: 'server-login-password-case', file: 'server/src/session.cc',
    from: 'request.password != options_.password) {', to: '!iequals(request.password, options_.password)) {',
    fault: 'a password is compared without regard to case', tests: [S('ServerTest.Login*'), J('connection.test.js')],
  },
  {
    name: 'server-login-no-database', file: 'server/src/login.cc',
    from: 'saw_database = saw_database || c.key == "database";', to: 'saw_database = true;',
    fault: 'a login text without a database clause is accepted', tests: [S('ServerTest.Login*:ServerTest.*Login*')],
  },
  {
    name: 'server-command-text-limit', file: 'server/src/command_reader.cc',
    from: 'if (len > limits.text_max) return CommandRead::kTextTooLong;', to: 'if (len > limits.text_max + 1) return CommandRead::kTextTooLong;',
    fault: 'a statement text one byte over the limit is read', tests: [S('ServerTest.*Limit*:ServerTest.ACommand*')],
  },
  {
    name: 'server-parameter-count', file: 'server/src/parameter_binding.cc',
    from: 'if (params.count() != static_cast<size_t>(placeholders)) {', to: 'if (params.count() > static_cast<size_t>(placeholders)) {',
    fault: 'too few parameters for the placeholders are bound as nulls', tests: [S('ServerTest.Parameters*:ServerTest.*Parameter*'), J('parameters.test.js')],
  },
  {
    name: 'server-prepare-position', file: 'server/src/prepared_statements.cc',
    from: '    out.int32(i);\n    out.int32(kChar);', to: '    out.int32(i - 1);\n    out.int32(kChar);',
    fault: 'a described parameter gives its position from 0', tests: [S('ServerPreparedTest.*'), PREPARE],
  },
  {
    name: 'server-keystream-refill', file: 'server/src/link_keystream.cc',
    from: 'if (++used_ == kUsesPerBatch * Turing::kBatch) {', to: 'if (++used_ == kUsesPerBatch * Turing::kBatch + 1) {',
    fault: "the server's keystream is refilled a byte late", tests: [S('ServerLinkKeystream*:ServerTest.*Encipher*'), J('enciphered.test.js')],
  },
  {
    name: 'server-lob-fetch-negative', file: 'server/src/lob_fetch.cc',
    from: 'out.offset >= 0 && parse_int64(w[6], out.limit) && out.limit >= 0;', to: 'parse_int64(w[6], out.limit) && out.limit >= 0;',
    fault: 'a large-object fetch at a negative offset is served', tests: [S('ServerTest.LargeObjects*'), LOB],
  },
  {
    name: 'server-lob-reference-not-copied', file: 'server/src/row_references.cc',
    from: '  reg.changes.fetch_add(1);\n  if (reg.count.load() == 0) return;', to: '  reg.changes.fetch_add(1);\n  return;',
    fault: 'a change to a row whose large object is kept by reference keeps no copy of the old value',
    tests: [S('ServerTest.LargeObjectsKept*')],
  },
  {
    name: 'server-lob-reference-offset', file: 'server/src/piece_reader.cc',
    from: 'static_cast<int>(start_ + index * piece_)', to: 'static_cast<int>(index * piece_)',
    fault: 'a large object kept by reference is read from its first byte whatever the offset fetched',
    tests: [S('ServerTest.LargeObjectsKept*')],
  },
  {
    name: 'server-lob-reference-schema', file: 'server/src/sandbox.cc',
    from: '  if (changes_schema(action, database)) copy_all_references', to: '  if (false) copy_all_references',
    fault: 'a large object kept by reference is not copied before its table is dropped',
    tests: [S('ServerTest.LargeObjectsKept*')],
  },
  {
    name: 'server-lob-unread-next-row', file: 'server/src/result_stream.cc',
    from: '  if (state_ == SQLITE_ROW) keep_unread(encoder);', to: '  if (false) keep_unread(encoder);',
    fault: 'a large blob that a cursor left unread in the row after a block is kept only once that row is sent, after commands that changed it',
    tests: [S('ServerTest.LargeObjectsKept*')],
  },
  {
    name: 'server-lob-unread-copy', file: 'server/src/value_encoder.cc',
    from: '{ return read_row_value(db, blob.table, blob.column, rowid, n, into); }', to: '{ return into != nullptr; }',
    fault: 'a large blob left unread whose row cannot be referenced is kept as a copy never filled',
    tests: [S('ServerTest.LargeObjectsKept*')],
  },
  {
    name: 'server-batch-savepoint', file: 'server/src/batch_runner.cc',
    from: 'if (sqlite3_exec(db, "SAVEPOINT zanvo_batch", nullptr, nullptr, nullptr) != SQLITE_OK) {',
    to: 'if (sqlite3_exec(db, "SELECT 1", nullptr, nullptr, nullptr) != SQLITE_OK) {',
    fault: 'the rows before a failing row of a batch stay', tests: [S('ServerTest.AFailingRow*'), J('execute_batch.test.js')],
  },
  // ---- Promise API: rows in parts, streams ----
  {
    name: 'promise-parts-dropped', file: 'lib/connection.js',
    from: '    this.#parts[this.#end++] = handle;', to: '    if (last) this.#parts[this.#end++] = handle;',
    fault: "only the last part of a query's rows reaches its array", tests: [J('promise_stream.test.js')],
  },
  {
    name: 'stream-cursor-left-open', file: 'lib/row_stream.js',
    from: '    if (!this.#cursorOpen || this.#conn.closed) return;', to: '    return;',
    fault: 'a stream left early keeps its cursor on the server', tests: [J('promise_stream.test.js')],
  },
  {
    name: 'stream-two-ahead', file: 'lib/row_stream.js',
    from: '      this.#ahead = this.#fetch();',
    to: '      this.#ahead = this.#fetch();\n      if (this.blocksRead === 1) this.#fetch();',
    fault: 'a stream fetches a second block ahead of the one in hand', tests: [J('promise_stream.test.js')],
  },
  {
    name: 'cursor-held-close-never-sent', file: 'src/client/statements/smart_cursor.cc',
    from: '    if (send_flush(conn) < 0) drop_link(conn);', to: '',
    fault: 'a CLOSE held for the next command is never sent when the link goes idle', tests: [CURSOR],
  },
  {
    name: 'server-busy-wait-unbounded', file: 'server/src/write_turns.cc',
    from: '  if (now >= deadline) return 0;\n', to: '',
    fault: 'a connection waits for a write lock held elsewhere past its busy timeout', tests: [S('ServerTest.ALockHeldByAnotherConnection*')],
  },
  {
    name: 'sync-idle-handle-left-open', file: 'src/binding/idle_closes.cc',
    from: '    cleanup_hook = node::AddEnvironmentCleanupHook(isolate, close_idle, nullptr).release();\n', to: '',
    fault: "the handle that sends held CLOSEs is left open when a worker ends, which aborts the process", tests: [J('query.test.js')],
  },
  {
    name: 'exchange-thread-outlives-worker', file: 'src/binding/exchange_thread.cc',
    from: '  cleanup_ = node::AddEnvironmentCleanupHook(isolate, on_teardown, this).release();\n', to: '',
    fault: "a Promise connection left open keeps its handle past its worker's end, which aborts the process", tests: [J('query.test.js')],
  },
  {
    name: 'sync-held-close-kept-while-idle', file: 'src/binding/idle_closes.cc',
    from: '  uv_idle_start(idle, send_held);', to: '',
    fault: "a synchronous link's held CLOSE waits for the next command however long the script idles", tests: [J('query.test.js')],
  },
  {
    name: 'promise-held-close-kept-while-idle', file: 'src/binding/exchange_thread.cc',
    from: '        ZVC_SendHeld(&link_);\n', to: '',
    fault: "a Promise connection's held CLOSE waits for the next statement however long the connection idles", tests: [J('query.test.js')],
  },
  {
    name: 'cursor-held-close-reply-late', file: 'src/client/statements/exchange.cc',
    from: '  if (unread) settle_close(conn);', to: '',
    fault: 'the reply of a CLOSE sent with the next command is left unread, so that command reads it as its own', tests: [CURSOR, J('promise.test.js')],
  },
  {
    name: 'run-refusal-replies-unread', file: 'src/client/statements/smart_cursor.cc',
    from: '    drop_replies(conn, unread);', to: '    drop_replies(conn, 0);',
    fault: "a refused query's trailing replies are left unread, so the next query of the run reads them as its own",
    tests: [CURSOR, J('promise.test.js')],
  },
  {
    name: 'run-closes-first-only', file: 'src/client/statements/smart_cursor.cc',
    from: 'i < count && !conn->out_of_step; i++) settle_one', to: 'i < 1 && !conn->out_of_step; i++) settle_one',
    fault: "of a run's CLOSEs only the first reply is read, so the next command reads the others as its own",
    tests: [CURSOR, J('promise.test.js')],
  },
  {
    name: 'run-refusal-text-lost', file: 'src/client/statements/query_run.cc',
    from: '      if (queries[i].code < 0) take_error(cursors[i], conn);\n', to: '',
    fault: "a query refused in a run loses the server's text to the queries read after it",
    tests: [CURSOR, J('promise.test.js')],
  },
  {
    name: 'run-statement-text-lost', file: 'src/client/statements/query_run.cc',
    from: '  set_result_message(*head, conn->error_text);\n', to: '',
    fault: "an insert or update refused in a run loses the server's text to the statements read after it",
    tests: [CURSOR, J('promise.test.js')],
  },
  {
    name: 'run-write-behind-select', file: 'src/binding/exchange_thread.cc',
    from: ' || (reads && writes)) break;', to: ') break;',
    fault: "a delete goes out behind a select of its run, whose later blocks then miss the rows it deleted",
    tests: [J('promise.test.js')],
  },
  {
    name: 'tx-stream-waits-for-itself', file: 'lib/connection.js',
    from: 'link.openCursor(sql, checked, cursor, blockRows, done), sql, false, inTransaction));',
    to: 'link.openCursor(sql, checked, cursor, blockRows, done), sql, false, false));',
    fault: "a transaction's stream waits for the transaction to end, which waits for the stream", tests: [J('promise_stream.test.js')],
  },
  {
    name: 'pool-notices-dropped', file: 'lib/pool.js',
    from: "    conn.on('notice', (notice) => this.emit('notice', notice));\n", to: '',
    fault: "the lines of a pool's links reach no listener", tests: [J('pool.test.js')],
  },
];
