// SPDX-License-Identifier: Apache-2.0
#include "host/ports/interface_master.h"

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cstdint>
#include <cstring>

#include "host/ports/descriptor.h"

namespace host::ports {
namespace {

// The answer's attribute; 0 without one.
unsigned master_in(const uint8_t *answer, ssize_t length) {
  const auto *header = reinterpret_cast<const nlmsghdr *>(answer);
  if (!NLMSG_OK(header, length) || header->nlmsg_type != RTM_NEWLINK) {
    return 0;
  }
  size_t left = IFLA_PAYLOAD(header);
  for (const rtattr *each = IFLA_RTA(NLMSG_DATA(header)); RTA_OK(each, left); each = RTA_NEXT(each, left)) {
    if (each->rta_type == IFLA_MASTER) {
      unsigned index = 0;
      std::memcpy(&index, RTA_DATA(each), sizeof index);
      return index;
    }
  }
  return 0;
}

}  // namespace

unsigned master_of(unsigned index) {
  const Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE), "netlink");
  struct {
    nlmsghdr header;
    ifinfomsg link;
  } question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = RTM_GETLINK;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.link.ifi_index = static_cast<int>(index);
  check(static_cast<int>(send(socket.number(), &question, sizeof question, 0)), "netlink");
  alignas(nlmsghdr) uint8_t answer[1 << 15];
  return master_in(answer, recv(socket.number(), answer, sizeof answer, 0));
}

}  // namespace host::ports
