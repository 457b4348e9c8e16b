#include <chrono>
#include <exception>
#include <fstream>
#include <iostream>

#include "collector/expect/ExpectOptions.h"
#include "collector/expect/JUnit.h"

namespace {

using namespace zentara::collector;

TestResult run(const ExpectOptions& options) {
    using enum TestResult::Outcome;
    TestResult result{describe(options.expectation)};
    const auto start = std::chrono::steady_clock::now();
    try {
        const CollectorClient collector(options.collector, options.authorityFile);
        auto [isMet, message] = await(collector, options.expectation);
        result.outcome = isMet ? passed : failed;
        result.message = std::move(message);
    } catch (const std::exception& failure) {
        result.outcome = error;
        result.message = std::string(failure.what()) + "\n";
    }
    result.seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    return result;
}

int report(const TestResult& result, const std::string& junitFile) {
    using enum TestResult::Outcome;
    if (result.outcome == error) {
        std::cerr << "zentara-collector expect: " << result.message;
    } else {
        std::cout << result.message << std::flush;
    }
    if (!junitFile.empty() && !(std::ofstream(junitFile) << junitText(result) << std::flush)) {
        std::cerr << "zentara-collector expect: cannot write " << junitFile << '\n';
        return exitWrongUsage;
    }
    return result.outcome == passed   ? exitMet
           : result.outcome == failed ? exitNotMet
                                      : exitNoCollector;
}

}  // namespace

int main(int argc, char** argv) {
    const ParsedExpectOptions parsed = parseExpectOptions(argc, argv);
    if (!parsed.options) return parsed.exitCode;
    return report(run(*parsed.options), parsed.options->junitFile);
}
