// SPDX-License-Identifier: Apache-2.0
// The running switch, and the only place from which the host calls the library.
#include "host/switch.h"

#include <stdexcept>
#include <string>

#include "host/parts.h"
#include "host/request.h"
#include "oftab/oftab.h"

namespace host {
namespace {

constexpr uint32_t kStatisticsExpiry = 22;  // third word of the statistics timer's argument

using Handler = int32_t (*)(void *, void *, void *);

Handler handler_of(uint32_t code) {
  switch (code) {
    case OFTAB_MSG_ENTRY_UPDATE:
      return oftab_process_entry_update;
    case OFTAB_MSG_INTF_UPDATE:
      return oftab_process_intf_update;
    case OFTAB_MSG_GET_STATS:
      return oftab_process_get_stats;
    default:
      throw std::invalid_argument("unknown message code " + std::to_string(code));
  }
}

void deliver_expiry(const uint32_t *arg) {
  if (arg[2] == kStatisticsExpiry) {
    hdm_oftab_stats_timer_handler();
  }
}

// The library's state outlives a switch, so there is no second one.
std::unique_ptr<Parts> make_parts() {
  static bool made = false;
  if (made) {
    throw std::logic_error("a process has one switch");
  }
  made = true;
  return std::make_unique<Parts>();
}

}  // namespace

Switch::Switch() : parts_(make_parts()) {
  parts_->clock.on_expiry(deliver_expiry);
}

Switch::~Switch() = default;

asic::Asic &Switch::asic() {
  return parts_->asic;
}
services::Interfaces &Switch::interfaces() {
  return parts_->interfaces;
}
ports::FrontPanel &Switch::ports() {
  return parts_->ports;
}
services::Tracing &Switch::tracing() {
  return parts_->tracing;
}
services::Clock &Switch::clock() {
  return parts_->clock;
}
services::Faults &Switch::faults() {
  return parts_->faults;
}
services::Messages &Switch::messages() {
  return parts_->messages;
}
services::Shell &Switch::shell() {
  return parts_->shell;
}
services::SystemLog &Switch::system_log() {
  return parts_->system_log;
}
services::CallLog &Switch::call_log() {
  return parts_->call_log;
}
services::Violations &Switch::violations() {
  return parts_->violations;
}

void Switch::boot() {
  oftab_main(0);
  if (oftab_init_stats_timer(clock().context()) != OFTAB_OK) {
    throw std::runtime_error("the statistics timer could not be started");
  }
}

Reply Switch::submit(uint32_t code, std::span<const uint8_t> request) {
  const Handler handler = handler_of(code);
  check_request(code, request);
  services::Messages &service = messages();
  service.receive(code, request);
  Reply reply;
  reply.handler_result = handler(service.reply(), service.message(), service.dispatch_context());
  reply.responses = service.finish();
  return reply;
}

asic::Fate Switch::inject(uint32_t ifindex, const asic::PacketHeader &packet) {
  const std::optional<uint16_t> l2lif = interfaces().intf_id(ifindex);
  if (!l2lif) {
    throw std::invalid_argument("the ingress interface has no hardware interface id");
  }
  return asic().forward(*l2lif, services::Interfaces::sdk_port(ifindex), packet);
}

void Switch::join(uint32_t member_ifindex, uint32_t pc_ifindex) {
  interfaces().join(member_ifindex, pc_ifindex);
  oftab_port_channel_intf_update(member_ifindex, pc_ifindex, 1);
}

void Switch::leave(uint32_t member_ifindex, uint32_t pc_ifindex) {
  interfaces().leave(member_ifindex, pc_ifindex);
  oftab_port_channel_intf_update(member_ifindex, pc_ifindex, 0);
}

void Switch::change_interface_id(uint32_t ifindex, uint16_t intf_id) {
  interfaces().set_intf_id(ifindex, intf_id);
  oftab_update_l2lif_for_ifindex(ifindex, intf_id);
}

void Switch::change_openflow_state(uint32_t ifindex, uint8_t state) {
  interfaces().set_openflow_state(ifindex, state);
  oftab_l2_port_openflow_mode_changed(ifindex);
}

void Switch::change_hw_lif(uint32_t ifindex, uint16_t hw_lif) {
  oftab_set_hw_lif_for_l2_port(ifindex, hw_lif);
}

void Switch::rewrite(uint16_t tcam_index) {
  const oftab_tcam_tbl_t &table = *oftab_hw_rsrc_g.current_table;
  oftab_program_entry(&table.tcam_entry[tcam_index - table.tcam_st_idx]);
}

void Switch::erase(uint16_t tcam_index) {
  oftab_sw_entry_t erased{};
  erased.tcam_index = tcam_index;
  oftab_clear_and_program_entry(&erased);
}

void Switch::clear_catch_all() {
  oftab_clear_catch_all(OFTAB_CATCH_ALL_INDEX, OFTAB_CATCH_ALL_INDEX);
}

void Switch::advance(uint32_t seconds) {
  clock().advance(seconds);
}

void Switch::collect_statistics() {
  clock().expire();
}

}  // namespace host
