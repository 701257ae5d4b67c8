// SPDX-License-Identifier: Apache-2.0
// Walking a packed message: a header, and records back to back behind it.
#ifndef OFTAB_MESSAGE_H
#define OFTAB_MESSAGE_H

#include <cstring>

#include "oftab/oftab.h"

namespace oftab {

// The first record behind a message's header.
template <typename Record, typename Header>
Record *records_of(Header *message) {
  return reinterpret_cast<Record *>(message + 1);
}

inline bool has_outputs(const oftab_flow_t &flow) {
  return oftab_has_output_list(flow.result_type) != 0;
}

inline const oftab_flow_t *next_flow(const oftab_flow_t *flow) {
  const size_t outputs = has_outputs(*flow) ? flow->num_oif : 0;
  return reinterpret_cast<const oftab_flow_t *>(reinterpret_cast<const uint8_t *>(flow + 1) +
                                                outputs * sizeof(uint32_t));
}

// Output `i` of a flow's list.
inline uint32_t output_ifindex(const oftab_flow_t *flow, uint32_t i) {
  uint32_t ifindex = 0;
  memcpy(&ifindex, reinterpret_cast<const uint8_t *>(flow + 1) + i * sizeof ifindex, sizeof ifindex);
  return ifindex;
}

// The number of response entries: the request's 16-bit count, which the response carries in its first two bytes.
inline uint16_t entry_count(const oftab_entry_update_resp_t *response) {
  uint16_t count = 0;
  memcpy(&count, reinterpret_cast<const uint8_t *>(response) + offsetof(oftab_entry_update_resp_t, num_entries),
         sizeof count);
  return count;
}

// The buffer descriptor of a received message.
void *message_buffer(void *message);

// The first steps of every handler, traced in its name. Whether the library has been initialised:
bool is_ready(const char *handler);
// The message service's status of preparing the reply; 0 when it is prepared.
int32_t prepare_reply(const char *handler, void *message, void *dispatch_context, uint32_t code);

// Scope-owned memory of the system allocator; null when there was none.
class owned_memory {
 public:
  explicit owned_memory(size_t bytes);
  ~owned_memory();
  owned_memory(const owned_memory &) = delete;
  owned_memory &operator=(const owned_memory &) = delete;

  template <typename T>
  T *as() const {
    return static_cast<T *>(bytes_);
  }

 private:
  void *bytes_;
};

}  // namespace oftab

#endif
