// Finding the placeholders of a statement text: "?" by position, ":name" by name.
#pragma once
#include <string>
#include <vector>

namespace zvdbms {

// Runs of "?" anywhere in the text: a run of one or two marks is one placeholder, three add
// nothing, and each further mark takes one away.
int count_positional_params(const char* text);
// Runs of ":" outside single quotes, counted as runs of "?" are.
int count_named_params(const char* text);
// The name behind each ":" outside single quotes, in order (empty for a ":" with no name).
std::vector<std::string> scan_param_names(const char* text);

}  // namespace zvdbms
