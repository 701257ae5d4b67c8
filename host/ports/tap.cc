#include "host/ports/tap.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/uio.h>

#include <cstring>

#include "host/ports/interface_state.h"

namespace host::ports {
namespace {

constexpr size_t kLargest = 1 << 16;

}  // namespace

Tap::Tap(std::string name)
    : name_(std::move(name)),
      device_(open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC), "/dev/net/tun"),
      buffer_(kLargest) {
  ifreq request{};
  request.ifr_flags = IFF_TAP | IFF_NO_PI | IFF_VNET_HDR;
  strncpy(request.ifr_name, name_.c_str(), sizeof request.ifr_name - 1);
  check(ioctl(device_.number(), TUNSETIFF, &request), name_);
  set_up(name_);
}

std::optional<Received> Tap::receive() {
  Received received;
  const iovec parts[] = {{&received.offload, sizeof received.offload}, {buffer_.data(), buffer_.size()}};
  const ssize_t length = readv(device_.number(), parts, 2);
  if (length < static_cast<ssize_t>(sizeof received.offload)) {
    return std::nullopt;
  }
  received.frame = {buffer_.data(), static_cast<size_t>(length) - sizeof received.offload};
  return received;
}

bool Tap::send(Frame frame, const Offload &offload) {
  Offload header = offload;
  const iovec parts[] = {{&header, sizeof header}, {const_cast<uint8_t *>(frame.data()), frame.size()}};
  return writev(device_.number(), parts, 2) >= 0;
}

LinkState Tap::state() const {
  return interface_state(name_);
}

}  // namespace host::ports
