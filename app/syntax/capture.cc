// SPDX-License-Identifier: Apache-2.0
#include "app/syntax/capture.h"

#include <pcap.h>

#include <memory>

#include "agent/text.h"
#include "app/commands/command_error.h"
#include "app/terminal/signals.h"

namespace app {

using namespace agent;

namespace {

using Capture = std::unique_ptr<pcap_t, decltype(&pcap_close)>;

Capture open_capture(const std::string &path) {
  char error[PCAP_ERRBUF_SIZE];
  Capture capture(pcap_open_offline(path.c_str(), error), &pcap_close);
  if (!capture) {
    const std::string reason = error;
    throw CommandError(reason.starts_with(path) ? reason : path + ": " + reason);
  }
  if (pcap_datalink(capture.get()) != DLT_EN10MB) {
    const char *name = pcap_datalink_val_to_name(pcap_datalink(capture.get()));
    throw CommandError(
        concat(path, ": not an Ethernet capture, its link type is ", name == nullptr ? "unknown" : name));
  }
  return capture;
}

}  // namespace

std::vector<CapturedPacket> read_capture(const std::string &path, size_t most) {
  const Capture capture = open_capture(path);
  std::vector<CapturedPacket> packets;
  pcap_pkthdr *header = nullptr;
  const u_char *bytes = nullptr;
  int status = PCAP_ERROR_BREAK;
  while (packets.size() < most && (status = pcap_next_ex(capture.get(), &header, &bytes)) == 1) {
    if (interrupted()) {
      throw Interrupted(concat(path, " was not read to its end, and nothing was done"));
    }
    const std::span frame(bytes, header->caplen);
    packets.push_back({host::asic::parse_frame(frame, header->len), {frame.begin(), frame.end()}});
  }
  if (status < 0 && status != PCAP_ERROR_BREAK) {
    throw CommandError(
        concat(path, ": packet ", packets.size() + 1, ": ", pcap_geterr(capture.get()), "; nothing was done"));
  }
  return packets;
}

}  // namespace app
