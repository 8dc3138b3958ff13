// The structured form of an error text: code and body, with an extension for long texts.
#pragma once
#include <cstdint>

struct ErrorRecord {
  int32_t text_len;
  char code[7];
  char text[257];
  int32_t ext_len;
  char* ext_text;
};

// Null for a null message. A body too long for text keeps its first 200 bytes there with a hint
// behind them (text_len counts both), and the whole body in ext_text.
ErrorRecord* make_error_record(const char* message);
void free_error_record(ErrorRecord* record);

