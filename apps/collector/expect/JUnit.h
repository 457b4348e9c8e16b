#pragma once

#include <string>

namespace zentara::collector {

/// The result of a test, for the reports of CI systems.
struct TestResult {
    enum class Outcome { passed, failed, error };

    std::string name;
    Outcome outcome = Outcome::passed;
    std::string message = {};  ///< the first line is its summary
    double seconds = 0;
};

/// JUnit's XML, with one test case.
[[nodiscard]] std::string junitText(const TestResult& result);

}  // namespace zentara::collector
