#pragma once

// A missing header is an error that ends the compilation. After #error the compiler would go on,
// and report each line that it cannot understand.
#if __cplusplus < 202002L
#include "ZentaraClient needs C++20: compile with -std=c++20"
#endif
