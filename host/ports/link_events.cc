// SPDX-License-Identifier: Apache-2.0
#include "host/ports/link_events.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

namespace host::ports {
namespace {

Descriptor link_group() {
  Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, NETLINK_ROUTE), "netlink");
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK;
  check(bind(socket.number(), reinterpret_cast<const sockaddr *>(&address), sizeof address), "netlink");
  return socket;
}

}  // namespace

LinkEvents::LinkEvents() {
  try {
    socket_ = link_group();
  } catch (const std::system_error &) {  // one has to look
  }
}

// What the messages say does not matter; that some were lost, for want of room, is an event as well.
bool LinkEvents::happened() {
  if (!socket_) {
    return true;
  }
  bool any = false;
  char message[1];
  while (recv(socket_->number(), message, sizeof message, MSG_TRUNC) >= 0 || errno == ENOBUFS) {
    any = true;
  }
  return any;
}

}  // namespace host::ports
