// SPDX-License-Identifier: Apache-2.0
// Where OpenFlow peers are found, written as the usual tools write it: "ptcp:PORT[:ADDRESS]" and "pssl:PORT[:ADDRESS]"
// to listen, "tcp:ADDRESS[:PORT]" and "ssl:ADDRESS[:PORT]" for a controller. Addresses of IPv6 stand in brackets.
#ifndef AGENT_OPENFLOW_ENDPOINT_H
#define AGENT_OPENFLOW_ENDPOINT_H

#include <cstdint>
#include <string>

#include "agent/text.h"

namespace agent::openflow {

constexpr uint16_t kDefaultPort = 6653;

struct Endpoint {
  std::string address;  // an IP address; "0.0.0.0" listens on every one of the machine
  uint16_t port = kDefaultPort;
  bool tls = false;
  bool listens = false;
  bool operator==(const Endpoint &) const = default;
};

// A TextError for anything else.
Endpoint endpoint_named(const Word &text);

// As it would be written: "tcp:127.0.0.1:6653".
std::string to_text(const Endpoint &endpoint);

}  // namespace agent::openflow

#endif
