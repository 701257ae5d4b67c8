// SPDX-License-Identifier: Apache-2.0
// Captures and frames of any content: each is read or refused with a message that names the file, and every packet that
// is read goes through the switch.
#include <sys/mman.h>
#include <unistd.h>

#include "app/commands/command_error.h"
#include "app/syntax/capture.h"
#include "app/syntax/packet_syntax.h"
#include "fuzz/fuzzed_switch.h"

namespace {

using fuzz::require;
using host::asic::PacketHeader;

// A file without a place on any disk.
class MemoryFile {
 public:
  explicit MemoryFile(std::span<const uint8_t> bytes) : descriptor_(memfd_create("capture", 0)) {
    require(write(descriptor_, bytes.data(), bytes.size()) == std::ssize(bytes), "no memory file");
  }
  ~MemoryFile() { close(descriptor_); }
  MemoryFile(const MemoryFile &) = delete;
  MemoryFile &operator=(const MemoryFile &) = delete;

  std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor_); }

 private:
  const int descriptor_;
};

void send(const PacketHeader &packet) {
  require(!app::to_text(packet).empty(), "a packet without text");
  require(fuzz::booted_switch().inject(0x1a000000, packet).tcam_index.has_value(), "not even the catch-all matches");
}

void send_capture(const std::string &path) {
  try {
    for (const app::CapturedPacket &packet : app::read_capture(path)) {
      send(packet.header);
    }
  } catch (const app::CommandError &error) {
    require(std::string(error.what()).starts_with(path + ": "), error.what());
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const std::span bytes(data, size);
  send(host::asic::parse_frame(bytes, size));
  send_capture(MemoryFile(bytes).path());
  return 0;
}
