// SPDX-License-Identifier: Apache-2.0
// Flow-mods and dumps through a real socket, on any OpenFlow 1.0 switch, the client's own work included.
//
//   oftab_openflow_client ADDRESS PORT
#include <arpa/inet.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "agent/openflow/message.h"

namespace {

using namespace agent::openflow;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kFull = 4095;
constexpr uint32_t kFew = 500;  // flows with a barrier each

void require(bool good, const char *what) {
  if (!good) {
    throw std::system_error(errno, std::generic_category(), what);
  }
}

class Client {
 public:
  Client(const char *address, const char *port) : socket_(socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in there{};
    there.sin_family = AF_INET;
    there.sin_port = htons(static_cast<uint16_t>(std::atoi(port)));
    inet_pton(AF_INET, address, &there.sin_addr);
    require(connect(socket_, reinterpret_cast<const sockaddr *>(&there), sizeof there) == 0, "connect");
    const int on = 1;
    setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Bytes hello;
    Composer(hello, OFPT_HELLO, 0);
    send(hello);
  }
  ~Client() { close(socket_); }
  Client(const Client &) = delete;
  Client &operator=(const Client &) = delete;

  void send(const Bytes &bytes) const {
    for (size_t sent = 0; sent < bytes.size();) {
      const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, 0);
      require(count > 0, "send");
      sent += static_cast<size_t>(count);
    }
  }

  // Reads messages up to the answer to a request; echoes are answered on the way.
  size_t wait_for(MessageType type, uint32_t xid) {
    for (size_t octets = 0;;) {
      const wire::Header header = next();
      octets += header.length;
      require(header.type != OFPT_ERROR, "the switch answered with an error");
      if (header.type == type && header.xid == xid && !more_follows(header)) {
        return octets;
      }
    }
  }

 private:
  wire::Header next() {
    receive(wire::Header::kSize);
    ByteView rest(message_);
    const auto header = take<wire::Header>(rest);
    receive(header.length);
    const size_t length = header.length;
    head_.assign(message_.begin(), message_.begin() + static_cast<std::ptrdiff_t>(std::min<size_t>(length, 12)));
    message_.erase(message_.begin(), message_.begin() + static_cast<std::ptrdiff_t>(length));
    if (header.type == OFPT_ECHO_REQUEST) {
      Bytes reply;
      Composer(reply, OFPT_ECHO_REPLY, header.xid);
      send(reply);
    }
    return header;
  }

  bool more_follows(const wire::Header &header) const {
    return header.type == OFPT_STATS_REPLY && head_[11] == OFPSF_REPLY_MORE;
  }

  void receive(size_t octets) {
    static std::array<uint8_t, 1 << 16> space;
    while (message_.size() < octets) {
      const ssize_t count = recv(socket_, space.data(), space.size(), 0);
      require(count > 0, "recv");
      append(message_, ByteView(space).first(static_cast<size_t>(count)));
    }
  }

  int socket_;
  Bytes message_;
  Bytes head_;
};

// A flow on a TCP port of its own, forwarded normally.
void append_flow_mod(Bytes &out, uint16_t command, uint32_t number) {
  wire::FlowMod mod;
  mod.command = command;
  mod.priority = static_cast<uint16_t>(1 + number);
  mod.buffer_id = 0xffffffff;
  mod.out_port = 0xffff;
  const bool all = command == 3;
  mod.match = {0x00, 0x38, 0x20, static_cast<uint8_t>(all ? 0xff : 0x4f)};
  if (all) {
    mod.match = {0x00, 0x3f, 0xff, 0xff};
  }
  mod.match[22] = 0x08;
  mod.match[25] = 6;
  mod.match[38] = static_cast<uint8_t>(number >> 8);
  mod.match[39] = static_cast<uint8_t>(number);
  Composer message(out, OFPT_FLOW_MOD, number);
  message << mod;
  if (!all) {
    message << wire::ActionHead{0, 8} << wire::OutputAction{0xfffa, 0};
  }
}

void append_barrier(Bytes &out, uint32_t xid) {
  Composer(out, OFPT_BARRIER_REQUEST, xid);
}

double microseconds_since(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

void clear(Client &client) {
  Bytes out;
  append_flow_mod(out, 3, 0);
  append_barrier(out, 1);
  client.send(out);
  client.wait_for(OFPT_BARRIER_REPLY, 1);
}

// Microseconds a flow, from `first` on.
double pipelined(Client &client, uint32_t first, uint32_t count) {
  Bytes out;
  for (uint32_t i = 0; i < count; ++i) {
    append_flow_mod(out, 0, first + i);
  }
  append_barrier(out, 2);
  const auto start = Clock::now();
  client.send(out);
  client.wait_for(OFPT_BARRIER_REPLY, 2);
  return microseconds_since(start) / count;
}

double with_a_barrier_each(Client &client, uint32_t first, uint32_t count) {
  const auto start = Clock::now();
  for (uint32_t i = 0; i < count; ++i) {
    Bytes out;
    append_flow_mod(out, 0, first + i);
    append_barrier(out, i);
    client.send(out);
    client.wait_for(OFPT_BARRIER_REPLY, i);
  }
  return microseconds_since(start) / count;
}

double dump(Client &client) {
  Bytes out;
  wire::FlowStatsRequest all{.match = {0x00, 0x3f, 0xff, 0xff}, .table_id = 0xff, .pad = {}, .out_port = 0xffff};
  Composer(out, OFPT_STATS_REQUEST, 3) << wire::Statistics{OFPST_FLOW, 0} << all;
  const auto start = Clock::now();
  client.send(out);
  client.wait_for(OFPT_STATS_REPLY, 3);
  return microseconds_since(start) / kFull;
}

void report(const char *what, double microseconds) {
  std::printf("%-46s %8.2f us a flow %10.0f flows/s\n", what, microseconds, 1e6 / microseconds);
}

}  // namespace

int main(int count, char **words) try {
  if (count != 3) {
    std::fprintf(stderr, "usage: %s ADDRESS PORT\n", words[0]);
    return 2;
  }
  Client client(words[1], words[2]);
  clear(client);
  report("4095 adds with one barrier, empty table", pipelined(client, 0, kFull));
  report("dump of 4095 flows", dump(client));
  clear(client);
  report("500 adds with a barrier each, empty table", with_a_barrier_each(client, 0, kFew));
  pipelined(client, kFew, kFull - 2 * kFew);
  report("500 adds with a barrier each, nearly full", with_a_barrier_each(client, kFull - kFew, kFew));
  clear(client);
  pipelined(client, 0, kFull - kFew);
  report("500 adds with one barrier, nearly full", pipelined(client, kFull - kFew, kFew));
  clear(client);
  return 0;
} catch (const std::exception &error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
} catch (const ProtocolError &) {
  std::fprintf(stderr, "the switch sent what is no OpenFlow message\n");
  return 1;
}
