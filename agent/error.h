// SPDX-License-Identifier: Apache-2.0
// Why the agent did not do what it was asked for.
#ifndef AGENT_ERROR_H
#define AGENT_ERROR_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace agent {

// What was refused changed nothing, but for a flow whose buffered packet is not there: the flow stays.
struct AgentError {
  enum class Kind : uint8_t {
    Port,              // an output that does not exist, or that flows do not send to
    Application,       // no application of the controller has this number
    Emergency,         // there are no emergency flows
    EmergencyTimeout,  // no emergency flow would have a timeout
    Overlap,           // the flow was not to overlap another of its priority, and does
    Number,            // a sequence number that is another flow's, or nobody's
    TableFull,         // no room for a flow
    NoCounter,         // no statistics counter for a flow
    NoFanout,          // no tree for the outputs of a flow
    NoMemory,          // the library ran out of memory
    Hardware,          // the hardware or the message service failed
    BufferUnknown,     // no packet was given this number, or another one was since
    BufferEmpty        // the packet was taken before
  };
  Kind kind;
  std::string reason;  // for people, without a stop
  size_t action = 0;   // the position of the action to blame, for kinds about actions
};

}  // namespace agent

#endif
