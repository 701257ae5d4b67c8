// SPDX-License-Identifier: Apache-2.0
#include "host/services/messages.h"

#include <algorithm>
#include <string>
#include <utility>

#include "host/parts.h"

namespace host::services {

Messages::Message::Message(uint32_t under_code, std::span<const uint8_t> request)
    : code(under_code), bytes(std::make_unique_for_overwrite<uint8_t[]>(1 + request.size())) {
  std::ranges::copy(request, bytes.get() + 1);
}

std::vector<std::vector<uint8_t>> Messages::finish() {
  auto responses = std::move(current_->responses);
  current_.reset();
  return responses;
}

void Messages::require(bool holds, const char *what) {
  if (!holds) {
    violations_.add(what);
  }
}

bool Messages::is_current_buffer(const void *buffer) const {
  return current_ && buffer == reinterpret_cast<const uint8_t *>(&current_->record) + MESSAGE_BUFFER_OFFSET;
}

void Messages::prepare(const void *message, const void *dispatch_context, uint32_t code) {
  require(current_ && message == &current_->record, "hdm_ipq_handler_init: not the current message");
  require(current_ && dispatch_context == &current_->context, "hdm_ipq_handler_init: wrong dispatch context");
  require(current_ && code == current_->code, "hdm_ipq_handler_init: wrong message code");
}

void *Messages::payload(const void *buffer) {
  const bool known = is_current_buffer(buffer);
  require(known, "ipq_payload_get: wrong buffer descriptor");
  return known ? current_->bytes.get() + 1 : nullptr;
}

void Messages::respond(const void *reply, const void *response, uint32_t length, const void *buffer, int32_t flags) {
  require(current_ && reply == &current_->reply, "fu_ipq_send_response: wrong reply address");
  require(is_current_buffer(buffer), "fu_ipq_send_response: wrong buffer descriptor");
  require(response != nullptr && flags == 0, "fu_ipq_send_response: bad argument");
  require(current_ && current_->responses.empty(), "fu_ipq_send_response: second response");
  if (current_ && response != nullptr) {
    const auto *const bytes = static_cast<const uint8_t *>(response);
    current_->responses.emplace_back(bytes, bytes + length);
  }
}

}  // namespace host::services

using host::services::Call;

void hdm_ipq_handler_init(void *message, void *dispatch_context, int32_t *status, uint32_t code) {
  host::Parts &parts = host::live();
  *status = parts.faults.enter(Call::hdm_ipq_handler_init);
  parts.messages.prepare(message, dispatch_context, code);
}

void *ipq_payload_get(void *buffer) {
  host::Parts &parts = host::live();
  return parts.faults.enter(Call::ipq_payload_get) != 0 ? nullptr : parts.messages.payload(buffer);
}

int32_t fu_ipq_send_response(void *reply, void *response, uint32_t length, void *buffer, int32_t flags) {
  host::Parts &parts = host::live();
  if (const int32_t code = parts.faults.enter(Call::fu_ipq_send_response); code != 0) {
    return code;
  }
  parts.messages.respond(reply, response, length, buffer, flags);
  return 0;
}

const char *hdm_errcat2str(int32_t status) {
  static std::string text;  // stays until the next call
  host::live().faults.count(Call::hdm_errcat2str);
  text = "message service error " + std::to_string(status);
  return text.c_str();
}
