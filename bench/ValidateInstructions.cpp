// Validates one event of each sample, or compiles each schema, COUNT times. Run it under an
// instruction counter with two counts: the difference is the cost of the additional runs.
//
//     validate_instructions COUNT [samples|others] [validate|compile]

#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

#include "Samples.h"
#include "schemas/Schema.h"

int main(int argc, char** argv) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 1;
    const bool isOther = argc > 2 && std::string_view(argv[2]) == "others";
    const bool isCompiling = argc > 3 && std::string_view(argv[3]) == "compile";
    const auto& samples = isOther ? zentara::bench::otherSamples() : zentara::bench::samples();
    std::vector<std::unique_ptr<zentara::Schema>> schemas;
    for (const auto& sample : samples)
        schemas.push_back(std::make_unique<zentara::Schema>(sample.schema));
    int failures = 0;
    for (int i = 0; i < count; ++i) {
        for (std::size_t k = 0; k < samples.size(); ++k) {
            if (isCompiling) {
                if (zentara::Schema(samples[k].schema).type().size() != 1) ++failures;
            } else if (!schemas[k]->validate(samples[k].valid).valid()) {
                ++failures;
            }
        }
    }
    return failures == 0 ? 0 : 1;
}
