// SPDX-License-Identifier: Apache-2.0
#include "oftab/message.h"

#include <cstdlib>

#include "oftab/trace.h"
#include "platform/message_service.h"

namespace oftab {

void *message_buffer(void *message) {
  return static_cast<uint8_t *>(message) + MESSAGE_BUFFER_OFFSET;
}

bool is_ready(const char *handler) {
  if (oftab_hw_rsrc_g.initialized == 0) {
    TRACE_ERROR_IN(handler, "%s() Exit. Not Initialized yet \n", handler);
    return false;
  }
  return true;
}

int32_t prepare_reply(const char *handler, void *message, void *dispatch_context, uint32_t code) {
  int32_t status = 0;
  hdm_ipq_handler_init(message, dispatch_context, &status, code);
  if (status != 0 && code == OFTAB_MSG_GET_STATS) {
    TRACE_ERROR_IN(handler, "handle openflow stats query - ipq handler init: %s ", hdm_errcat2str(status));
  } else if (status != 0) {
    TRACE_ERROR_IN(handler, "handle openflow interface update: - ipq handler init: %s ", hdm_errcat2str(status));
  }
  return status;
}

owned_memory::owned_memory(size_t bytes) : bytes_(calloc(1, bytes)) {}

owned_memory::~owned_memory() {
  free(bytes_);
}

}  // namespace oftab
