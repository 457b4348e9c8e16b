#pragma once

#include <zentara/zentara.h>

#if defined(__cplusplus)
extern "C" {
#endif

/// Sends an event with a value of its own in each member.
zentara_status send_from_c(const zentara_client* client, zentara_send_handler handler,
                           void* context);

#if defined(__cplusplus)
}
#endif
