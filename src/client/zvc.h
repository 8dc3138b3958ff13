// The client library's call surface. Every call returns a signed 32-bit code: 0 or above
// is success; a failing call leaves its text on the handle at hand (ZVC_GetErrorText).
// Calls take the address of the caller's handle variable, so that closing calls can null it.
#pragma once
#include <cstdint>

struct ConnRecord;
struct LobHandle;
struct ParamSet;
struct ServerList;

// The first word of every record a handle points at.
enum HandleTag : int32_t {
  HT_CONN = 1,
  HT_PARAMS = 2,
  HT_RESULT = 4,
  HT_LOB = 5,
  HT_SMART_CURSOR = 6,
};

// Return codes. 0 and above is success; each failure leaves its text on the handle at hand.
enum ZvcCode : int32_t {
  ZV_OK = 0,
  ZV_SERVER_ERROR = -1,
  ZV_BAD_HANDLE = -3,  // also: an unknown attribute
  ZV_NET_ERROR = -4,
  ZV_NO_MEMORY = -5,
  ZV_SOCKET_FAILED = -8,
  ZV_BIND_TABLE = -8,  // an array bound with a direction other than input
  ZV_LOGIN_FAILED = -9,
  ZV_NULL_VALUE = -11,
  ZV_TRUNCATED = -12,
  ZV_NO_CONVERSION = -13,
  ZV_BAD_COLUMN = -15,
  ZV_BAD_CONN_STRING = -16,  // a connection string refused before anything is sent ("[EC016]...")
  ZV_BAD_OFFSET = -18,         // a piece read that starts past the value's end
  ZV_BIND_RANGE = -51,         // a position (or array size) out of range
  ZV_BIND_DIRECTION = -52,     // a direction other than 1, 2, 3, 6
  ZV_BIND_NAME_TWICE = -53,    // an array bound twice under one name
  ZV_BIND_POSITION = -54,      // a position below 1
  ZV_BIND_JUMP = -55,          // a position too far past the bound ones
  ZV_OUT_NEEDS_PARAMS = -56,   // output values reached a call that bound none
  ZV_BATCH_WORD = -57,         // a batch whose rows do not fit its command word (1 to 65535)
  ZV_BIND_TYPE = -58,          // an array of a type that cannot be walked
  ZV_OUT_UNBOUND = -59,        // an output value without a parameter bound for it
  ZV_NO_SERVER_LIST = -3,      // ZVC_OpenConnectionIPS on a string without "IPS="
  ZV_OPENED = 2,               // ZVC_OpenConnection's success
  ZV_NO_MORE = 100,
};

// The wire's type codes, as they arrive in field descriptions.
enum TypeCode : int32_t {
  TC_UNTYPED = 1,
  TC_BOOL = 2,
  TC_TINYINT = 3,
  TC_SMALLINT = 4,
  TC_INTEGER = 5,
  TC_BIGINT = 6,
  TC_NUMERIC = 7,
  TC_FLOAT = 8,
  TC_DOUBLE = 9,
  TC_DATE = 10,
  TC_TIME = 11,
  TC_TIME_TZ = 12,
  TC_DATETIME = 13,
  TC_DATETIME_TZ = 14,
  TC_INTERVAL_YEAR = 15,
  TC_INTERVAL_YEAR_MONTH = 16,
  TC_INTERVAL_MONTH = 17,
  TC_INTERVAL_DAY = 18,
  TC_INTERVAL_DAY_HOUR = 19,
  TC_INTERVAL_HOUR = 20,
  TC_INTERVAL_DAY_MINUTE = 21,
  TC_INTERVAL_HOUR_MINUTE = 22,
  TC_INTERVAL_MINUTE = 23,
  TC_INTERVAL_DAY_SECOND = 24,
  TC_INTERVAL_HOUR_SECOND = 25,
  TC_INTERVAL_MINUTE_SECOND = 26,
  TC_INTERVAL_SECOND = 27,
  TC_OPAQUE28 = 28,
  TC_OPAQUE29 = 29,
  TC_CHAR = 30,
  TC_OPAQUE31 = 31,
  TC_CLOB = 32,
  TC_BINARY = 33,
  TC_BLOB = 34,
  TC_OPAQUE45 = 45,
  TC_CLOB47 = 47,
  TC_TEXT48 = 48,
  TC_TEXT60 = 60,
  TC_CLOB64 = 64,
  TC_EMPTY1008 = 1008,  // what a parameter of CType 58 is sent as
  TC_ARRAY_BASE = 10000,  // codes above it are arrays of (code - 10000)
};

