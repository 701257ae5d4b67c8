// SPDX-License-Identifier: Apache-2.0
// The front panel on the event loop: frames that come in go to the agent, and what leaves goes to the front panel.
#ifndef APP_SERVE_LIVE_PORTS_H
#define APP_SERVE_LIVE_PORTS_H

#include <asio/io_context.hpp>
#include <asio/posix/stream_descriptor.hpp>

#include "agent/packet_path.h"
#include "host/ports/front_panel.h"

namespace app {

class LivePorts : public agent::Wire {
 public:
  // All three must live longer.
  LivePorts(asio::io_context &context, host::ports::FrontPanel &panel, agent::PacketPath &packets);
  ~LivePorts() override;
  LivePorts(const LivePorts &) = delete;
  LivePorts &operator=(const LivePorts &) = delete;

  void transmit(uint32_t ifindex, agent::Frame frame) override { panel_.transmit(ifindex, frame); }

 private:
  void wait();

  host::ports::FrontPanel &panel_;
  agent::PacketPath &packets_;
  asio::posix::stream_descriptor frames_;
};

}  // namespace app

#endif
