// SPDX-License-Identifier: Apache-2.0
/* The host's message service: how a request reaches a handler and how its response goes back.
 *
 * A handler is called with three opaque values: the reply address, the received message record and the dispatch
 * context. The buffer descriptor of a message starts MESSAGE_BUFFER_OFFSET bytes into the message record, whatever that
 * does to its alignment. */
#ifndef PLATFORM_MESSAGE_SERVICE_H
#define PLATFORM_MESSAGE_SERVICE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum message_record { MESSAGE_BUFFER_OFFSET = 12 };

/* Prepares the reply to `message`, received under message code `code`.
 * *status: 0 when prepared, else a message-service error code. The library then leaves the message unanswered. */
void hdm_ipq_handler_init(void *message, void *dispatch_context, int32_t *status, uint32_t code);

/* The request in `buffer` (a message's buffer descriptor), or null when the message carries none. The request belongs
 * to the message service, may stand at any address and stays readable until the handler returns. It is at least as
 * long as its own counts say. */
void *ipq_payload_get(void *buffer);

/* Sends `length` bytes of `response` to `reply`. `buffer` is the request's buffer descriptor, `flags` is 0. The
 * response is copied before the call returns. Returns 0 or a message-service error code. */
int32_t fu_ipq_send_response(void *reply, void *response, uint32_t length, void *buffer, int32_t flags);

/* A printable text for a message-service error code; never null. */
const char *hdm_errcat2str(int32_t status);

#ifdef __cplusplus
}
#endif

#endif