// The type numbers that callers give to ZVC_GetData and read from ZVC_GetColumnType.
enum CType : int32_t {
  CT_BOOL = 1,  // boolean or small integer into an int32
  CT_TEXT = 2,
  CT_BYTE = 3,
  CT_INT16 = 4,
  CT_INT32 = 5,
  CT_INT64 = 6,
  CT_FLOAT = 7,
  CT_DOUBLE = 8,
  CT_NUMERIC = 9,  // numeric text, raw
  CT_DATE = 10,    // 10 to 14: text of the date and time types
  CT_TIME = 11,
  CT_TIME_TZ = 12,
  CT_DATETIME = 13,
  CT_DATETIME_TZ = 14,
  CT_BINARY = 15,  // binary into a bounded buffer
  CT_PIECE = 18,   // binary or text piece by piece
  CT_INTERVAL = 21,
  CT_EPOCH_MS = 23,  // TC_DATETIME as int64 milliseconds
  CT_YEAR_MONTH = 28,
  CT_DAY_SECOND = 31,
  CT_CLOB = 41,
  CT_BLOB = 42,
  CT_CLOB43 = 43,
  CT_CLOB44 = 44,
  CT_TEXT45 = 45,  // 45 to 57: the text codes 48 to 60
  CT_TEXT62 = 62,  // text, in an array behind an int32 length prefix as 2
  CT_BYTE63 = 63,
  CT_OPAQUE69 = 69,
  CT_LOB_BINARY = 40,  // a binary large object to send, as 42
  CT_EMPTY58 = 58,     // sent as type code 1008 without a value
  CT_ARRAY_BASE = 10000,
};

// The classes of ZVC_ClassifySql: which call a statement text wants.
enum SqlClass : int32_t {
  SQL_INSERT = 1,
  SQL_UPDATE = 2,
  SQL_DELETE = 3,
  SQL_QUERY = 4,
  SQL_CREATE = 5,
  SQL_ALTER = 6,
  SQL_OTHER = 9,
  SQL_CALL = 10,
};

