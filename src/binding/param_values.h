// Parameters of the Promise API: script values, already checked by lib/, copied on the script
// thread into plain records that the exchange thread binds. Integers keep every bit: an int32
// goes as an int32, any other whole number up to 2^53 and a BigInt as an int64; a Date as its
// milliseconds (a datetime); a string and a typed array whole.
#pragma once
#include <node.h>

#include <cstdint>
#include <string>
#include <vector>

struct ConnRecord;

namespace zvdbms {

struct ParamValue {
  std::string name;   // the placeholder's name; empty when bound by position
  int32_t ctype;      // 0 for a null
  std::string bytes;
};

struct ParamList {
  bool positional = true;
  std::vector<ParamValue> values;
};

// One ParamValue per placeholder of sql, looked up in values as the synchronous API looks
// them up (an array by index, an object by name and then by index). False, with a TypeError
// thrown, for a value of no bindable kind.
bool collect_params(v8::Isolate* isolate, const char* sql, v8::Local<v8::Value> values, ParamList* out);
// Binds the list on the connection for its next statement; the first failing bind's code, or 0.
int32_t bind_params(ConnRecord** link, const ParamList& params);

}  // namespace zvdbms
