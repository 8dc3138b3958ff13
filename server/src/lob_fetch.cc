#include "lob_fetch.h"

#include <algorithm>
#include <vector>

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

void write_lob_fetch_reply(const LobFetch& fetch, const LobStore& store, ReplyWriter& out) {
  std::optional<std::string_view> object = store.find(fetch.descriptor);
  if (!object) {
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
  size_t start = static_cast<size_t>(std::min<int64_t>(fetch.offset, static_cast<int64_t>(object->size())));
  size_t end = start + static_cast<size_t>(std::min<int64_t>(fetch.limit, static_cast<int64_t>(object->size() - start)));
  int32_t total = static_cast<int32_t>(std::min<size_t>(object->size(), INT32_MAX));
  for (size_t pos = start; pos < end;) {
    size_t piece = std::min<size_t>(end - pos, kLobPieceMax);
    out.int32(total);
    out.int32(static_cast<int32_t>(piece));
    out.bytes(object->data() + pos, piece);
    pos += piece;
  }
  out.int32(0);
}

}  // namespace zv
