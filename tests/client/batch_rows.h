// Rows of four columns (int32 id, int64, text with a null in every thousand, double) for the
// batch tests and the load benchmark: the values of row r, and their blocks as the array binds
// take them, into a table b (id integer primary key, big bigint, name varchar(40), score double).
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "statements/param_set.h"
#include "zvc.h"

// The columns of one batch as the array binds take them.
struct Columns {
  std::string ids, bigs, names, scores;
  std::vector<int32_t> id_lens, big_lens, name_lens, score_lens;
};

inline int64_t big_of(int32_t r) { return static_cast<int64_t>(r) * 1000003 - 5000000000LL; }
inline double score_of(int32_t r) { return r / 8.0 - 100; }
// Every 1000th row, from row 7, has no name.
inline bool named(int32_t r) { return r % 1000 != 7; }
inline std::string name_of(int32_t r) { return "row " + std::to_string(r); }

template <typename T>
inline void append_native(std::string* block, T v) {
  block->append(reinterpret_cast<const char*>(&v), sizeof v);
}

inline Columns columns_of(int32_t first, int32_t rows) {
  Columns c;
  for (int32_t r = first; r < first + rows; r++) {
    append_native(&c.ids, r);
    append_native(&c.bigs, big_of(r));
    append_native(&c.scores, score_of(r));
    std::string name = named(r) ? name_of(r) : "";
    append_native(&c.names, static_cast<int32_t>(name.size()));
    c.names += name;
    c.id_lens.push_back(4);
    c.big_lens.push_back(8);
    c.score_lens.push_back(8);
    c.name_lens.push_back(named(r) ? static_cast<int32_t>(name.size()) : 0);
  }
  return c;
}

// Binds the four columns and runs their rows as one batch; the first failing call's code.
inline int32_t load_columns(ConnRecord** conn, Columns& c) {
  int32_t rows = static_cast<int32_t>(c.id_lens.size());
  const struct {
    int32_t type;
    std::string* block;
    const std::vector<int32_t>* lengths;
  } binds[] = {{CT_INT32, &c.ids, &c.id_lens},
               {CT_INT64, &c.bigs, &c.big_lens},
               {CT_TEXT, &c.names, &c.name_lens},
               {CT_DOUBLE, &c.scores, &c.score_lens}};
  int32_t pos = 0;
  for (const auto& b : binds) {
    int32_t rc = ZVC_BindParamArrayByPos(reinterpret_cast<void**>(conn), ++pos, 4, DIR_IN, b.type, rows,
                                         &(*b.block)[0], static_cast<int32_t>(b.block->size()), b.lengths->data());
    if (rc != 0) return rc;
  }
  return ZVC_ExecuteBatch(conn, "insert into b values (?, ?, ?, ?)", rows);
}

// Rows first.. as one batch.
inline int32_t load(ConnRecord** conn, int32_t first, int32_t rows) {
  Columns c = columns_of(first, rows);
  return load_columns(conn, c);
}
