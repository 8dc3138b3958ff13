// The login on an enciphered link, after the client's "~ssl~": the server sends its
// exchange key, the client answers with its link key and its login text in 32-byte blocks
// raised to the key's exponent, and from then on both directions run through the link
// cipher.
#pragma once

#include <string>

#include "exchange_key.h"
#include "login.h"
#include "reply_writer.h"
#include "socket_reader.h"

namespace zv {

// Reads a login text of at most `max` bytes into `text`. Once the link key has arrived,
// `in` and `out` are switched to the cipher, so that the answer to the login, a refusal
// too, goes out enciphered. kEnded when the link closed before the login text did.
LoginTextRead read_enciphered_login(SocketReader& in, ReplyWriter& out, const ExchangeKey& key, size_t max,
                                    std::string& text);

}  // namespace zv
