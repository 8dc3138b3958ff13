// Typed wire primitives over a connection's socket and its 8192-byte buffers.
// Integers and floats travel big-endian; text and raw bytes as they are.
#pragma once
#include <cstdint>
#include "connection/conn_record.h"

// The longest string recv_string accepts; longer or negative lengths are failed reads.
enum { WIRE_MAX_STRING = 64 * 1024 * 1024 };

bool recv_bytes(ConnRecord* conn, void* buf, int32_t len);
int recv_char(ConnRecord* conn, char* ch);  // 1, or 0 on failure
bool recv_int16(ConnRecord* conn, int16_t* n);
bool recv_int32(ConnRecord* conn, int32_t* n);
bool recv_int64(ConnRecord* conn, int64_t* n);
bool recv_float(ConnRecord* conn, float* f);
bool recv_double(ConnRecord* conn, double* f);
// Heap string, NUL-terminated, owned by the caller. 0; -4 on a failed or refused read; -5 out of memory.
int32_t recv_string(ConnRecord* conn, char** out);
// Delivers up to len bytes from the receive buffer or one socket read; -1 after 3 failed tries.
int32_t recv_buffered(ConnRecord* conn, uint8_t* dst, int32_t len);

int32_t send_bytes(ConnRecord* conn, const void* buf, int32_t len);
int32_t send_int16(ConnRecord* conn, int16_t n);
int32_t send_int32(ConnRecord* conn, int32_t n);
int32_t send_int64(ConnRecord* conn, int64_t n);
int32_t send_flush(ConnRecord* conn);

// Memory-buffer writers: store at *cursor, advance it, return its new value.
int32_t buf_put_bytes(uint8_t* buf, int32_t* cursor, const void* src, int32_t len);
int32_t buf_put_int16(uint8_t* buf, int32_t* cursor, int16_t n);
int32_t buf_put_int32(uint8_t* buf, int32_t* cursor, int32_t n);
int32_t buf_put_int64(uint8_t* buf, int32_t* cursor, int64_t n);
