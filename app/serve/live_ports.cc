#include "app/serve/live_ports.h"

#include <asio/post.hpp>

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

void LivePorts::wait() {
  frames_.async_wait(asio::posix::stream_descriptor::wait_read, [this](std::error_code problem) {
    if (!problem) {
      take_batch();
    }
  });
}

// Batch after batch until nothing is left, with everything else in between.
void LivePorts::take_batch() {
  if (panel_.receive() == 0) {
    wait();
  } else {
    asio::post(frames_.get_executor(), [this] { take_batch(); });
  }
}

}  // namespace app
