#include "host/ports/cable.h"

#include <sys/socket.h>

namespace host::ports {
namespace {

constexpr size_t kLargest = 1 << 16;

}  // namespace

std::pair<std::unique_ptr<Cable>, Descriptor> Cable::make() {
  int sockets[2];
  check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, sockets), "cable");
  Descriptor far(sockets[1], "cable");
  return {std::make_unique<Cable>(Descriptor(sockets[0], "cable")), std::move(far)};
}

Cable::Cable(Descriptor socket) : socket_(std::move(socket)), buffer_(kLargest) {}

std::optional<Received> Cable::receive() {
  const ssize_t length = recv(socket_.number(), buffer_.data(), buffer_.size(), 0);
  if (length <= 0) {
    return std::nullopt;
  }
  return Received{.frame = {buffer_.data(), static_cast<size_t>(length)}};
}

bool Cable::send(Frame frame, const Offload &) {
  return ::send(socket_.number(), frame.data(), frame.size(), MSG_NOSIGNAL) >= 0;
}

}  // namespace host::ports
