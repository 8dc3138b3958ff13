#include "binding/decoded_result.h"

#include <cstring>
#include <ctime>

#include "binding/script_util.h"
#include "zvc.h"

namespace zvdbms {

namespace {

enum { NAME_BUF = 128, FIRST_BUF = 256, TEXT_BUF = 1024 };

const int64_t kDayMs = 86400000;

// A zone-less wall clock, given as milliseconds read as UTC, to the instant it names in the
// local zone; mktime settles the zone's offset (and daylight saving) for that moment.
double local_instant(int64_t wall_ms) {
  int64_t ms = ((wall_ms % 1000) + 1000) % 1000;
  time_t seconds = static_cast<time_t>((wall_ms - ms) / 1000);
  struct tm fields;
  if (!gmtime_r(&seconds, &fields)) return static_cast<double>(wall_ms);
  fields.tm_isdst = -1;
  time_t local = mktime(&fields);
  return static_cast<double>(local) * 1000 + static_cast<double>(ms);
}

// How a column's values are read.
enum Reader { READ_BOOL, READ_INT, READ_DOUBLE, READ_DAY, READ_DATETIME, READ_LOB_TEXT, READ_LOB_BYTES, READ_BYTES, READ_TEXT };

Reader reader_of(int32_t ctype) {
  switch (ctype) {
    case CT_BOOL: return READ_BOOL;
    case CT_BYTE: case CT_INT16: case CT_INT32: case CT_INT64: return READ_INT;
    case CT_FLOAT: case CT_DOUBLE: case CT_NUMERIC: return READ_DOUBLE;
    case CT_DATE: return READ_DAY;
    case CT_DATETIME: return READ_DATETIME;
    case CT_CLOB: case CT_CLOB43: case CT_CLOB44: return READ_LOB_TEXT;
    case CT_BLOB: return READ_LOB_BYTES;
    default: break;
  }
  // Character columns are copied as their bytes, so that a NUL inside a text does not end it.
  return ctype == CT_BINARY || ctype == CT_TEXT ? READ_BYTES : READ_TEXT;
}

struct Decoder {
  void** p_res;
  bool local;
  DecodedResult* out;
  std::string* error;
  std::vector<char> buffer;
};

void put_span(Decoder* d, Cell* cell, CellKind kind, const char* data, size_t length) {
  cell->kind = kind;
  cell->offset = d->out->arena.size();
  cell->length = static_cast<uint32_t>(length);
  d->out->arena.append(data, length);
}

// A value that did not fit says how much stayed behind; the buffer grows to take it whole.
bool read_grown(Decoder* d, int32_t column, int32_t ctype, Cell* cell, CellKind kind) {
  for (;;) {
    int32_t cap = static_cast<int32_t>(d->buffer.size());
    int32_t got = 0;
    int32_t rc = ZVC_GetData(d->p_res, column, ctype, d->buffer.data(), cap, &got);
    if (rc == ZV_NULL_VALUE) return cell->kind = CELL_NULL, true;
    // Types kept as something other than bytes give their text.
    if (rc == ZV_NO_CONVERSION && ctype == CT_BINARY) return read_grown(d, column, CT_TEXT, cell, kind);
    if (rc == ZV_TRUNCATED) {
      // A cut text keeps its terminator inside the buffer; bytes fill it. Either way what
      // stayed behind is got.
      int64_t want = static_cast<int64_t>(cap) + got + 1;
      if (got <= 0 || want >= INT32_MAX) return *d->error = "value too long to read", false;
      d->buffer.resize(static_cast<size_t>(want));
      continue;
    }
    if (rc < 0) return false;
    size_t length = static_cast<size_t>(got < cap ? got : cap);
    if (ctype == CT_TEXT) length = strnlen(d->buffer.data(), length);
    put_span(d, cell, kind, d->buffer.data(), length);
    return true;
  }
}

// Large objects come whole through a handle of their own, fetched over the link when the
// result holds only their descriptor.
bool read_lob(Decoder* d, int32_t column, int32_t ctype, Cell* cell, CellKind kind) {
  LobHandle* lob = nullptr;
  if (ZVC_CreateLob(&lob) < 0) return *d->error = "out of memory", false;
  int32_t length = 0;
  int32_t rc = ZVC_GetData(d->p_res, column, ctype, &lob, sizeof lob, &length);
  bool ok = true;
  if (rc == ZV_NULL_VALUE) {
    cell->kind = CELL_NULL;
  } else if (rc < 0) {
    char text[TEXT_BUF] = {0};
    failure_text(reinterpret_cast<void**>(&lob), rc, text, sizeof text);
    *d->error = text;
    ok = false;
  } else {
    std::string bytes(static_cast<size_t>(length > 0 ? length : 0), '\0');
    int32_t n = length > 0 ? ZVC_GetLobData(&lob, &bytes[0], length) : 0;
    if (n != length) {
      *d->error = "large object read short";
      ok = false;
    } else {
      put_span(d, cell, kind, bytes.data(), bytes.size());
    }
  }
  ZVC_FreeLob(&lob);
  return ok;
}

template <typename T>
int32_t read_fixed(Decoder* d, int32_t column, int32_t ctype, T* value) {
  int32_t got = 0;
  return ZVC_GetData(d->p_res, column, ctype, value, sizeof *value, &got);
}

bool read_cell(Decoder* d, int32_t column, Reader reader, int32_t ctype, Cell* cell) {
  int32_t rc = 0;
  switch (reader) {
    case READ_BOOL: {
      int32_t b = 0;
      rc = read_fixed(d, column, CT_INT32, &b);
      cell->kind = CELL_BOOL;
      cell->i = b == 'T';  // the stored byte is the letter T or F
      break;
    }
    case READ_INT:
      cell->kind = ctype == CT_INT64 ? CELL_INT64 : CELL_INT;
      rc = read_fixed(d, column, CT_INT64, &cell->i);
      break;
    case READ_DOUBLE:
      cell->kind = CELL_DOUBLE;
      rc = read_fixed(d, column, CT_DOUBLE, &cell->d);
      break;
    case READ_DAY: {
      // The stored day count, as CType 9 hands it over.
      int32_t days[2] = {0, 0};
      int32_t got = 0;
      rc = ZVC_GetData(d->p_res, column, CT_NUMERIC, days, sizeof days, &got);
      int64_t wall = days[0] * kDayMs;
      cell->kind = CELL_DATE;
      cell->d = d->local ? local_instant(wall) : static_cast<double>(wall);
      break;
    }
    case READ_DATETIME: {
      int64_t wall = 0;
      rc = read_fixed(d, column, CT_EPOCH_MS, &wall);
      cell->kind = CELL_DATE;
      cell->d = d->local ? local_instant(wall) : static_cast<double>(wall);
      break;
    }
    case READ_LOB_TEXT: return read_lob(d, column, ctype, cell, CELL_TEXT);
    case READ_LOB_BYTES: return read_lob(d, column, ctype, cell, CELL_BYTES);
    case READ_BYTES:
      return read_grown(d, column, CT_BINARY, cell, ctype == CT_BINARY ? CELL_BYTES : CELL_TEXT);
    case READ_TEXT: return read_grown(d, column, CT_TEXT, cell, CELL_TEXT);
  }
  if (rc == ZV_NULL_VALUE) return cell->kind = CELL_NULL, true;
  return rc >= 0;
}

bool read_fields(Decoder* d, int32_t count) {
  d->out->fields.resize(static_cast<size_t>(count));
  for (int32_t c = 1; c <= count; ++c) {
    char name[NAME_BUF] = {0};
    DecodedField& f = d->out->fields[c - 1];
    if (ZVC_GetColumnName(d->p_res, c, name) < 0 || ZVC_GetColumnType(d->p_res, c, &f.ctype) < 0)
      return *d->error = "a field description could not be read", false;
    f.name = name;
  }
  return true;
}

}  // namespace

DecodeStatus decode_rows(void** p_res, bool local, uint64_t max_rows, DecodedResult* out, std::string* error) {
  Decoder d{p_res, local, out, error, std::vector<char>(FIRST_BUF)};
  int32_t count = 0;
  ZVC_GetColumnCount(p_res, &count);
  if (!read_fields(&d, count)) return DECODE_FAILED;
  std::vector<Reader> readers;
  for (const DecodedField& f : out->fields) readers.push_back(reader_of(f.ctype));
  while (out->row_count < max_rows) {
    int32_t rc = ZVC_NextRow(p_res);
    if (rc == ZV_NO_MORE) break;
    if (rc < 0) {
      char text[TEXT_BUF] = {0};
      failure_text(p_res, rc, text, sizeof text);
      *error = text;
      return DECODE_FAILED;
    }
    for (int32_t c = 0; c < count; ++c) {
      Cell cell{};
      if (!read_cell(&d, c + 1, readers[c], out->fields[c].ctype, &cell)) {
        if (error->empty()) *error = "a value could not be read";
        return DECODE_FAILED;
      }
      out->cells.push_back(cell);
    }
    out->row_count++;
  }
  // A failure the server sent among the rows ends the result early without failing a row.
  char text[TEXT_BUF] = {0};
  if (ZVC_GetRowsError(p_res, text, sizeof text) == 1) return *error = text, DECODE_FAILED;
  return out->row_count == max_rows ? DECODE_MORE : DECODE_DONE;
}

const char* type_name(int32_t ctype) {
  switch (ctype) {
    case CT_BOOL: return "BOOLEAN";
    case CT_BYTE: return "TINYINT";
    case CT_INT16: return "SMALLINT";
    case CT_INT32: return "INTEGER";
    case CT_INT64: return "BIGINT";
    case CT_NUMERIC: return "NUMERIC";
    case CT_FLOAT: return "FLOAT";
    case CT_DOUBLE: return "DOUBLE";
    case CT_DATE: return "DATE";
    case CT_TIME: return "TIME";
    case CT_TIME_TZ: return "TIME WITH TIME ZONE";
    case CT_DATETIME: return "DATETIME";
    case CT_DATETIME_TZ: return "DATETIME WITH TIME ZONE";
    case CT_INTERVAL: case CT_YEAR_MONTH: case CT_DAY_SECOND: return "INTERVAL";
    case CT_CLOB: case CT_CLOB43: case CT_CLOB44: return "CLOB";
    case CT_BINARY: return "BINARY";
    case CT_BLOB: return "BLOB";
    default: return "CHAR";
  }
}

}  // namespace zvdbms
