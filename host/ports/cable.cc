// SPDX-License-Identifier: Apache-2.0
#include "host/ports/cable.h"

#include <sys/socket.h>

#include "host/ports/batch.h"

namespace host::ports {

std::pair<std::unique_ptr<Cable>, Descriptor> Cable::make() {
  int sockets[2];
  check(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, sockets), "cable");
  Descriptor far(sockets[1], "cable");
  return {std::make_unique<Cable>(Descriptor(sockets[0], "cable")), std::move(far)};
}

void Cable::receive(Batch &batch) {
  while (!batch.is_full()) {
    uint8_t *const place = batch.place(batch.size());
    const ssize_t length = recv(socket_.number(), place, Batch::kLargest, 0);
    if (length <= 0) {
      return;
    }
    batch.add({place, static_cast<size_t>(length)});
  }
}

size_t Cable::send(std::span<const Packet> packets) {
  size_t taken = 0;
  for (const Packet &packet : packets) {
    if (::send(socket_.number(), packet.frame.data(), packet.frame.size(), MSG_NOSIGNAL) < 0) {
      break;
    }
    ++taken;
  }
  return taken;
}

}  // namespace host::ports
