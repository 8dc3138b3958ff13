// The block image that opens an enciphered login: the link key, then the login text stuffed into
// 32-byte blocks, each raised to the server's exponent modulo its modulus.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

enum {
  LINK_BLOCK = 32,
  LINK_IMAGE_SIZE = 512,
  // The longest login text whose image, with the block link_encrypt_blocks writes behind the
  // last, fits LINK_IMAGE_SIZE after the key: stuffed, with its NUL, it takes at most 479 bytes.
  LINK_TEXT_MAX = 449,
};

// A fresh link key into key (32 bytes): random bytes mixed with the password. False when the
// system gives no random bytes.
bool link_key_make(uint8_t* key, const char* password);
// XORs the 32 bytes with the password repeated (only its first 32 bytes count; an empty one
// changes nothing) and clears the top bit, so that the key as a number stays below 2^255.
void link_key_mix(uint8_t* key, const char* password);
// In place: every full 30 bytes of text are followed by 07 07, so that each 32-byte block of text
// has 07 07 as its most significant bytes. The buffer must have room and be zeroed behind the
// text. Returns the new length.
int32_t login_text_stuff(char* text);
// In place: each 32-byte block, the last one zero-padded, becomes its value to the power of the
// link's exponent modulo its modulus, all read as 256-bit little-endian numbers. Writes
// (len / 32 + 1) * 32 bytes. A block whose power cannot be made (a zero exponent or modulus)
// becomes zero.
void link_encrypt_blocks(ConnRecord* conn, uint8_t* buf, int len);
