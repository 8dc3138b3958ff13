// The fetch of a kept large object: "get lob '<descriptor>' offset <n> limit <n> ".
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "lob_store.h"
#include "reply_writer.h"

namespace zv {

struct LobFetch {
  std::string descriptor;
  int64_t offset = 0;
  int64_t limit = 0;
};

constexpr int32_t kLobPieceMax = 1048576;

bool parse_lob_fetch(std::string_view text, LobFetch& out);

// "A", one field description, "R", then pieces (int32 total length, int32 piece length,
// the bytes) and a closing int32 0. The reader of this reply takes nothing after that
// zero, so no "K" follows. An unknown descriptor is answered by a bare "K". An object kept by
// reference is read from its row through `db`; once the schema changed, or its row went in a
// way that kept no copy, the answer is an "E" and "K". Should reading the row fail
// part-way, the reply stops there and `out` sends nothing more, so that the link ends.
void write_lob_fetch_reply(const LobFetch& fetch, LobStore& store, sqlite3* db, ReplyWriter& out);

}  // namespace zv
