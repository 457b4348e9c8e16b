// The header for C as a program in C++ sees it.
#include "c/events.h"
