#include "routine_call.h"

#include <vector>

#include "interval_type_quoting.h"
#include "parameter_binding.h"
#include "parameter_values.h"
#include "routine_catalogue.h"
#include "sqlite_error.h"
#include "sqlite_handles.h"
#include "text_util.h"
#include "value_encoder.h"

namespace zv {
namespace {

// "EXEC name(?, ?)": the routine's name and the number of "?" marks.
bool parse_call(std::string_view text, std::string& name, size_t& marks, std::string& error) {
  std::vector<std::string_view> verb = split_words(text, 1);
  std::string_view rest = trim(strip_statement_end(text.substr(verb.at(0).size())));
  size_t open = rest.find('(');
  name = std::string(trim(rest.substr(0, open)));
  marks = 0;
  std::string_view args = open == std::string_view::npos ? "" : rest.substr(open);
  bool good = !name.empty() && (args.empty() || (args.size() >= 2 && args.back() == ')'));
  for (size_t i = 1; good && i + 1 < args.size(); ++i) {
    char c = args[i];
    if (c == '?') ++marks;
    good = c == '?' || c == ',' || is_space(c);
  }
  if (!good) error = "[E10009]a routine is called as EXEC name(?, ?, ...), one ? for each of its parameters";
  return good;
}

const char* mode_name(int16_t mode) {
  switch (mode) {
    case kIn: return "IN";
    case kOut: return "OUT";
    case kInOut: return "INOUT";
    default: return "no direction";
  }
}

// Pairs each routine parameter with the record that carries it: a record with a name goes
// to the parameter of that name, one without to the parameter of its position.
bool match_records(const Routine& routine, const std::string& name, const Parameters& params,
                   std::vector<size_t>& record_of, std::string& error) {
  const size_t n = routine.parameters.size();
  if (params.count() != n) {
    error = "[E10003]routine " + name + " has " + std::to_string(n) + " parameters, " +
            std::to_string(params.count()) + " were sent";
    return false;
  }
  constexpr size_t kNone = SIZE_MAX;
  record_of.assign(n, kNone);
  for (size_t i = 0; i < n; ++i) {
    const ParameterRecord& r = params.records[i];
    size_t k = i;
    if (!r.name.empty()) {
      for (k = 0; k < n && !iequals(routine.parameters[k].name, r.name); ++k) {
      }
    }
    if (k == n) {
      error = "[E10003]routine " + name + " has no parameter named " + r.name;
      return false;
    }
    const RoutineParameter& p = routine.parameters[k];
    if (record_of[k] != kNone) {
      error = "[E10003]parameter " + p.name + " of " + name + " gets two values";
      return false;
    }
    if (r.direction != p.mode) {
      error = "[E10003]parameter " + p.name + " of " + name + " is " + mode_name(p.mode) + ", it was sent as " +
              mode_name(r.direction);
      return false;
    }
    record_of[k] = i;
  }
  return true;
}

bool prepare_body(sqlite3* db, const Routine& routine, const std::string& name, StmtPtr& body, std::string& error) {
  std::string sql = may_hold_interval_type(routine.body) ? quote_interval_types(routine.body) : routine.body;
  sqlite3_stmt* raw = nullptr;
  const char* tail = nullptr;
  int rc = sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &raw, &tail);
  body.reset(raw);
  if (rc != SQLITE_OK) {
    error = sqlite_error_text(db);
    return false;
  }
  size_t outputs = routine.returns_value ? 1 : 0;
  for (const RoutineParameter& p : routine.parameters) outputs += p.mode != kIn;
  if (!body || !trim(strip_statement_end(tail)).empty()) {
    error = "[E10009]the body of " + name + " must be one statement";
  } else if (static_cast<size_t>(sqlite3_column_count(raw)) != outputs) {
    error = "[E10009]the body of " + name + " gives " + std::to_string(sqlite3_column_count(raw)) + " columns for " +
            std::to_string(outputs) + " outputs";
  }
  return error.empty();
}

// Every placeholder of the body must name an IN or INOUT parameter.
bool bind_inputs(sqlite3_stmt* body, const Routine& routine, const std::string& name, const Parameters& params,
                 const std::vector<size_t>& record_of, std::string& error) {
  int bound = 0;
  for (size_t k = 0; k < routine.parameters.size(); ++k) {
    const RoutineParameter& p = routine.parameters[k];
    int index = p.mode == kOut ? 0 : placeholder_index(body, p.name);
    if (index == 0) continue;
    ++bound;
    if (!bind_value(body, index, params.value(0, record_of[k]), error)) {
      error = "[E10003]parameter " + p.name + " of " + name + ": " + error;
      return false;
    }
  }
  if (bound == sqlite3_bind_parameter_count(body)) return true;
  error = "[E10009]the body of " + name + " has placeholders that name no IN or INOUT parameter";
  return false;
}

// The outputs from the body's first row, or nulls when it brought none.
void write_outputs(sqlite3_stmt* body, bool have_row, const Routine& routine, const std::vector<size_t>& record_of,
                   ReplyWriter& out) {
  ValueEncoder encoder(out, LobPolicy{}, 0);
  int col = 0;
  int64_t unreadable = 0;
  auto value = [&](const ColumnType& type) {
    if (!have_row) out.int32(0);
    else if (!encoder.write(body, col, type)) ++unreadable;
    ++col;
  };
  for (size_t k = 0; k < routine.parameters.size(); ++k) {
    const RoutineParameter& p = routine.parameters[k];
    if (p.mode == kIn) continue;
    out.letter('P');
    out.int32(static_cast<int32_t>(record_of[k]));
    out.int32(p.type.code);
    value(p.type);
  }
  if (routine.returns_value) {
    out.letter('O');
    out.int32(routine.returns.code);
    value(routine.returns);
  }
  write_unreadable_warning(out, unreadable);
}

// A call checked against its routine, with the body compiled and its inputs bound.
struct PreparedCall {
  std::string name;
  Routine routine;
  std::vector<size_t> record_of;  // the record of each routine parameter
  StmtPtr body;
};

bool prepare_call(sqlite3* db, std::string_view text, const Parameters& params, PreparedCall& call,
                  std::string& error) {
  size_t marks;
  RoutineText stored;
  if (!parse_call(text, call.name, marks, error) || !load_routine(db, call.name, stored, error) ||
      !parse_routine(stored, call.routine, error)) {
    return false;
  }
  call.name = stored.name;
  if (marks != call.routine.parameters.size()) {
    error = "[E10009]routine " + call.name + " has " + std::to_string(call.routine.parameters.size()) +
            " parameters, the call gives " + std::to_string(marks) + " ?";
    return false;
  }
  return match_records(call.routine, call.name, params, call.record_of, error) &&
         prepare_body(db, call.routine, call.name, call.body, error) &&
         bind_inputs(call.body.get(), call.routine, call.name, params, call.record_of, error);
}

}  // namespace

bool call_routine(sqlite3* db, std::string_view text, const Parameters& params, ReplyWriter& out) {
  PreparedCall call;
  std::string error;
  if (!prepare_call(db, text, params, call, error)) {
    out.error(error);
    return false;
  }
  int rc = sqlite3_step(call.body.get());
  if (rc != SQLITE_ROW && rc != SQLITE_DONE) {
    out.error(sqlite_error_text(db));
    return false;
  }
  write_outputs(call.body.get(), rc == SQLITE_ROW, call.routine, call.record_of, out);
  return true;
}

}  // namespace zv
