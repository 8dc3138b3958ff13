// The keystream of an enciphered link: one Turing context for each direction, both keyed with the
// link key. Every byte either way is XORed with the keystream; each 340-byte batch serves ten times
// over before the next replaces it, as the server does on its side.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

enum { LINK_KEY_SIZE = 32, LINK_REFILL = 3400 };

// Makes and keys both contexts. False, with none left, when memory runs out.
bool link_cipher_setup(ConnRecord* conn, const uint8_t* key, int len);
// Frees both contexts, wiping their key material, and nulls them: the link is plain again.
void link_cipher_free(ConnRecord* conn);
// XOR in place with the send and the receive keystream.
void link_cipher_out(ConnRecord* conn, uint8_t* data, int32_t len);
void link_cipher_in(ConnRecord* conn, uint8_t* data, int32_t len);
