// SPDX-License-Identifier: Apache-2.0
#include "agent/openflow/errors.h"

#include <utility>

namespace agent::openflow {
namespace {

using Kind = AgentError::Kind;

std::pair<ErrorType, uint16_t> code_of(Kind kind) {
  switch (kind) {
    case Kind::Port:
      return {OFPET_BAD_ACTION, OFPBAC_BAD_OUT_PORT};
    case Kind::Application:
      return {OFPET_BAD_ACTION, OFPBAC_BAD_ARGUMENT};
    case Kind::NoFanout:
      return {OFPET_BAD_ACTION, OFPBAC_TOO_MANY};
    case Kind::Emergency:
      return {OFPET_FLOW_MOD_FAILED, OFPFMFC_UNSUPPORTED};
    case Kind::EmergencyTimeout:
      return {OFPET_FLOW_MOD_FAILED, OFPFMFC_BAD_EMERG_TIMEOUT};
    case Kind::Overlap:
      return {OFPET_FLOW_MOD_FAILED, OFPFMFC_OVERLAP};
    case Kind::TableFull:
    case Kind::NoCounter:
      return {OFPET_FLOW_MOD_FAILED, OFPFMFC_ALL_TABLES_FULL};
    case Kind::BufferUnknown:
      return {OFPET_BAD_REQUEST, OFPBRC_BUFFER_UNKNOWN};
    case Kind::BufferEmpty:
      return {OFPET_BAD_REQUEST, OFPBRC_BUFFER_EMPTY};
    case Kind::Number:
    case Kind::NoMemory:
    case Kind::Hardware:
      break;
  }
  return {OFPET_FLOW_MOD_FAILED, OFPFMFC_EPERM};
}

}  // namespace

ProtocolError protocol_error(const AgentError &error) {
  const auto [type, code] = code_of(error.kind);
  return {type, code, error.reason};
}

}  // namespace agent::openflow