// Connection
// Connecting and logging in share one deadline of CONNECT_TIMEOUT milliseconds (10000 by default;
// 0 for none), however the server answers. A connection string with an item of 128 bytes or
// more, a keyword or value of 64 or more, or a value too long for its field (IP 31 bytes) is
// refused before anything is sent, here, in ZVC_Reconnect and in ZVC_OpenConnectionIPS alike:
// ZV_BAD_CONN_STRING with "[EC016]Connection string refused: the value of PWD may have 63 bytes at
// most" or the like. A login text the client refuses itself keeps its own text ("[EC0193]...",
// "[EC0194]...") with -9; any other failed login gives -9 with the call's generic text.
int32_t ZVC_OpenConnection(const char* conn_string, ConnRecord** out);
// The same check of a connection string alone, with nothing opened: 0 (text empty), or
// ZV_BAD_CONN_STRING with the refusal's text in text (cap bytes); -3 for a null string.
int32_t ZVC_CheckConnString(const char* conn_string, char* text, int32_t cap);
int32_t ZVC_CloseConnection(ConnRecord** handle);
int32_t ZVC_Reconnect(ConnRecord** handle);
// Where the lines the library prints go: each whole line (its line end included) is handed to
// hook with context, on the thread of the call that prints it. A null hook restores the default,
// standard output. SILENT=on in the connection string drops every line. 0, or -3 for a bad handle.
typedef void (*NoticeHook)(void* context, const char* line);
int32_t ZVC_SetNoticeHook(ConnRecord* conn, NoticeHook hook, void* context);
// The hook for the lines of connections without a hook of their own on the calling thread: those
// that an open call prints while it reads the connection string, before its caller can set one.
// A null hook restores standard output.
void ZVC_SetThreadNoticeHook(NoticeHook hook, void* context);
// Hands line to the notice hook of the connection that handle (a connection, a result or a
// smart cursor) belongs to, as the library's own lines are; nothing when it belongs to none.
void ZVC_Notice(void** handle, const char* line);
// Opens a connection to one of the servers of the string's "IPS=" item (all on its one PORT),
// trying each live server at most once and striking out, in the caller's working list *state,
// those that cannot be reached. position above 1 with a list goes on at index position modulo
// the live count; -1, 0, 1 (and, taken as 0, anything below -1) or no list build a new working
// list with a random start. Building frees the list *state held, so *state must be null or a
// list from this call.
// Returns 0; -3 (no record) when conn_string, state or out is null; ZV_NO_SERVER_LIST with
// "[EC015]IPS Connect needs an IPS= server list" when the string has no "IPS="; -8 when no
// server could be reached; -9 when one answered but refused the login, which ends the search. A
// server that accepts but does not finish the login within CONNECT_TIMEOUT counts as unreachable
// and the next is tried (the last one's silence gives -9).
// Whenever a record is made it is in *out, with the reason of a failure, to close as usual.
int32_t ZVC_OpenConnectionIPS(const char* conn_string, int position, ServerList** state, ConnRecord** out);
int32_t ZVC_GetError(void** handle, char* code_out, char* text_out);
// The handle's error text into buffer, which holds ZV_ERROR_TEXT_SIZE bytes: a longer text is cut
// to its first ZV_ERROR_TEXT_SIZE - 1 bytes and gives -12, else 0. Either way the buffer ends
// with a NUL and *length_out (when not null) gets the whole text's length, ZVC_GetErrorLength's.
// A smart cursor's text is its own, that of its failed refill, CLOSE or attribute read.
enum { ZV_ERROR_TEXT_SIZE = 1024 };
int32_t ZVC_GetErrorText(void** handle, char* buffer, int32_t* length_out);
int32_t ZVC_GetErrorLength(void** handle);

// Direct execution. Row ids are kept to 31 bytes: a reply whose row id is longer keeps its first
// 31, and the call gives -12 in place of its success with "[EC0108]Error row id of <n> bytes cut
// to its first 31\n" in error_text; the rest of the reply is read as usual.
int32_t ZVC_ClassifySql(const char* text);
int32_t ZVC_ExecNoQuery(ConnRecord** handle, const char* sql);
// One value into value_buf (value_cap bytes): a row id or a first column as text, or a count as
// an int32. A text that does not fit is cut inside the buffer and 100 is added to *type_out.
int32_t ZVC_ExecScalar(ConnRecord** handle, const char* sql, void* value_buf, int32_t value_cap, int32_t* type_out);
int32_t ZVC_Execute(ConnRecord** handle, const char* sql, void** result_out, int32_t* field_count_out,
                    int32_t* row_count_out, int32_t* effect_out);

// Parameters of the next statement. A connection handle works on the connection's own set (made
// at the first bind and released when the statement has gone out); a set handle on that set.
// Input values are copied at bind time; output buffers are written by the reply and must outlive
// the exchange.
int32_t ZVC_NewParamSet(ParamSet** handle_out);
int32_t ZVC_AttachParams(ConnRecord** conn_handle, ParamSet** set_handle);
int32_t ZVC_ClearParams(void** handle);
int32_t ZVC_BindParamByPos(void** handle, int32_t param_no, int32_t direction, int32_t type, void* value, int32_t size,
                           int32_t* length_ptr);
int32_t ZVC_BindParamByName(void** handle, const char* name, int32_t direction, int32_t type, void* value,
                            int32_t size, int32_t* reserved, int32_t* length_ptr);
