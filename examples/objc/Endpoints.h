#pragma once

#if defined(__cplusplus)
extern "C" {
#endif

/// Sends everything to the services at these base URLs. An application whose library was built with
/// its endpoints needs nothing like it.
void useEndpoints(const char* collector, const char* schemas);

#if defined(__cplusplus)
}
#endif
