// SPDX-License-Identifier: Apache-2.0
#include "host/ports/tap.h"

#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/uio.h>

#include <cstring>
#include <stdexcept>
#include <utility>

#include "host/ports/batch.h"
#include "host/ports/interface_claim.h"
#include "host/ports/interface_state.h"

namespace host::ports {

InterfaceEnd::Opened Tap::opened() {
  check_name(interface());
  if (if_nametoindex(interface().c_str()) != 0 && !is_tap(interface())) {
    throw std::runtime_error(interface() + " exists and is no TAP");
  }
  Descriptor device(::open("/dev/net/tun", O_RDWR | O_NONBLOCK | O_CLOEXEC), "/dev/net/tun");
  ifreq request{};
  request.ifr_flags = IFF_TAP | IFF_NO_PI | IFF_VNET_HDR;
  std::strncpy(request.ifr_name, interface().c_str(), sizeof request.ifr_name - 1);
  const int result = ioctl(device.number(), TUNSETIFF, &request);
  check(result, interface() + (result < 0 && errno == EBUSY ? " is taken" : ""));
  Descriptor claimed = claim(interface(), if_nametoindex(interface().c_str()));
  dropped_ = dropped_frames(interface()).value_or(0);
  set_up(interface());
  return {std::move(device), std::move(claimed)};
}

uint64_t Tap::overruns() {
  const uint32_t now = dropped_frames(interface()).value_or(dropped_);
  return now - std::exchange(dropped_, now);
}

void Tap::receive(Batch &batch) {
  while (!batch.is_full()) {
    Offload offload;
    uint8_t *const place = batch.place(batch.size());
    const iovec parts[] = {{&offload, sizeof offload}, {place, Batch::kLargest}};
    const ssize_t length = readv(descriptor(), parts, 2);
    if (length < static_cast<ssize_t>(sizeof offload)) {
      return;
    }
    batch.add({place, static_cast<size_t>(length) - sizeof offload}, offload);
  }
}

size_t Tap::send(std::span<const Packet> packets) {
  size_t taken = 0;
  for (const Packet &packet : packets) {
    Offload header = packet.offload;
    const iovec parts[] = {{&header, sizeof header}, {const_cast<uint8_t *>(packet.frame.data()), packet.frame.size()}};
    if (writev(descriptor(), parts, 2) < 0) {
      break;
    }
    ++taken;
  }
  return taken;
}

}  // namespace host::ports
