#pragma once

// The version of the library, for C, C++ and Objective-C. CMake reads it from here.

#define ZENTARA_VERSION_MAJOR 3
#define ZENTARA_VERSION_MINOR 5
#define ZENTARA_VERSION_PATCH 0
#define ZENTARA_VERSION "3.5.0"