// Arrays of input values, one per row, for ZVC_ExecuteBatch. values is the column's block:
// fixed-size values one after the other (copied now); for types 2 and 62 values behind an int32
// length prefix and for 15 rows of lengths[row] + 4 bytes (buf_size bytes, copied now, 15 only by
// position); for 9 rows of lengths[row] bytes in a block of array_size * 41 (copied now); for 10,
// 11, 13 rows of lengths[row] bytes in a block of buf_size bytes that must outlive the exchange.
// lengths holds array_size ints: 0 or below is a null. param_num fixes the set's slots at the
// first bind (0 or -1: 128), and every later bind must have the same array_size; a row whose value
// would run past its block gives -51. Input only: direction 6 is skipped, 2 and 3 give -8.
int32_t ZVC_BindParamArrayByPos(void** handle, int32_t param_no, int32_t param_num, int32_t direction, int32_t type,
                                int32_t array_size, void* values, int32_t buf_size, const int32_t* lengths);
int32_t ZVC_BindParamArrayByName(void** handle, const char* name, int32_t param_num, int32_t direction, int32_t type,
                                 int32_t array_size, void* values, int32_t buf_size, const int32_t* lengths);
// Runs sql once for each of the array_count rows (1 to 65535, else -57) of the array-bound
// parameters, in one command and one reply: 0, or -1 with the server's text when a row failed and
// the whole batch was rolled back. The set stays on the connection, emptied: the next batch binds
// anew.
int32_t ZVC_ExecuteBatch(ConnRecord** handle, const char* sql, int32_t array_count);
// ZVC_ExecuteBatch that also writes to *changed_out (when not null) the rows the server's one
// record counts as changed or deleted: 0 after a failure or a reply without a count.
int32_t ZVC_ExecuteBatchCount(ConnRecord** handle, const char* sql, int32_t array_count, int32_t* changed_out);
// Runs a text whose parameters include output values or a return value; a result it brings goes
// to *result_out with all its rows, and its row count is the call's result (a reply without rows
// gives 0, or 1 after a server warning or message). -12 when an output value was cut to its
// buffer, -59 when no parameter was bound for one, -1 with the server's text, -4 when the link
// failed.
int32_t ZVC_ExecuteOut(ConnRecord** handle, const char* sql, void** result_out);

// Prepared statements. Generated names are "STC" and a per-connection counter; every name a
// call takes or writes fits ZV_STMT_NAME_SIZE bytes with its NUL, and a longer one gives -3.
enum { ZV_STMT_NAME_SIZE = 20 };
// Prepares sql on the server. With name_buf (ZV_STMT_NAME_SIZE bytes) under a fresh name written
// there; without, as the connection's default statement, replacing the one that stands. 19665
// when the statement will bring rows (their fields wait on the connection), 0 when not; when it
// has placeholders, values are bound by name or position into the set it described.
int32_t ZVC_Prepare(ConnRecord** handle, const char* sql, char* name_buf);
// Deallocates the named statement, or with a null name the default one.
int32_t ZVC_UnPrepare(ConnRecord** handle, const char* name);
// Runs a prepared statement with the parameters bound for it: the named one, or with a null name
// the default one; its rows or counts go to *result_out (freed when result_out is null).
// With cursor_buf (ZV_CURSOR_BUF_SIZE bytes) the statement is declared as the cursor
// "<name>_CUR", written there, and opened, for ZVC_FetchCursor; *result_out gets what the DECLARE
// brought. A refused DECLARE gives -1 with "sql:<text> errinfo: <server's text> \n"; a refused
// OPEN gives -1 (a failed link -4) with the server's text, the declared cursor left to close.
int32_t ZVC_Execute2(ConnRecord** handle, const char* prepare_name, char* cursor_buf, void** result_out);

