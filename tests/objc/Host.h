#pragma once

#include <stdbool.h>

// The parts of the tests in C++: the host's files and endpoints, a collector, and the C++ side of
// what both languages share. The caller frees the texts that are returned.

#if defined(__cplusplus)
extern "C" {
#endif

/// Gives this process its own directories, and endpoints where nothing listens.
void beginHost(void);

/// Tenant, environment and advertising id of the settings.
char* settingsInForce(void);

/// Each member of the delivery policy.
char* policyInForce(void);

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
