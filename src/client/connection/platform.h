// POSIX stand-ins for the socket, semaphore and load-hook services the client needs.
#pragma once
#include <cstdint>
#include <semaphore.h>

// True on a little-endian machine: every wire integer and float is then byte-reversed.
// Set once, by a static initialiser, when the library is loaded.
extern bool swap_on_wire;

// Blocking IPv4 TCP socket with address reuse, no delay and keep-alive; a receive
// time-out of ltimeout_ms when it is above 0. Returns a descriptor above 0, or -1.
int plat_socket_open(int32_t ltimeout_ms);
// Sets the receive time-out; nothing when timeout_ms is not above 0.
void plat_socket_set_recv_timeout(int fd, int32_t timeout_ms);
// Connects to addr (network order) and port (host order), giving up after timeout_ms (no limit
// when it is not above 0); true on success.
bool plat_socket_connect(int fd, uint32_t addr, uint16_t port, int32_t timeout_ms);
// After a successful connect: closing resets the link at once (SO_LINGER 0).
void plat_socket_set_abortive(int fd);
void plat_socket_close(int fd);
// Writes every byte, looping over short writes and EINTR; never raises SIGPIPE.
// Returns len, or -1 when the socket fails.
int64_t plat_socket_send(int fd, const void* buf, int64_t len);
// Waits until fd has bytes to read or has ended, at most timeout_ms; false when the time ran out.
bool plat_socket_wait_readable(int fd, int32_t timeout_ms);
// A monotonic clock in milliseconds, for deadlines.
int64_t plat_now_ms();
// One receive of up to len bytes, retried on EINTR. Returns the count, 0 at end of stream, -1 on failure.
int64_t plat_socket_recv(int fd, void* buf, int64_t len);
// Dotted IPv4 text to network-order address; INADDR_NONE (all bits set) when the text is not an address.
uint32_t plat_inet_addr(const char* text);

// The connection's lock: a counting semaphore used as a mutex.
typedef sem_t Semaphore;
Semaphore* plat_sem_create(unsigned initial);
void plat_sem_wait(Semaphore* sem);    // infinite wait
void plat_sem_signal(Semaphore* sem);  // release one count
void plat_sem_close(Semaphore* sem);
