// Statements this server answers itself instead of handing them to SQLite: transaction
// control, "show version", the cursor statements, routines and prepared statements.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace zv {

enum class SpecialKind {
  kNone,
  kShowAutoCommit,   // SHOW AUTO_COMMIT
  kSetAutoCommit,    // SET AUTO_COMMIT ON|OFF
  kCommit,           // COMMIT, END
  kRollback,         // ROLLBACK
  kShowVersion,      // show version
  kDeclareCursor,    // DECLARE name CURSOR FOR query
  kOpenCursor,       // OPEN name
  kFetchCursor,      // FETCH n FROM name
  kCloseCursor,      // CLOSE name
  kCreateRoutine,    // CREATE ROUTINE name(...) ... AS '...'
  kDropRoutine,      // DROP ROUTINE name
  kCallRoutine,      // EXEC name(?, ...), EXECUTE name(...)
  kPrepare,          // PREPARE name AS statement
  kRunPrepared,      // ? name
  kDeallocate,       // DEALLOCATE name
};

struct SpecialStatement {
  SpecialKind kind = SpecialKind::kNone;
  bool on = false;         // SET AUTO_COMMIT ON
  std::string name;        // cursor or prepared statement, upper case
  std::string routine;     // DROP ROUTINE: the routine's name
  int64_t count = 0;       // rows of a FETCH
  size_t length = 0;       // characters of the text it takes, its ";" included; CREATE ROUTINE finds its own
  size_t query_start = 0;  // DECLARE, PREPARE: where the query or statement begins
};

// Recognises the statement at the start of `text` (which starts at its first word).
SpecialStatement recognize_special(std::string_view text);

}  // namespace zv
