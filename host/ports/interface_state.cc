// SPDX-License-Identifier: Apache-2.0
#include "host/ports/interface_state.h"

#include <ifaddrs.h>
#include <linux/ethtool.h>
#include <linux/if_link.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include "host/ports/descriptor.h"

namespace host::ports {
namespace {

ifreq request_for(const std::string &name) {
  ifreq request{};
  strncpy(request.ifr_name, name.c_str(), sizeof request.ifr_name - 1);
  return request;
}

Descriptor query_socket() {
  return {socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0), "socket"};
}

// None when the interface, or the kernel, does not answer.
std::optional<ifreq> ask(int socket, unsigned long question, ifreq request) {
  return ioctl(socket, question, &request) == 0 ? std::optional(request) : std::nullopt;
}

// Likewise for the questions whose answers have a structure of their own, which names the question.
template <typename Answer>
bool ask_driver(int socket, const std::string &name, Answer &answer) {
  ifreq request = request_for(name);
  request.ifr_data = reinterpret_cast<char *>(&answer);
  return ask(socket, SIOCETHTOOL, request).has_value();
}

// What an interface says of its speed, duplex and connector, if it says anything.
void ask_for_settings(int socket, const std::string &name, LinkState &state) {
  ethtool_cmd settings{};
  settings.cmd = ETHTOOL_GSET;
  if (!ask_driver(socket, name, settings)) {
    return;
  }
  const uint32_t megabits = ethtool_cmd_speed(&settings);
  state.megabits = megabits == static_cast<uint32_t>(SPEED_UNKNOWN) ? 0 : megabits;
  state.half_duplex = settings.duplex == DUPLEX_HALF;
  state.medium = settings.port == PORT_TP      ? LinkState::Medium::Copper
                 : settings.port == PORT_FIBRE ? LinkState::Medium::Fibre
                                               : LinkState::Medium::Unknown;
}

}  // namespace

LinkState interface_state(const std::string &name) {
  constexpr int kReady = IFF_UP | IFF_RUNNING;
  const Descriptor socket = query_socket();
  LinkState state;
  if (const auto flags = ask(socket.number(), SIOCGIFFLAGS, request_for(name))) {
    state.up = (flags->ifr_flags & kReady) == kReady;
  }
  if (const auto address = ask(socket.number(), SIOCGIFHWADDR, request_for(name))) {
    std::copy_n(address->ifr_hwaddr.sa_data, state.mac.size(), state.mac.begin());
  }
  ask_for_settings(socket.number(), name, state);
  return state;
}

std::optional<unsigned> hardware_type(const std::string &name) {
  const auto address = ask(query_socket().number(), SIOCGIFHWADDR, request_for(name));
  return address ? std::optional<unsigned>(address->ifr_hwaddr.sa_family) : std::nullopt;
}

bool is_tap(const std::string &name) {
  ethtool_drvinfo driver{};
  driver.cmd = ETHTOOL_GDRVINFO;
  return ask_driver(query_socket().number(), name, driver) && std::string_view(driver.driver) == "tun" &&
         std::string_view(driver.bus_info) == "tap";
}

std::optional<uint32_t> dropped_frames(const std::string &name) {
  ifaddrs *list = nullptr;
  check(getifaddrs(&list), name);
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
  for (const ifaddrs *each = list; each != nullptr; each = each->ifa_next) {
    if (each->ifa_name == name && each->ifa_addr != nullptr && each->ifa_addr->sa_family == AF_PACKET) {
      return static_cast<const rtnl_link_stats *>(each->ifa_data)->tx_dropped;
    }
  }
  return std::nullopt;
}

void check_name(const std::string &name) {
  const bool fits = name.size() < IFNAMSIZ;
  if (!fits || name.empty() || name.find('%') != std::string::npos) {
    throw std::system_error(fits ? EINVAL : ENAMETOOLONG, std::generic_category(), name);
  }
}

void set_up(const std::string &name) {
  const Descriptor socket = query_socket();
  ifreq request = request_for(name);
  check(ioctl(socket.number(), SIOCGIFFLAGS, &request), name);
  request.ifr_flags = static_cast<short>(request.ifr_flags | IFF_UP);
  check(ioctl(socket.number(), SIOCSIFFLAGS, &request), name);
}

}  // namespace host::ports
