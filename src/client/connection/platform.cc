#include "connection/platform.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <cstdlib>
#include <cstring>

namespace {

bool stores_low_byte_first() {
  uint32_t one = 1;
  uint8_t first = 0;
  memcpy(&first, &one, 1);
  return first == 1;
}

void set_flag(int fd, int level, int option) {
  int one = 1;
  setsockopt(fd, level, option, &one, sizeof one);
}

// A connect under way in the background: wait for it to finish, at most timeout_ms (no limit
// when it is not above 0).
bool finish_connect(int fd, int32_t timeout_ms) {
  pollfd p{fd, POLLOUT, 0};
  int n;
  do {
    n = poll(&p, 1, timeout_ms > 0 ? timeout_ms : -1);
  } while (n < 0 && errno == EINTR);
  if (n <= 0) return false;
  int error = 0;
  socklen_t len = sizeof error;
  return getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &len) == 0 && error == 0;
}

}  // namespace

// The load hook: the wire is big-endian, so a machine that stores the low byte first swaps.
bool swap_on_wire = stores_low_byte_first();

int plat_socket_open(int32_t ltimeout_ms) {
  // Close-on-exec, so that a child process the host starts does not keep the link open.
  int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (fd < 0) return -1;
  if (fd == 0) {
    // Descriptor 0 stands for "not connected" in the record: move the socket above it.
    int moved = fcntl(fd, F_DUPFD_CLOEXEC, 1);
    close(fd);
    if (moved < 0) return -1;
    fd = moved;
  }
  set_flag(fd, SOL_SOCKET, SO_REUSEADDR);
  set_flag(fd, IPPROTO_TCP, TCP_NODELAY);
  set_flag(fd, SOL_SOCKET, SO_KEEPALIVE);
  plat_socket_set_recv_timeout(fd, ltimeout_ms);
  return fd;
}

void plat_socket_set_recv_timeout(int fd, int32_t timeout_ms) {
  if (timeout_ms <= 0) return;
  timeval tv{};
  tv.tv_sec = timeout_ms / 1000;
  tv.tv_usec = (timeout_ms % 1000) * 1000;
  setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
}

// The connect runs without blocking so that it can be given up after timeout_ms; the socket is
// blocking again afterwards.
bool plat_socket_connect(int fd, uint32_t addr, uint16_t port, int32_t timeout_ms) {
  sockaddr_in sa{};
  sa.sin_family = AF_INET;
  sa.sin_addr.s_addr = addr;
  sa.sin_port = htons(port);
  int flags = fcntl(fd, F_GETFL);
  if (flags < 0 || fcntl(fd, F_SETFL, flags | O_NONBLOCK) < 0) return false;
  bool ok = connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0 ||
            ((errno == EINPROGRESS || errno == EINTR) && finish_connect(fd, timeout_ms));
  return fcntl(fd, F_SETFL, flags) == 0 && ok;
}

void plat_socket_set_abortive(int fd) {
  linger lng{};
  lng.l_onoff = 1;
  lng.l_linger = 0;
  setsockopt(fd, SOL_SOCKET, SO_LINGER, &lng, sizeof lng);
}

void plat_socket_close(int fd) { close(fd); }

int64_t plat_socket_send(int fd, const void* buf, int64_t len) {
  const char* p = static_cast<const char*>(buf);
  int64_t done = 0;
  while (done < len) {
    ssize_t n = send(fd, p + done, static_cast<size_t>(len - done), MSG_NOSIGNAL);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return -1;
    done += n;
  }
  return len;
}

int64_t plat_socket_recv(int fd, void* buf, int64_t len) {
  ssize_t n;
  do {
    n = recv(fd, buf, static_cast<size_t>(len), 0);
  } while (n < 0 && errno == EINTR);
  return n;
}

bool plat_socket_wait_readable(int fd, int32_t timeout_ms) {
  pollfd p{fd, POLLIN, 0};
  int n;
  do {
    n = poll(&p, 1, timeout_ms);
  } while (n < 0 && errno == EINTR);
  // An error on the socket counts as readable: the read that follows reports it.
  return n != 0;
}

int64_t plat_now_ms() {
  timespec ts{};
  clock_gettime(CLOCK_MONOTONIC, &ts);
  return static_cast<int64_t>(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000;
}

uint32_t plat_inet_addr(const char* text) { return inet_addr(text); }

Semaphore* plat_sem_create(unsigned initial) {
  Semaphore* sem = static_cast<Semaphore*>(malloc(sizeof(Semaphore)));
  if (sem && sem_init(sem, 0, initial) != 0) {
    free(sem);
    sem = nullptr;
  }
  return sem;
}

void plat_sem_wait(Semaphore* sem) {
  while (sem_wait(sem) != 0 && errno == EINTR) {
  }
}

void plat_sem_signal(Semaphore* sem) { sem_post(sem); }

void plat_sem_close(Semaphore* sem) {
  if (!sem) return;
  sem_destroy(sem);
  free(sem);
}
