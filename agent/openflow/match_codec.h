// SPDX-License-Identifier: Apache-2.0
// The match of OpenFlow 1.0, to and from the agent's.
#ifndef AGENT_OPENFLOW_MATCH_CODEC_H
#define AGENT_OPENFLOW_MATCH_CODEC_H

#include "agent/flow.h"
#include "agent/openflow/wire.h"

namespace agent::openflow {

// Normalised: fields whose prerequisite fails are not compared.
Match decode_match(const MatchOctets &octets);

// A mask that OpenFlow 1.0 has no words for, which only the switch's own operator can enter, is written as the
// closest wider one.
MatchOctets encode_match(const Match &match);

}  // namespace agent::openflow

#endif
