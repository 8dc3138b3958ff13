// The one reader of reply letters. A reply is a run of one-letter records closed by "K"; the
// readers of the different exchanges differ only in what they keep of each record, which a
// table of hooks says. The spine reads the letters, hands each to its hook, peeks behind the
// records that may close a reply, and marks the link out of step whenever it stops short of
// the closing "K", so that the exchange can drop a link whose next reply would be misread.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

// Room for a row id with its NUL: the size of last_rowid.
enum { ROWID_BUF_SIZE = 32 };

struct ReplyState {
  ConnRecord* conn;
  int32_t ret;        // what the reply gives at its "K"
  int32_t end_value;  // what it gives when "K" comes right behind the record just read
  void* ctx;          // the reader's own
  bool failed;        // set when the reply ended on a failed read or a refusal, not at its end
  bool cut;           // a value was cut to fit: a reply that ends in order gives -12
};

// What a hook tells the spine; a negative value is a failure code that ends the reply.
enum ReplyStep {
  REPLY_GO_ON = 0,  // read the next letter
  REPLY_PEEK = 1,   // end with end_value when "K" comes next, else go on
  REPLY_DONE = 2,   // the hook has read the closing "K": end with ret
};

// The hook of one letter: reads the record's body and updates the state.
using ReplyHook = int32_t (*)(ReplyState* st, char letter);

struct ReplyLetter {
  char letter;
  ReplyHook hook;
};

struct ReplyReader {
  const ReplyLetter* letters;  // ends with {0, nullptr}
  int32_t stray_ret;           // what an unknown letter ends the reply with; READ_RET for st->ret
  // Called on a failed read between records (letter 0) or inside the record of letter; may print.
  void (*on_failure)(ConnRecord* conn, char letter);
};

enum { READ_RET = INT32_MIN };

// Reads one reply to its end with reader's hooks; returns the reply's result or a failure code.
int32_t read_reply(const ReplyReader* reader, ReplyState* st);

// Hooks and pieces that several readers share.
// The row id of an "I" into bkmk (ROWID_BUF_SIZE bytes, zeroed): one longer than 31 bytes keeps
// its first 31, the rest is read past, the reply is marked cut and error_text says
// "[EC0108]Error row id of <n> bytes cut to its first 31\n". 0, or -4 on a failed read.
int32_t recv_row_id(ReplyState* st, char* bkmk);
// E, F, W, M: the text replaces the connection's error_text. 0, or the code of recv_string.
int32_t recv_reply_text(ConnRecord* conn);
// The body of "O" (with_index false) or "P" (true), dropped: error_text then tells that output
// values need bound parameters. 0, or -4 on a failed read or an impossible length.
int32_t drop_out_value(ConnRecord* conn, bool with_index);
// The hook of "O" and "P" for readers that bind no output values: dropped, and -56 to report.
int32_t drop_out_value_hook(ReplyState* st, char letter);
// An "A" that nobody asked for, read and dropped so that the reply stays in step; an error text
// among its rows becomes the connection's error and the reply's -1.
int32_t drop_result_hook(ReplyState* st, char letter);
// The head of an "A": a new record of rows with the field descriptions that follow the letter,
// in *out. 0, or a failure code (nothing is left then).
int32_t read_result_fields(ConnRecord* conn, ResultRecord** out);
// The rows of an "A" in the reply of a call or of a one-value statement: they come 200 at a
// time, and a full first block that is not followed by "K" means the server has more: it is told
// once, with ".", and the rest is taken as it comes, until a block comes short. 1 when "K" ended
// the reply behind the first block, 0 when the rows are all in, or a failure code.
int32_t recv_call_rows(ConnRecord* conn, ResultRecord* result);
// The letter after a record that may close the reply: 1 on "K", 0 when another letter was handed
// back (pushback) for the next turn, -4 on a failed read.
int32_t peek_reply_end(ConnRecord* conn);
// The short reply of DEALLOCATE, CLOSE and OPEN: "K" alone is success; any other letter opens a
// text for error_text, and the "K" behind it closes the reply. 0, -1 after a text, or the code of
// a failed read.
int32_t read_short_reply(ConnRecord* conn);
