// Small text and memory helpers used throughout the client.
#pragma once
#include <cstddef>
#include <cstdint>

struct ConnRecord;

// Zero-filled heap block; null when memory runs out.
void* client_alloc(size_t size);
// A formatted line to the notice hook of conn (the calling thread's hook, else standard output,
// when it set none; nothing when it is silent). With no connection to hand, nothing.
void client_print(const ConnRecord* conn, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
// The same for a line already made.
void notice_line(const ConnRecord* conn, const char* line);
// Formatted print into a caller's buffer of cap bytes (always terminated).
int client_sprintf(char* dst, size_t cap, const char* fmt, ...) __attribute__((format(printf, 3, 4)));

// Clears cap bytes of dst and copies src; when src with its NUL does not fit, copies cap-1 bytes and returns -12.
int32_t str_copy_bounded(char* dst, size_t cap, const char* src);
// The same behind what dst already holds, with what is left of cap.
int32_t str_append_bounded(char* dst, size_t cap, const char* src);

// The longest prefix of the n bytes at s, at most cap bytes, that does not end inside a UTF-8
// sequence: a text cut to fit a buffer keeps whole characters.
size_t utf8_cut_len(const char* s, size_t n, size_t cap);

// Replaces the heap text in *slot (freeing the old one) with a copy of text; a null text just frees.
void set_error_text(char** slot, const char* text);
void set_error_textf(char** slot, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
