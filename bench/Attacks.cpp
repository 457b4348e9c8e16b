// The cost of each attack on the validation engine: processor time, peak memory and memory that
// stays in use.

#include <malloc.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>

#include "schemas/Attacks.h"
#include "schemas/Schema.h"

namespace {

double threadTime() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

/// A memory figure of this process, in megabytes.
double status(const std::string& name) {
    std::ifstream file("/proc/self/status");
    double kilobytes = 0;
    for (std::string word; file >> word;) {
        if (word == name) file >> kilobytes;
    }
    return kilobytes / 1024;
}

void startPeakAnew() {
    malloc_trim(0);
    std::ofstream("/proc/self/clear_refs") << 5;
}

}  // namespace

int main() {
    for (const auto& attack : zentara::attacks()) {
        startPeakAnew();
        const auto memory = status("VmRSS:");
        const auto start = threadTime();
        double time = 0;
        double peak = 0;
        std::string ending = "valid";
        {
            const auto result = zentara::validate(attack.value, attack.schema);
            time = threadTime() - start;
            peak = status("VmHWM:") - memory;
            if (!result.valid()) ending = result.errors()->back().substr(0, 40);
        }
        malloc_trim(0);
        std::printf("%-36s %6.2f s %6.1f MB %6.1f MB kept  %s\n", attack.name.c_str(), time, peak,
                    status("VmRSS:") - memory, ending.c_str());
    }
}
