// Script rows turned into the column blocks that the client's array binds take: one column per
// slot, each with the one kind (param_values.h) that takes all its rows' values.
#pragma once
#include <node.h>

#include <cstdint>
#include <string>
#include <vector>

#include "binding/param_values.h"

struct ConnRecord;

namespace zvdbms {

// The rows one command word can announce: a longer load goes out in several commands.
const uint32_t kBatchRowsMax = 65535;

// Every value of the load, read once by scan_batch_rows: rows first .. first+per_command-1 of
// command k are commands[k], rows after rows, slot values after slot values. Binding reads
// these arrays of its own alone, so no script code runs while a load is bound and sent.
struct BatchValues {
  std::vector<v8::Local<v8::Array>> commands;
  uint32_t rows = 0;
};

// Reads every row (an array or an object) and every value once, settled as face binds it, and
// gives each slot its column kind.
// False, with a TypeError thrown that names the row (counted from 1) and the placeholder, on a
// row or a value that cannot be bound, or with the exception of a getter that threw.
bool scan_batch_rows(v8::Isolate* isolate, v8::Local<v8::Array> rows, const ParamShape& shape, Face face,
                     uint32_t per_command, std::vector<uint8_t>* kinds, BatchValues* values);

// One slot's values for the rows of one command, as ZVC_BindParamArrayBy* takes them.
struct ColumnBlock {
  int32_t ctype;
  std::string block;
  std::vector<int32_t> lengths;
};

// Fills one block per slot from the values of one command (count rows) that scan_batch_rows
// read; the blocks' storage is reused.
void fill_batch_blocks(v8::Isolate* isolate, v8::Local<v8::Array> values, uint32_t count, Face face,
                       const std::vector<uint8_t>& kinds, std::vector<ColumnBlock>* blocks);

// Binds one command's blocks (rows values each) on the connection: by position, or by name.
int32_t bind_blocks(ConnRecord** handle, const ParamShape& shape, std::vector<ColumnBlock>& blocks, int32_t rows);

// The failure text of a command whose rows start at row first of the script's array, with the
// server's "row k of the batch" counted over all the script's rows.
std::string failure_in_rows(ConnRecord** handle, int32_t rc, uint32_t first);

}  // namespace zvdbms
