#include "lob_fetch.h"

#include <algorithm>
#include <mutex>
#include <vector>

#include "piece_reader.h"
#include "row_references.h"
#include "text_util.h"
#include "type_codes.h"

namespace zv {

bool parse_lob_fetch(std::string_view text, LobFetch& out) {
  if (!first_word_is(text, "get")) return false;
  std::vector<std::string_view> w = split_words(text, 8);
  if (w.size() != 7 || !iequals(w[0], "get") || !iequals(w[1], "lob") || !iequals(w[3], "offset") ||
      !iequals(w[5], "limit")) {
    return false;
  }
  std::string_view quoted = w[2];
  if (quoted.size() < 2 || quoted.front() != '\'' || quoted.back() != '\'') return false;
  out.descriptor = std::string(quoted.substr(1, quoted.size() - 2));
  return parse_int64(w[4], out.offset) && out.offset >= 0 && parse_int64(w[6], out.limit) && out.limit >= 0;
}

namespace {

// Where a fetch takes a referenced object's bytes from: the copy a change of its row made, or
// its row, read under a read of the fetch's own that holds the row as it is now. The reference
// is locked meanwhile, so that no change of the row slips between the look and the read.
bool open_reference(sqlite3* db, RowReference& ref, std::string_view& bytes, sqlite3_blob*& blob) {
  std::lock_guard<std::mutex> guard(ref.lock);
  if (ref.copy) {
    bytes = ref.copy->bytes();
    return true;
  }
  if (!ref.lost && sqlite3_blob_open(db, "main", ref.table.c_str(), ref.column.c_str(), ref.rowid, 0, &blob) == SQLITE_OK &&
      static_cast<size_t>(sqlite3_blob_bytes(blob)) == ref.size && schema_version(db) == ref.schema) {
    return true;
  }
  sqlite3_blob_close(blob);
  blob = nullptr;
  ref.lost = true;
  return false;
}

void write_piece(int32_t total, const char* data, size_t n, ReplyWriter& out) {
  out.int32(total);
  out.int32(static_cast<int32_t>(n));
  out.bytes(data, n);
}

// Bytes `start` to `end` of an object read from its row, a piece ahead of the one being sent.
// Should a read fail, the reply stops there and `out` sends nothing more, so that the link ends.
void write_row_pieces(sqlite3_blob* blob, LobStore& store, size_t start, size_t end, int32_t total,
                      ReplyWriter& out) {
  if (start == end) return;
  char* buffer = store.piece_buffer(2 * size_t{kLobPieceMax});
  if (!buffer) {
    out.limit_to(0);
    return;
  }
  PieceReader reader(blob, buffer, kLobPieceMax, start, end);
  for (size_t pos = start; pos < end && out.ok();) {
    size_t n = 0;
    const char* data = reader.next(n);
    if (!data) {
      out.limit_to(0);
      return;
    }
    write_piece(total, data, n, out);
    pos += n;
  }
}

}  // namespace

void write_lob_fetch_reply(const LobFetch& fetch, LobStore& store, sqlite3* db, ReplyWriter& out) {
  const KeptObject* kept = store.find(fetch.descriptor);
  if (!kept) {
    out.letter('K');
    return;
  }
  std::string_view bytes = kept->bytes();
  sqlite3_blob* blob = nullptr;
  if (kept->reference() && !open_reference(db, *kept->reference(), bytes, blob)) {
    out.error("[E10014]large object " + fetch.descriptor + " can no longer be read: the schema changed since it was selected");
    out.letter('K');
    return;
  }
  out.letter('A');
  out.int32(1);
  out.string("lob");
  out.int32(fetch.descriptor[0] == 'B' ? kBlob : kClob);
  out.int32(0);
  out.int32(0);
  out.letter('R');
  const size_t size = blob ? kept->size() : bytes.size();
  size_t start = static_cast<size_t>(std::min<int64_t>(fetch.offset, static_cast<int64_t>(size)));
  size_t end = start + static_cast<size_t>(std::min<int64_t>(fetch.limit, static_cast<int64_t>(size - start)));
  int32_t total = static_cast<int32_t>(std::min<size_t>(size, INT32_MAX));
  if (blob) {
    write_row_pieces(blob, store, start, end, total, out);
    sqlite3_blob_close(blob);
  } else {
    for (size_t pos = start; pos < end; pos += kLobPieceMax) {
      write_piece(total, bytes.data() + pos, std::min<size_t>(end - pos, kLobPieceMax), out);
    }
  }
  out.int32(0);
}

}  // namespace zv