// Cursors. A query of ZVC_Execute comes back as a handle of kind 6 that reads like a result and
// fetches its rows from a server cursor 20000 at a time behind ZVC_NextRow; ZVC_CloseResult closes
// it (a failed refill gives its code, with its text on the cursor; rows past it are lost). A block
// of more than 20000 rows is a broken reply: -4 with "[EC073]..." and the link dropped. A short
// first block sends its CLOSE at once and the next exchange on the link reads the reply; reading
// the cursor's error or attributes reads it first, and a refusal of a cursor already closed goes
// to the notice hook. Named
// cursors are driven by the caller. Every name fits ZV_CURSOR_NAME_SIZE bytes with its NUL: a longer or empty one gives -3
// with "[EC071]..." in error_text, and nothing goes out.
enum { ZV_CURSOR_NAME_SIZE = 64, ZV_CURSOR_BUF_SIZE = ZV_STMT_NAME_SIZE + 4 };
// Declares sql (with the connection's parameters) as the cursor cursor_name and opens it; what
// the DECLARE brought goes to *result_out and its field count to *field_count_out. -1 with the
// server's text when DECLARE or OPEN was refused.
int32_t ZVC_DeclareCursor(ConnRecord** handle, const char* sql, const char* cursor_name, void** result_out,
                          int32_t* field_count_out);
// The next 20000 rows of the cursor into one new record in *result_io (the record it held is
// freed); returns their number. A short block marks the cursor read to its end: later fetches
// give -1 with "[EC072]..." and ZVC_CloseCursor sends nothing, until the next cursor is declared.
// A reply of more rows drops the link: -4 with "[EC073]Error the server sent more rows than the
// 20000 a FETCH asked for\n" in error_text, and *result_io keeps the record it held.
int32_t ZVC_FetchCursor(ConnRecord** handle, const char* cursor_name, void** result_io);
// The next *count_ptr rows of the cursor into *result_out, with their field and row counts: 0.
// A failure sets both counts to 0 and leaves *result_out as it was: -3 for a missing or negative
// count or a bad name, -1 with the server's text in error_text when it refused the FETCH, -4 when
// the link failed or the server sent more rows than asked for ("[EC073]...", the link dropped),
// -5 when memory ran out.
int32_t ZVC_FetchCount(ConnRecord** handle, const char* cursor_name, void** result_out, int32_t* field_count_out,
                       int32_t* row_count_out, const int32_t* count_ptr);
// Closes the cursor: 0, -1 with "[EC027]Error :<server's text> Close Cursor <name>  \n", -4.
int32_t ZVC_CloseCursor(ConnRecord** handle, const char* cursor_name);
// 1: a short first block's CLOSE waits in the send buffer and goes out with the link's next
// command, its reply read ahead of that command's, so that a run of short selects costs one
// write and one wake of the server each; 0 (the default): it goes out at once. A link that holds
// its CLOSEs must have ZVC_SendHeld called whenever it has nothing more to send: hook, when not
// null, is called with context each time a CLOSE starts to wait, on the thread of the statement
// and with the link locked (it must not call into the link), so that its owner can arrange that.
typedef void (*HeldHook)(void* context);
int32_t ZVC_HoldCloses(ConnRecord** handle, int32_t on, HeldHook hook, void* context);
// Sends a held CLOSE without waiting for its reply, which the link's next exchange reads ahead
// of its own: 0, or -4 when the link failed.
int32_t ZVC_SendHeld(ConnRecord** handle);
// A run of statements at once: the bytes ZVC_Execute sends for each alone (its parameters from
// its own set) go out in one write, a query's DECLARE, OPEN and first FETCH, any other
// statement's command, and their replies are read in order before any query goes on, so that the
// run costs one round trip. The server runs them in that order. A statement's code is
// ZVC_Execute's for it alone. A query's result is the cursor handle, or on failure a handle
// without rows that holds the failure's text (null when its FETCH brought no rows at all); any
// other statement's the records ZVC_Execute gives for it, or on failure the first of them (an
// empty one when there were none) with the failure's text as its error. A failed link fails its
// statement and every later one with -4 (those hold no text; a later one that is no query has
// no result) and is dropped. Short blocks' CLOSEs are held or sent as ZVC_Execute's are, all of
// them read in order by the next exchange. Queries always run through server cursors, whatever
// attribute 12 says. A set bound as an array has no place in a run. 0; -3 for a bad handle, a
// missing text or a count outside 1 to ZV_RUN_MAX; -5 when memory ran out (nothing is sent).
enum { ZV_RUN_MAX = 64 };
struct RunQuery {
  const char* sql;   // a statement text: a query (ZVC_ClassifySql's 4) runs through a server cursor
  ParamSet* params;  // its parameters (ZVC_NewParamSet, bound through that handle), or null; the caller's
  void* result;      // out: a handle of kind 6 for a query, else of kind 4, for ZVC_CloseResult
  int32_t code;      // out
};
int32_t ZVC_ExecuteRun(ConnRecord** handle, RunQuery* queries, int32_t count);
// Frees the record in *result_io, sends text and reads its rows into a new one there.
int32_t ZVC_Refetch(ConnRecord** handle, const char* text, void** result_io);

