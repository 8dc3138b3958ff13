// Large objects: a chain of 1 MiB chunks, filled by puts, by field access or by the "get lob" fetch.
#pragma once
#include <cstdint>
#include "results/result_record.h"

enum { LOB_CHUNK_SIZE = 1048576 };

struct LobChunk {
  int32_t index;
  uint8_t* data;  // exactly LOB_CHUNK_SIZE bytes
  LobChunk* next;
};

// Values of LobHandle.state beside 0, empty.
enum { LOB_PUT = 1, LOB_COMPLETE = 2 };
// What field access gives for a large object that came as a descriptor: desc_text is set and the
// object is still to be fetched over the link.
enum { LOB_NEEDS_FETCH = 1 };

struct LobHandle {
  int32_t kind;  // HT_LOB
  int32_t chunk_count;
  int32_t state;  // 0 empty, 1 data was put, 2 complete
  int64_t size;
  int64_t read_pos;
  LobChunk* cur_chunk;
  LobChunk* first_chunk;
  char* desc_text;
  char* error_text;
};

// Field access for CType 41 to 44: fills the LobHandle that *(LobHandle**)buffer points to.
int32_t field_to_lob(ResultRecord* result, const FieldDesc* field, const uint8_t* value, int32_t len,
                     int32_t ctype, void* buffer, int32_t* out_len);
