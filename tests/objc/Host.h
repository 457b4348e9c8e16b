#pragma once

#include <stdbool.h>

// What the tests need of C++: where the host keeps its files and sends its events, a collector, and
// the C++ side of what both languages share.

#if defined(__cplusplus)
extern "C" {
#endif

/// Gives this process directories of its own, and endpoints at which nobody listens.
void beginHost(void);

/// Starts a collector, for the rest of the process, and sends everything there.
void startCollector(void);

/// The answer of the collector to a GET; to be freed.
char* askCollector(const char* path);

/// Runs the example application against the collector, with its files in this host's directories;
/// its output, one line behind the other, and its exit code. To be freed.
char* runExample(int* exitCode);

/// The content of a file of the documents directory; to be freed.
char* documentOf(const char* name);

/// The settings in force: tenant, environment, advertising id. To be freed.
char* settingsOfCPlusPlus(void);

/// The shared client, not retained.
const void* sharedClientOfCPlusPlus(void);

/// Keeps the shared client; shares what was kept; lets go of it.
void keepClientInCPlusPlus(void);
void shareKeptClient(void);
void letGoOfKeptClient(void);

/// Gets a client, as a host in C++ would.
void getInCPlusPlus(void);
void resetSharedClientInCPlusPlus(void);

#if defined(__cplusplus)
}
#endif
