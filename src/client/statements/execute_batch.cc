// Running one statement over every row of array-bound parameters: one command carries all the
// rows, and one reply answers them.
#include <cstdint>

#include "connection/client_text.h"
#include "connection/wire.h"
#include "results/result_record.h"
#include "statements/command.h"
#include "statements/exchange.h"
#include "statements/param_target.h"
#include "statements/send_params.h"
#include "zvc.h"

namespace {
enum {
  BATCH_TEXT_SIZE = 200,
  WORD_HALF_MAX = 0xFFFF,  // rows and parameters share the command word, 16 bits each
};

// The refusals that come before anything is sent; 0, or the code with its text in error_text.
int32_t check_batch(ConnRecord* conn, int32_t array_count) {
  const ParamSet* set = conn->params;
  if (!set) {
    put_error(&conn->error_text, BATCH_TEXT_SIZE, "[EC025]Error ExecuteBatch without  bindparams  \n");
    return ZV_SERVER_ERROR;
  }
  if (set->array_size != array_count) {
    put_error(&conn->error_text, BATCH_TEXT_SIZE,
              "[EC057]Error ExecuteBatch with paramsbind arraysize %d  does not match ArrayCount %d \n",
              set->array_size, array_count);
    return ZV_SERVER_ERROR;
  }
  // Parameters number 4000 at most, so only the rows can miss their half of the word.
  if (set->array_size < 1 || set->array_size > WORD_HALF_MAX) {
    put_error(&conn->error_text, BATCH_TEXT_SIZE,
              "[EC057]Error ExecuteBatch arraysize %d does not fit a batch of 1 to 65535 rows \n", set->array_size);
    return ZV_BATCH_WORD;
  }
  return 0;
}
}  // namespace

int32_t ZVC_ExecuteBatchCount(ConnRecord** handle, const char* sql, int32_t array_count, int32_t* changed_out) {
  ConnRecord* conn = conn_of(handle);
  if (!conn || !sql) return ZV_BAD_HANDLE;
  int32_t rc = check_batch(conn, array_count);
  if (rc != 0) return rc;
  // The set stays on the connection: sending it empties it, so the next batch binds anew.
  ParamSet* set = conn->params;
  Exchange ex;
  if (!open_exchange(&ex, conn, sql)) return ZV_NO_MEMORY;
  send_sql_params(conn, ex.text, static_cast<int32_t>(static_cast<uint32_t>(set->array_size) << 16 | set->count));
  // Rows cut short leave the server reading the rest from the next command.
  if (set->count > 0 && send_params_array(conn, set) != 0) conn->out_of_step = 1;
  flush_exchange(conn);
  ResultRecord* pres = nullptr;
  rc = recv_result(conn, &pres);
  end_exchange(&ex);
  // The statement has run by now; the text only tells the caller it was no batch.
  if (pres && pres->result_kind == RK_ROWS)
    set_error_text(&conn->error_text, "[EC026]Error ExecuteBatch can't surpport a select_sql  \n");
  if (changed_out)
    *changed_out = pres && (pres->result_kind == RK_UPDATE || pres->result_kind == RK_DELETE) ? pres->effect_count : 0;
  free_result_chain(pres);
  return rc;
}

int32_t ZVC_ExecuteBatch(ConnRecord** handle, const char* sql, int32_t array_count) {
  return ZVC_ExecuteBatchCount(handle, sql, array_count, nullptr);
}
