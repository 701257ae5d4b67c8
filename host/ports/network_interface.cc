// SPDX-License-Identifier: Apache-2.0
#include "host/ports/network_interface.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <algorithm>
#include <cstring>

#include "host/ports/batch.h"
#include "host/ports/interface_claim.h"

namespace host::ports {
namespace {

constexpr size_t kAddresses = 12;
constexpr size_t kTag = Batch::kHeadroom;
constexpr int kBuffer = 4 << 20;  // bytes each way, the kernel's own included; what it grants may be less

void set_option(int socket, int option, const std::string &name) {
  const int on = 1;
  check(setsockopt(socket, SOL_PACKET, option, &on, sizeof on), name);
}

void join_all(int socket, unsigned index, const std::string &name) {
  packet_mreq membership{};
  membership.mr_ifindex = static_cast<int>(index);
  membership.mr_type = PACKET_MR_PROMISC;
  check(setsockopt(socket, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &membership, sizeof membership), name);
}

// Beyond the system's limit, where that is permitted. What is sent counts until the interface's queue has sent it: the
// queue's own limit is to decide how much that may be.
void enlarge_buffers(int socket) {
  for (const int option : {SO_RCVBUF, SO_RCVBUFFORCE, SO_SNDBUF, SO_SNDBUFFORCE}) {
    setsockopt(socket, SOL_SOCKET, option, &kBuffer, sizeof kBuffer);
  }
}

void bind_to(int socket, unsigned index, const std::string &name) {
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(ETH_P_ALL);
  address.sll_ifindex = static_cast<int>(index);
  check(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), name);
}

// One frame of several that are received with one call: header, bytes, and what the kernel tells about them.
struct Slot {
  Offload offload;
  iovec parts[2];
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(tpacket_auxdata))];

  msghdr message_into(uint8_t *place) {
    parts[0] = {&offload, sizeof offload};
    parts[1] = {place, Batch::kLargest};
    msghdr message{};
    message.msg_iov = parts;
    message.msg_iovlen = 2;
    message.msg_control = control;
    message.msg_controllen = sizeof control;
    return message;
  }
};

tpacket_auxdata auxiliary(msghdr &message) {
  tpacket_auxdata data{};
  for (cmsghdr *each = CMSG_FIRSTHDR(&message); each != nullptr; each = CMSG_NXTHDR(&message, each)) {
    if (each->cmsg_level == SOL_PACKET && each->cmsg_type == PACKET_AUXDATA) {
      std::memcpy(&data, CMSG_DATA(each), sizeof data);
    }
  }
  return data;
}

void write_tag(uint8_t *where, const tpacket_auxdata &data) {
  const uint16_t type = (data.tp_status & TP_STATUS_VLAN_TPID_VALID) != 0 ? data.tp_vlan_tpid : ETH_P_8021Q;
  const uint16_t words[] = {htons(type), htons(data.tp_vlan_tci)};
  std::memcpy(where, words, kTag);
}

// Puts a tag that the kernel took out of a frame back: the addresses move into the room in front of it.
std::span<uint8_t> put_tag_back(std::span<uint8_t> frame, Offload &offload, const tpacket_auxdata &data) {
  uint8_t *const start = frame.data() - kTag;
  std::memmove(start, frame.data(), kAddresses);
  write_tag(start + kAddresses, data);
  offload.csum_start = static_cast<uint16_t>(offload.csum_start + kTag);
  offload.hdr_len = static_cast<uint16_t>(offload.hdr_len + kTag);
  return {start, frame.size() + kTag};
}

void add(Batch &batch, mmsghdr &received, Slot &slot, uint8_t *place) {
  if ((received.msg_hdr.msg_flags & MSG_TRUNC) != 0) {
    return batch.add({});
  }
  std::span<uint8_t> frame(place, received.msg_len - std::min<size_t>(received.msg_len, sizeof slot.offload));
  const tpacket_auxdata data = auxiliary(received.msg_hdr);
  if ((data.tp_status & TP_STATUS_VLAN_VALID) != 0 && frame.size() > kAddresses) {
    frame = put_tag_back(frame, slot.offload, data);
  }
  batch.add(frame, slot.offload);
}

}  // namespace

InterfaceEnd::Opened NetworkInterface::opened() {
  const unsigned index = if_nametoindex(interface().c_str());
  check(index == 0 ? -1 : 0, interface());
  check_unbound(interface(), index);
  Descriptor claimed = claim(interface(), index);
  Descriptor socket(::socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), interface());
  for (const int option : {PACKET_VNET_HDR, PACKET_AUXDATA, PACKET_IGNORE_OUTGOING}) {
    set_option(socket.number(), option, interface());
  }
  enlarge_buffers(socket.number());
  join_all(socket.number(), index, interface());
  bind_to(socket.number(), index, interface());
  return {std::move(socket), std::move(claimed)};
}

void NetworkInterface::receive(Batch &batch) {
  Slot slots[Batch::kFrames];
  mmsghdr messages[Batch::kFrames];
  for (size_t i = 0; i < Batch::kFrames; ++i) {
    messages[i] = {slots[i].message_into(batch.place(i)), 0};
  }
  const int count = recvmmsg(descriptor(), messages, Batch::kFrames, 0, nullptr);
  if (count < 0 && errno == EINVAL) {
    batch.add({});  // whose segments the header has no words for: it is gone
  }
  for (int i = 0; i < count; ++i) {
    const auto index = static_cast<size_t>(i);
    add(batch, messages[index], slots[index], batch.place(index));
  }
}

size_t NetworkInterface::send(std::span<const Packet> packets) {
  iovec parts[Batch::kFrames][2];
  mmsghdr messages[Batch::kFrames]{};
  const size_t most = std::min(packets.size(), Batch::kFrames);
  for (size_t i = 0; i < most; ++i) {
    const auto &[frame, offload] = packets[i];
    parts[i][0] = {const_cast<Offload *>(&offload), sizeof offload};
    parts[i][1] = {const_cast<uint8_t *>(frame.data()), frame.size()};
    messages[i].msg_hdr.msg_iov = parts[i];
    messages[i].msg_hdr.msg_iovlen = 2;
  }
  const int count = sendmmsg(descriptor(), messages, static_cast<unsigned>(most), 0);
  return count < 0 ? 0 : static_cast<size_t>(count);
}

// Reading them sets them to 0.
uint64_t NetworkInterface::overruns() {
  tpacket_stats counts{};
  socklen_t size = sizeof counts;
  const bool known = getsockopt(descriptor(), SOL_PACKET, PACKET_STATISTICS, &counts, &size) == 0;
  return known ? counts.tp_drops : 0;
}

}  // namespace host::ports
