// SPDX-License-Identifier: Apache-2.0
#include "host/ports/interface_claim.h"

#include <net/if.h>
#include <net/if_arp.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <stdexcept>

#include "host/ports/interface_master.h"
#include "host/ports/interface_state.h"

namespace host::ports {
namespace {

void check_kind(const std::string &name) {
  const std::optional<unsigned> type = hardware_type(name);
  if (type == ARPHRD_LOOPBACK) {
    throw std::runtime_error(name + " is a loopback interface: what it sends comes back");
  }
  if (type && type != ARPHRD_ETHER) {
    throw std::runtime_error(name + " carries no Ethernet frames");
  }
}

void check_master(const std::string &name, unsigned index) {
  if (const unsigned master = master_of(index); master != 0) {
    char text[IF_NAMESIZE];
    const bool known = if_indextoname(master, text) != nullptr;
    throw std::runtime_error(name + " is taken: it is a member of " + (known ? text : "another interface"));
  }
}

// A socket's name without a file belongs to the network namespace as interfaces do, and goes with its process.
struct ClaimName {
  explicit ClaimName(unsigned index) {
    address.sun_family = AF_UNIX;
    const std::string text = "oftab-switch/interface/" + std::to_string(index);
    std::memcpy(&address.sun_path[1], text.data(), text.size());
    length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + text.size());
  }
  const sockaddr *get() const { return reinterpret_cast<const sockaddr *>(&address); }

  sockaddr_un address{};
  socklen_t length;
};

Descriptor stream_socket() {
  return {socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket"};
}

// "process 4711", where it can be seen from here.
std::string owner_of(const ClaimName &name) {
  const Descriptor socket = stream_socket();
  ucred owner{};
  socklen_t size = sizeof owner;
  const bool known = connect(socket.number(), name.get(), name.length) == 0 &&
                     getsockopt(socket.number(), SOL_SOCKET, SO_PEERCRED, &owner, &size) == 0 && owner.pid != 0;
  if (known && owner.pid == getpid()) {
    return "another port of this switch";
  }
  return known ? "a port of process " + std::to_string(owner.pid) : "a port of another process";
}

}  // namespace

void check_unbound(const std::string &name, unsigned index) {
  check_kind(name);
  check_master(name, index);
}

Descriptor claim(const std::string &name, unsigned index) {
  Descriptor socket = stream_socket();
  const ClaimName address(index);
  const int result = bind(socket.number(), address.get(), address.length);
  if (result != 0 && errno == EADDRINUSE) {
    throw std::runtime_error(name + " is taken: " + owner_of(address) + " leads to it");
  }
  check(result, name);
  check(listen(socket.number(), SOMAXCONN), name);
  return socket;
}

}  // namespace host::ports