// Results: handles of kind 4 (ResultRecord) and 6 (smart cursor, read through its block in hand)
int32_t ZVC_GetData(void** handle, int32_t column, int32_t ctype, void* buffer, int32_t buffer_len,
                    int32_t* out_len);
int32_t ZVC_GetColumnCount(void** handle, int32_t* count_out);
int32_t ZVC_GetRowCount(void** handle, int32_t* count_out);
// The row id of an insert's reply held by the result (a record of result kind 1), as a terminated
// text; the empty text for any other record. 0; -12 when the id did not fit buffer_len bytes (it is
// cut to buffer_len - 1 and "[EC0109]..." is the result's text); -3 for no result.
int32_t ZVC_GetRowId(void** handle, char* buffer, int32_t buffer_len);
int32_t ZVC_GetColumnType(void** handle, int32_t column, int32_t* ctype_out);
int32_t ZVC_GetColumnSize(void** handle, int32_t column, int32_t* size_out);
int32_t ZVC_GetColumnName(void** handle, int32_t column, char* name_out);
int32_t ZVC_GetColumnInfo(void** handle, int32_t column, char* table_out, char* name_out, char* alias_out,
                          int32_t* ctype_out, int32_t* size_out, int32_t* detail_out);
int32_t ZVC_GetColumnIndex(void** handle, const char* name);
int32_t ZVC_NextRow(void** handle);
// Whether an E or F came among the rows of the result in hand (of a smart cursor, the block in
// hand), which ZVC_NextRow does not report: 1 with the result's texts in buffer (cut to buffer_len
// bytes with the terminator), 0 when none came, -3 for no result.
int32_t ZVC_GetRowsError(void** handle, char* buffer, int32_t buffer_len);
int32_t ZVC_NextResult(void** handle);
int32_t ZVC_CloseResult(void** handle);
int32_t ZVC_FreeHandle(void** handle);
// Attributes by number. A get writes the value into value_out (value_size bytes; a text has no
// terminator) with its type (1 text, 2 int32, 3 int64) and byte length; a value that does not fit
// is refused whole with -12. A connection answers 1 to 9, 11 and 12 (1 asks the server in an
// exchange of its own), a result 61 to 66; an unknown number gives -3.
int32_t ZVC_GetAttr(void** handle, int32_t attribute, void* value_out, int32_t value_size, int32_t* type_out,
                    int32_t* length_out);
// Sets a connection's number 11, auto commit off, from a text ("ON" or "TRUE", in any case, turn
// it off at the next login; anything else leaves it on) or number 12, server cursors off, from an
// int32. 0, or -1 with the reason in error_text; other handles take nothing and give 0.
int32_t ZVC_SetAttr(void** handle, int32_t attribute, const void* value, int32_t value_size);

// Large objects
int32_t ZVC_CreateLob(LobHandle** lob_var);
int32_t ZVC_PutLobData(LobHandle** lob_var, const void* data, uint32_t length);
int32_t ZVC_GetLobData(LobHandle** lob_var, void* buffer, int32_t length);
int32_t ZVC_SetLobReadPos(LobHandle** lob_var, int32_t pos);
int32_t ZVC_ResetLob(LobHandle** lob_var);
int32_t ZVC_FreeLob(LobHandle** lob_var);
