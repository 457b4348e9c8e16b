#include "support/Diagnostics.h"

#include <cstdio>
#include <string>

namespace zentara {

namespace {

void print(std::FILE* stream, std::string_view line) {
    std::string whole(line);
    whole += '\n';
    // Losing a line to a closed stream is better than troubling the host with it.
    static_cast<void>(std::fwrite(whole.data(), 1, whole.size(), stream));
}

}  // namespace

void printDiagnostic(std::string_view line) {
    print(stdout, line);
}

void printWarning(std::string_view line) {
    print(stderr, line);
}

}  // namespace zentara
