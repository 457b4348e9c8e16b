#pragma once

// The header of GCC's runtime, with truth values that clang can box: @YES, @NO.

#include_next <objc/objc.h>

#undef YES
#undef NO
#define YES __objc_yes
#define NO __objc_no
