// SPDX-License-Identifier: Apache-2.0
// What the numbers of an error message are called in the standard.
#include <iterator>
#include <span>
#include <string_view>

#include "agent/openflow/errors.h"
#include "agent/text.h"

namespace agent::openflow {
namespace {

// In the order of their numbers.
constexpr std::string_view kHelloFailed[] = {"OFPHFC_INCOMPATIBLE", "OFPHFC_EPERM"};
static_assert(std::size(kHelloFailed) == OFPHFC_EPERM + 1);

constexpr std::string_view kBadRequest[] = {
    "OFPBRC_BAD_VERSION", "OFPBRC_BAD_TYPE", "OFPBRC_BAD_STAT",     "OFPBRC_BAD_VENDOR",     "OFPBRC_BAD_SUBTYPE",
    "OFPBRC_EPERM",       "OFPBRC_BAD_LEN",  "OFPBRC_BUFFER_EMPTY", "OFPBRC_BUFFER_UNKNOWN",
};
static_assert(std::size(kBadRequest) == OFPBRC_BUFFER_UNKNOWN + 1);

constexpr std::string_view kBadAction[] = {
    "OFPBAC_BAD_TYPE",     "OFPBAC_BAD_LEN", "OFPBAC_BAD_VENDOR", "OFPBAC_BAD_VENDOR_TYPE", "OFPBAC_BAD_OUT_PORT",
    "OFPBAC_BAD_ARGUMENT", "OFPBAC_EPERM",   "OFPBAC_TOO_MANY",   "OFPBAC_BAD_QUEUE",
};
static_assert(std::size(kBadAction) == OFPBAC_BAD_QUEUE + 1);

constexpr std::string_view kFlowModFailed[] = {
    "OFPFMFC_ALL_TABLES_FULL",   "OFPFMFC_OVERLAP",     "OFPFMFC_EPERM",
    "OFPFMFC_BAD_EMERG_TIMEOUT", "OFPFMFC_BAD_COMMAND", "OFPFMFC_UNSUPPORTED",
};
static_assert(std::size(kFlowModFailed) == OFPFMFC_UNSUPPORTED + 1);

constexpr std::string_view kPortModFailed[] = {"OFPPMFC_BAD_PORT", "OFPPMFC_BAD_HW_ADDR"};
static_assert(std::size(kPortModFailed) == OFPPMFC_BAD_HW_ADDR + 1);

constexpr std::string_view kQueueOpFailed[] = {"OFPQOFC_BAD_PORT", "OFPQOFC_BAD_QUEUE", "OFPQOFC_EPERM"};
static_assert(std::size(kQueueOpFailed) == OFPQOFC_EPERM + 1);

struct TypeName {
  std::string_view name;
  std::span<const std::string_view> codes;
};

constexpr TypeName kTypes[] = {
    {"OFPET_HELLO_FAILED", kHelloFailed},      {"OFPET_BAD_REQUEST", kBadRequest},
    {"OFPET_BAD_ACTION", kBadAction},          {"OFPET_FLOW_MOD_FAILED", kFlowModFailed},
    {"OFPET_PORT_MOD_FAILED", kPortModFailed}, {"OFPET_QUEUE_OP_FAILED", kQueueOpFailed},
};
static_assert(std::size(kTypes) == OFPET_QUEUE_OP_FAILED + 1);

}  // namespace

std::string error_text(uint16_t type, uint16_t code) {
  if (type >= std::size(kTypes)) {
    return concat("error type ", type, ", code ", code);
  }
  const auto &[name, codes] = kTypes[type];
  return concat(name, ", ", code < codes.size() ? std::string(codes[code]) : concat("code ", code));
}

}  // namespace agent::openflow
