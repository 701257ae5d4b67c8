// SPDX-License-Identifier: Apache-2.0
#include "app/serve/live_ports.h"

namespace app {

LivePorts::LivePorts(asio::io_context &context, host::ports::FrontPanel &panel, agent::PacketPath &packets)
    : panel_(panel), packets_(packets), frames_(context, panel.descriptor()) {
  packets_.connect(this);
  panel_.connect(&packets_);
  wait();
}

LivePorts::~LivePorts() {
  panel_.connect(nullptr);
  packets_.connect(nullptr);
  frames_.release();
}

// What is left over after a batch makes the panel readable again, with everything else in between.
void LivePorts::wait() {
  frames_.async_wait(asio::posix::stream_descriptor::wait_read, [this](std::error_code problem) {
    if (!problem) {
      wait();  // first: frames are waited for whatever those at hand bring about
      panel_.receive();
    }
  });
}

}  // namespace app
