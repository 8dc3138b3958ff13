// Routines: an SQL body run with input parameters whose first row gives the outputs.
//   CREATE ROUTINE name(p1 IN INTEGER, p2 OUT VARCHAR(20), p3 INOUT DATE) RETURNS INTEGER AS '<sql>'
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "type_codes.h"

namespace zv {

// A definition's parts as the catalogue keeps them.
struct RoutineText {
  std::string name;
  std::string parameters;  // "p1 IN INTEGER, p2 OUT VARCHAR(20)"
  std::string returns;     // the return type, "" for none
  std::string body;
};

struct RoutineParameter {
  std::string name;
  int16_t mode = 0;  // kIn, kOut or kInOut, as a parameter's direction on the wire
  ColumnType type;
};

struct Routine {
  std::vector<RoutineParameter> parameters;
  bool returns_value = false;
  ColumnType returns;
  std::string body;
};

// Reads "CREATE ROUTINE ..." at the start of `text` into its parts; `length` gets the
// characters it takes, a closing ";" included. False with an "[E10009]" text in `error`.
bool parse_routine_definition(std::string_view text, RoutineText& out, size_t& length, std::string& error);

// Reads the parameter list and return type of a definition. False with an "[E10009]" text.
bool parse_routine(const RoutineText& text, Routine& out, std::string& error);

}  // namespace zv
