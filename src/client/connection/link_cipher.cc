#include "connection/link_cipher.h"

#include <cstdlib>
#include <cstring>

#include "connection/client_text.h"
#include "connection/turing.h"

namespace {

TuringContext* keyed_context(const uint8_t* key, int len) {
  TuringContext* ctx = static_cast<TuringContext*>(client_alloc(sizeof(TuringContext)));
  if (!ctx) return nullptr;
  TuringKey(ctx, key, len);
  TuringIV(ctx, nullptr, 0);
  TuringGen(ctx, ctx->batch);
  ctx->counter = 0;
  return ctx;
}

void free_context(TuringContext** slot) {
  if (!*slot) return;
  explicit_bzero(*slot, sizeof **slot);
  free(*slot);
  *slot = nullptr;
}

// Byte by byte this is data ^= batch[counter % 340] with a refill when counter reaches 3400; it
// runs in stretches that stay inside one pass over the batch, so the XOR loop vectorises.
void apply_keystream(TuringContext* ctx, uint8_t* data, int32_t len) {
  while (len > 0) {
    int32_t pos = ctx->counter % TURING_BATCH;
    int32_t run = TURING_BATCH - pos;
    if (run > len) run = len;
    const uint8_t* ks = ctx->batch + pos;
    for (int32_t i = 0; i < run; ++i) data[i] ^= ks[i];
    data += run;
    len -= run;
    ctx->counter += run;
    if (ctx->counter == LINK_REFILL) {
      TuringGen(ctx, ctx->batch);
      ctx->counter = 0;
    }
  }
}

}  // namespace

bool link_cipher_setup(ConnRecord* conn, const uint8_t* key, int len) {
  link_cipher_free(conn);
  conn->recv_cipher = keyed_context(key, len);
  conn->send_cipher = keyed_context(key, len);
  if (conn->recv_cipher && conn->send_cipher) return true;
  link_cipher_free(conn);
  return false;
}

void link_cipher_free(ConnRecord* conn) {
  free_context(&conn->recv_cipher);
  free_context(&conn->send_cipher);
}

void link_cipher_out(ConnRecord* conn, uint8_t* data, int32_t len) { apply_keystream(conn->send_cipher, data, len); }

void link_cipher_in(ConnRecord* conn, uint8_t* data, int32_t len) { apply_keystream(conn->recv_cipher, data, len); }
