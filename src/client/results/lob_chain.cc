#include "results/lob_chain.h"

#include <cstdlib>
#include <cstring>

#include "connection/block_cache.h"
#include "connection/client_text.h"

namespace {
// Chunks come in pairs: one of even index starts a 2 MiB run that the kernel can back with a huge
// page and the block cache recycles between objects; the next chunk takes the run's second half.
enum : size_t { CHUNK_RUN = size_t{2} * LOB_CHUNK_SIZE };

// Chunk number index behind last (null for the first chunk), its bytes unzeroed.
LobChunk* new_chunk(int32_t index, const LobChunk* last) {
  LobChunk* chunk = static_cast<LobChunk*>(client_alloc(sizeof(LobChunk)));
  if (!chunk) return nullptr;
  chunk->data = index % 2 ? last->data + LOB_CHUNK_SIZE : static_cast<uint8_t*>(block_take(CHUNK_RUN, false));
  if (!chunk->data) {
    free(chunk);
    return nullptr;
  }
  chunk->index = index;
  return chunk;
}
}  // namespace

// Every chunk but the last is full, so the chain's free space is what the last one lacks.
uint8_t* lob_tail(LobHandle* lob, int32_t* room) {
  int64_t free_bytes = static_cast<int64_t>(lob->chunk_count) * LOB_CHUNK_SIZE - lob->size;
  if (free_bytes == 0) {
    LobChunk* chunk = new_chunk(lob->chunk_count, lob->cur_chunk);
    if (!chunk) return nullptr;
    if (lob->cur_chunk) {
      lob->cur_chunk->next = chunk;
    } else {
      lob->first_chunk = chunk;
    }
    lob->cur_chunk = chunk;
    lob->chunk_count++;
    free_bytes = LOB_CHUNK_SIZE;
  }
  *room = static_cast<int32_t>(free_bytes);
  return lob->cur_chunk->data + (LOB_CHUNK_SIZE - free_bytes);
}

int32_t lob_append(LobHandle* lob, const uint8_t* data, int64_t n) {
  while (n > 0) {
    int32_t room = 0;
    uint8_t* dst = lob_tail(lob, &room);
    if (!dst) return ZV_NO_MEMORY;
    int32_t part = n < room ? static_cast<int32_t>(n) : room;
    memcpy(dst, data, static_cast<size_t>(part));
    lob->size += part;
    data += part;
    n -= part;
  }
  return 0;
}

void lob_clear(LobHandle* lob) {
  LobChunk* chunk = lob->first_chunk;
  while (chunk) {
    LobChunk* next = chunk->next;
    if (chunk->index % 2 == 0) block_give(chunk->data, CHUNK_RUN);
    free(chunk);
    chunk = next;
  }
  free(lob->desc_text);
  free(lob->error_text);
  int32_t kind = lob->kind;
  memset(lob, 0, sizeof *lob);
  lob->kind = kind;
}
