// SPDX-License-Identifier: Apache-2.0
// Tells a session what happens in the switch, as connections do.
#ifndef TESTS_SUPPORT_EARS_H
#define TESTS_SUPPORT_EARS_H

#include "agent/agent.h"
#include "agent/openflow/session.h"

namespace agent::openflow {

class Ears : public Listener {
 public:
  Ears(Agent &agent, Session &session) : agent_(agent), session_(session) { agent_.subscribe(*this); }
  ~Ears() override { agent_.unsubscribe(*this); }
  Ears(const Ears &) = delete;
  Ears &operator=(const Ears &) = delete;

  void flow_removed(const RemovedFlow &flow) override { session_.tell(flow); }
  bool packet_in(const PacketIn &packet) override { return session_.tell(packet); }
  void port_changed(const PortChange &change) override { session_.tell(change); }

 private:
  Agent &agent_;
  Session &session_;
};

}  // namespace agent::openflow

#endif
