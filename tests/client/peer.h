// Test peers that play exact bytes to the client and record what it sent.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <atomic>
#include <thread>
#include <vector>
#include "connection/conn_record.h"

// Big-endian builders for scripted replies.
std::string be16(int16_t n);
std::string be32(int32_t n);
std::string be64(int64_t n);
std::string wire_str(const std::string& s);  // int32 length, then the bytes

// The connection's error text ("" for none), and its semaphore's count: 1 when no call holds it.
std::string text_of(const ConnRecord* conn);
int semaphore_count(ConnRecord* conn);

// A TCP listener on 127.0.0.1 with an ephemeral port. After start() a thread accepts one
// connection and plays the steps in order; what the client sent is kept in received().
class ScriptedPeer {
 public:
  ScriptedPeer();
  ~ScriptedPeer();
  uint16_t port() const { return port_; }
  ScriptedPeer& expect(size_t n);               // read exactly n bytes from the client
  ScriptedPeer& send(const std::string& bytes);  // write bytes to the client
  ScriptedPeer& close();                        // close the link
  // Says nothing and waits until the client closes the link (at most 30 s).
  ScriptedPeer& hold();
  // Sends bytes one at a time, gap_ms apart, until they are out or the client closed the link.
  ScriptedPeer& drip(const std::string& bytes, int gap_ms);
  // Calls fn in the peer's thread at this point, with what the client has sent so far; it may
  // set the filters below.
  ScriptedPeer& then(std::function<void(const std::string& received)> fn);
  // When set, applied to the bytes of each later send before they go out, and to the bytes each
  // later expect reads before they are kept (an enciphering peer).
  std::function<void(std::string&)> outgoing, incoming;
  void start();
  void join();                      // waits for the script to end
  const std::string& received();    // joins first
  std::string conn_string(const std::string& extra = "") const;

 private:
  struct Step {
    int kind;
    size_t count;
    std::string bytes;
    std::function<void(const std::string&)> fn;
  };
  ScriptedPeer& add(Step step);
  void run();
  int listen_fd_ = -1;
  int client_fd_ = -1;
  uint16_t port_ = 0;
  std::vector<Step> steps_;
  std::string received_;
  std::thread thread_;
};

// A port on 127.0.0.1 that is bound but not listening: a connect to it is refused.
struct DeadPort {
  DeadPort();
  ~DeadPort();
  int fd;
  uint16_t port;
};

// A ConnRecord (as ZVC_OpenConnection would leave it, logged in) whose socket is one end of a
// socketpair. `reply` goes into the other end (what the socket cannot take at once, by a thread)
// and then the stream ends, so a reader that wants more sees a closed link. Release with
// ZVC_CloseConnection, then sent() tells what the client wrote.
class StreamPeer {
 public:
  explicit StreamPeer(const std::string& reply, bool close_after = true);
  ~StreamPeer();
  ConnRecord* conn;
  std::string sent();  // everything the client wrote so far
  // Reads what the client writes as it comes, for a client that writes more than the socket
  // holds; sent() then returns it.
  void drain();

 private:
  int peer_fd_ = -1;
  std::thread writer_;
  std::thread drainer_;
  std::atomic<bool> stop_draining_{false};
  std::string drained_;
};
