#pragma once

#include <cstdint>
#include <cstdio>
#include <string>

namespace zentara::soak {

/// One row of a closing table, on standard output.
inline void printRow(const std::string& name, std::int64_t value) {
    std::printf("%-44s %12lld\n", name.c_str(), static_cast<long long>(value));
}

}  // namespace zentara::soak
