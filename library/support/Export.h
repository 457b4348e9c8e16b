#pragma once

/// Marks what an application may link against; everything else in the library is hidden.
#define ZENTARA_EXPORT __attribute__((visibility("default")))
