#pragma once

#include <stdbool.h>

// What the tests need of C++: where the host keeps its files and sends its events, a collector, and
// the C++ side of what both languages share. Texts that are returned are to be freed.

#if defined(__cplusplus)
extern "C" {
#endif

/// Gives this process directories of its own, and endpoints at which nothing listens.
void beginHost(void);

/// Tenant, environment and advertising id of the settings.
char* settingsInForce(void);

/// The endpoints, the authority file, the bundle identifier and the directories.
char* hostInForce(void);

/// Starts a collector, for the rest of the process, for the QA environment.
void startCollector(void);

/// The answer of the collector to a GET.
char* askCollector(const char* path);

/// The content of a file of the documents directory.
char* documentOf(const char* name);

/// Keeps the shared client for the rest of the process; shares what was kept.
void keepClientInCPlusPlus(void);
void shareKeptClient(void);

#if defined(__cplusplus)
}
#endif
