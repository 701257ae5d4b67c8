#include "oftab/message.h"

#include <cstdlib>

#include "platform/message_service.h"

namespace oftab {

void *message_buffer(void *message) {
  return static_cast<uint8_t *>(message) + MESSAGE_BUFFER_OFFSET;
}

owned_memory::owned_memory(size_t bytes) : bytes_(calloc(1, bytes)) {}

owned_memory::~owned_memory() {
  free(bytes_);
}

}  // namespace oftab
