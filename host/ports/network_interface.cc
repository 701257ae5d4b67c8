#include "host/ports/network_interface.h"

#include <arpa/inet.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <sys/uio.h>

#include <cstring>

#include "host/ports/interface_state.h"

namespace host::ports {
namespace {

constexpr size_t kAddresses = 12;
constexpr size_t kTag = 4;
constexpr size_t kLargest = 1 << 16;  // a frame that is still to be cut into segments

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

void bind_to(int socket, unsigned index, const std::string &name) {
  sockaddr_ll address{};
  address.sll_family = AF_PACKET;
  address.sll_protocol = htons(ETH_P_ALL);
  address.sll_ifindex = static_cast<int>(index);
  check(bind(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address), name);
}

// What the kernel tells about a frame beside its bytes.
tpacket_auxdata auxiliary(msghdr &message) {
  tpacket_auxdata data{};
  for (cmsghdr *each = CMSG_FIRSTHDR(&message); each != nullptr; each = CMSG_NXTHDR(&message, each)) {
    if (each->cmsg_level == SOL_PACKET && each->cmsg_type == PACKET_AUXDATA) {
      memcpy(&data, CMSG_DATA(each), sizeof data);
    }
  }
  return data;
}

void write_tag(uint8_t *where, const tpacket_auxdata &data) {
  const uint16_t type = (data.tp_status & TP_STATUS_VLAN_TPID_VALID) != 0 ? data.tp_vlan_tpid : ETH_P_8021Q;
  const uint16_t words[] = {htons(type), htons(data.tp_vlan_tci)};
  memcpy(where, words, kTag);
}

}  // namespace

NetworkInterface::NetworkInterface(std::string name) : name_(std::move(name)), buffer_(kTag + kLargest) {
  open();
}

void NetworkInterface::open() {
  const unsigned index = if_nametoindex(name_.c_str());
  check(index == 0 ? -1 : 0, name_);
  Descriptor socket(::socket(AF_PACKET, SOCK_RAW | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), name_);
  for (const int option : {PACKET_VNET_HDR, PACKET_AUXDATA, PACKET_IGNORE_OUTGOING}) {
    set_option(socket.number(), option, name_);
  }
  join_all(socket.number(), index, name_);
  bind_to(socket.number(), index, name_);
  socket_ = std::move(socket);
  index_ = index;
}

// Behind the addresses lies the rest of the frame; in front of them is room to move them by a tag.
std::optional<Received> NetworkInterface::receive() {
  if (!socket_) {
    return std::nullopt;
  }
  Received received;
  uint8_t *const start = buffer_.data() + kTag;
  iovec parts[] = {{&received.offload, sizeof received.offload}, {start, kLargest}};
  alignas(cmsghdr) char control[CMSG_SPACE(sizeof(tpacket_auxdata))];
  msghdr message{.msg_name = nullptr,
                 .msg_namelen = 0,
                 .msg_iov = parts,
                 .msg_iovlen = 2,
                 .msg_control = control,
                 .msg_controllen = sizeof control,
                 .msg_flags = 0};
  const ssize_t length = recvmsg(socket_->number(), &message, 0);
  if (length < static_cast<ssize_t>(sizeof received.offload)) {
    return std::nullopt;
  }
  const size_t bytes = static_cast<size_t>(length) - sizeof received.offload;
  received.frame = {start, bytes};
  const tpacket_auxdata data = auxiliary(message);
  if ((data.tp_status & TP_STATUS_VLAN_VALID) != 0 && bytes > kAddresses) {
    memmove(buffer_.data(), start, kAddresses);
    write_tag(buffer_.data() + kAddresses, data);
    received.frame = {buffer_.data(), bytes + kTag};
    received.offload.csum_start = static_cast<uint16_t>(received.offload.csum_start + kTag);
    received.offload.hdr_len = static_cast<uint16_t>(received.offload.hdr_len + kTag);
  }
  return received;
}

bool NetworkInterface::send(Frame frame, const Offload &offload) {
  Offload header = offload;
  const iovec parts[] = {{&header, sizeof header}, {const_cast<uint8_t *>(frame.data()), frame.size()}};
  return socket_ && writev(socket_->number(), parts, 2) >= 0;
}

LinkState NetworkInterface::state() const {
  return socket_ ? interface_state(name_) : LinkState{};
}

bool NetworkInterface::renew() {
  const unsigned index = if_nametoindex(name_.c_str());
  if (index == index_) {
    return false;
  }
  socket_.reset();
  index_ = 0;
  if (index != 0) {
    try {
      open();
    } catch (const std::system_error &) {  // not yet, or gone again
    }
  }
  return true;
}

}  // namespace host::ports
