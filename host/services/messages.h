// SPDX-License-Identifier: Apache-2.0
// The message service: hands one request at a time to a handler and collects what it answers.
#ifndef HOST_SERVICES_MESSAGES_H
#define HOST_SERVICES_MESSAGES_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "host/services/violations.h"
#include "platform/message_service.h"

namespace host::services {

class Messages {
 public:
  explicit Messages(Violations &violations) : violations_(violations) {}

  // Receives a request, unchecked, and makes it the current message: what a handler is called with follows.
  void receive(uint32_t code, std::span<const uint8_t> request) { current_.emplace(code, request); }
  void *reply() { return &current_->reply; }
  void *message() { return &current_->record; }
  void *dispatch_context() { return &current_->context; }

  // Ends the current message and gives its responses, in order.
  std::vector<std::vector<uint8_t>> finish();

  // For the imports. A call that does not fit the current message is a violation.
  void prepare(const void *message, const void *dispatch_context, uint32_t code);
  void *payload(const void *buffer);
  void respond(const void *reply, const void *response, uint32_t length, const void *buffer, int32_t flags);

 private:
  // The record that the library sees: a header, and the buffer descriptor behind it.
  struct Record {
    std::array<uint8_t, MESSAGE_BUFFER_OFFSET> header;
    std::array<uint8_t, 20> buffer;
  };

  struct Message {
    Message(uint32_t under_code, std::span<const uint8_t> request);

    uint32_t code;
    std::unique_ptr<uint8_t[]> bytes;  // the request behind one byte, so that it stands at an odd address
    Record record{};
    uint8_t reply = 0;  // of this and the next, only the addresses matter
    uint8_t context = 0;
    std::vector<std::vector<uint8_t>> responses;
  };

  bool is_current_buffer(const void *buffer) const;
  void require(bool holds, const char *what);

  Violations &violations_;
  std::optional<Message> current_;
};

}  // namespace host::services

#endif
