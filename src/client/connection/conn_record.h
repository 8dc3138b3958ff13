// The connection record, the server list and the handle tags shared by every client record.
#pragma once
#include <cstdint>
#include "connection/platform.h"
#include "zvc.h"


enum { CONN_BUF_SIZE = 8192 };

struct ServerList {
  int32_t count;      // addresses given
  int32_t current;    // index in addrs of the address in use
  char** addrs;       // heap copies of the addresses
  char** tried;       // count+1 entries, addresses that failed, in order of failure
  int32_t remaining;  // addresses not yet struck out
};

struct ResultRecord;
struct TuringContext;
struct ParamSet;
struct SmartCursor;

enum { CONN_FAULT_SIZE = 128 };

// A CLOSE whose reply is still to read: the cursor's name, and the cursor while its handle lasts
// (else null).
struct PendingClose {
  char name[ZV_CURSOR_NAME_SIZE];
  SmartCursor* cursor;
};

struct ConnRecord {
  int32_t kind;  // HT_CONN
  char database[128];
  char server_ip[32];
  uint16_t port;
  char user[64];
  char password[64];
  char char_set[64];
  char iso_level[64];
  char version[64];
  char current_schema[64];
  char compatible_mode[64];
  char keyword_filter[64];
  int32_t ltimeout;      // receive time-out in milliseconds
  int32_t recv_timeout;     // RECV_TIMEOUT: replaces ltimeout's default when above 0
  int32_t connect_timeout;  // CONNECT_TIMEOUT: one limit for connecting and logging in together
  // While a link is made and logged in: the monotonic millisecond by which both must be done;
  // 0 at every other time and when connect_timeout sets no limit.
  int64_t link_deadline;
  int32_t lock_timeout;  // sent at login
  int32_t use_ssl;
  int32_t auto_commit_off;
  int32_t return_rowid;
  int32_t return_cursor_id_off;
  int32_t lob_ret;
  int32_t verbose_mode;  // bit 1 all, 2 errors, 4 warnings
  int32_t silent;        // SILENT=on: no line reaches the notice hook
  NoticeHook notice;     // null: lines go to standard output
  void* notice_context;
  // Why the connection string was refused, or empty: every open and reconnect of the record
  // then fails with this text before anything is sent.
  char conn_string_fault[CONN_FAULT_SIZE];
  char pushback;         // one reply letter handed back; 0 means none
  int32_t out_of_step;   // a reply was left before its "K": the link can no longer be read in step
  int64_t socket;        // 0 means not connected
  Semaphore* semaphore;
  uint32_t addr;
  int32_t send_len;
  uint8_t send_buf[CONN_BUF_SIZE];
  char* error_text;  // heap copy of the last error text
  uint8_t ips_given;
  ServerList* server_list;
  char last_rowid[32];
  int32_t rowid_valid;
  int32_t use_srvcursor_off;
  uint8_t recv_buf[CONN_BUF_SIZE];
  int32_t recv_len;
  int32_t recv_pos;
  // An enciphered link: the server's exponent and modulus as they came (256-bit little-endian),
  // and a keystream for each direction, from a successful login to the next login or the close.
  uint8_t link_exponent[32];
  uint8_t link_modulus[32];
  TuringContext* recv_cipher;
  TuringContext* send_cipher;
  ParamSet* params;       // the parameters the next statement carries; may be null
  ResultRecord* results;  // field descriptions a PREPARE brought; may be null
  // The default prepared statement, standing while prepared is 1, and the counter behind every
  // generated statement name; the counter never goes back, so no name is given twice.
  int32_t prepared;
  char prepare_name[ZV_STMT_NAME_SIZE];
  uint32_t stmt_counter;
  // 1 once a named cursor's fetch came back short: fetches are refused and a close sends nothing
  // until the next cursor is declared.
  int32_t smart_busy;
  // The smart cursors that stand open on the server over this link, linked through next_open: a
  // close of the connection detaches them, so that none reaches the freed record.
  SmartCursor* open_cursors;
  // The smart cursors' CLOSEs that went out without their replies being read, in the order they
  // went: at most one per query of a run (ZV_RUN_MAX), since every exchange reads them all
  // first. The next exchange on the link reads those replies ahead of its own; a dropped link
  // takes them along.
  PendingClose closing[ZV_RUN_MAX];
  int32_t closing_count;
  // Set by ZVC_HoldCloses: such a CLOSE waits in the send buffer and goes out in one write with
  // the link's next command, whose owner sends it by itself when it has nothing more to send;
  // held_hook tells the owner each time one starts to wait.
  int32_t hold_closes;
  HeldHook held_hook;
  void* held_context;
  // 1 while CLOSEs of the list are still in the send buffer.
  int32_t close_held;
};
