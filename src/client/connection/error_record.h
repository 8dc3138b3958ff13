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

ErrorRecord* make_error_record(const char* message);
void free_error_record(ErrorRecord* record);
