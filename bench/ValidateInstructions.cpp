// Validates one event of each sample, as often as told: run it under an instruction counter with
// two counts, and the difference is what validating takes.

#include <cstdlib>

#include "Samples.h"
#include "schemas/Validators.h"

int main(int argc, char** argv) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 1;
    int valid = 0;
    for (int i = 0; i < count; ++i) {
        for (const auto& sample : zentara::bench::samples()) {
            if (zentara::validate(sample.valid, sample.schema).valid()) ++valid;
        }
    }
    return valid == 6 * count ? 0 : 1;
}
