// SPDX-License-Identifier: Apache-2.0
// Sends frames by an interface as fast as it takes them: oftab_frame_flood INTERFACE LENGTH SECONDS
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <vector>

#include "host/ports/batch.h"
#include "host/ports/network_interface.h"

namespace {

constexpr size_t kShortest = 60;
constexpr uint8_t kHead[] = {2, 0, 0, 0, 0, 2, 2, 0, 0, 0, 0, 1, 0x88, 0xb5};  // to host 2, from host 1

// How many it took.
uint64_t flood(host::ports::NetworkInterface &interface, size_t length, double seconds) {
  std::vector<uint8_t> frame(std::max(length, kShortest));
  std::ranges::copy(kHead, frame.begin());
  const std::vector<host::ports::Packet> packets(host::ports::Batch::kFrames, host::ports::Packet{frame});
  uint64_t sent = 0;
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
  while (std::chrono::steady_clock::now() < end) {
    sent += interface.send(packets);
  }
  return sent;
}

}  // namespace

int main(int count, char **words) try {
  if (count != 4) {
    std::cerr << "oftab_frame_flood INTERFACE LENGTH SECONDS\n";
    return 2;
  }
  host::ports::NetworkInterface interface(words[1]);
  std::cout << flood(interface, std::strtoul(words[2], nullptr, 10), std::strtod(words[3], nullptr)) << '\n';
  return 0;
} catch (const std::exception &problem) {
  std::cerr << "oftab_frame_flood: " << problem.what() << '\n';
  return 1;
}
