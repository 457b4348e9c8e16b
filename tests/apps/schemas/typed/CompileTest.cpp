// What the types of events refuse at compile time, by the compilers themselves.

#include <gmock/gmock.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <regex>
#include <sstream>

#include "schemas/generate/Generators.h"
#include "schemas/types/EventType.h"
#include "support/Files.h"

namespace zentara::schemas {
namespace {

constexpr const char* folder = ZENTARA_SOURCE_DIR "/tests/apps/schemas/typed";

std::vector<EventType> everything() {
    const std::vector<std::string> paths{std::string(folder) + "/everything-1.json"};
    return eventTypesOf(readValidSchemas(paths));
}

std::string outputOf(const std::string& command) {
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> pipe(popen(command.c_str(), "r"), pclose);
    std::string output;
    std::array<char, 4096> buffer{};
    while (const auto size = std::fread(buffer.data(), 1, buffer.size(), pipe.get()))
        output.append(buffer.data(), size);
    return output;
}

/// What a compiler says of the cases.
std::string compiled(const std::string& compiler, const std::string& options) {
    const bool isClang = compiler.find("clang") != std::string::npos;
    return outputOf(compiler +
                    " -std=c++20 -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion "
                    "-Wmissing-field-initializers -Werror -c -o /dev/null "
                    "-I" ZENTARA_INCLUDE_DIR " '-DTYPED_HEADER=\"everything.golden\"' " +
                    (isClang ? "-ferror-limit=0 " : "") + options + ' ' + folder +
                    "/MustNotCompile.cpp 2>&1");
}

/// What a compiler says of each line of the cases.
std::map<int, std::string> byLine(const std::string& output) {
    static const std::regex place(R"(MustNotCompile\.cpp:(\d+):)");
    std::map<int, std::string> result;
    std::istringstream lines(output);
    std::string line;
    for (int number = 0; std::getline(lines, line);) {
        std::smatch match;
        if (std::regex_search(line, match, place)) number = std::stoi(match[1]);
        result[number] += line + '\n';
    }
    return result;
}

class TypedCompile : public testing::TestWithParam<const char*> {
  protected:
    /// Expects an error at each line that is marked in a section, for its reason.
    static void expectRefused(const std::string& section, const std::string& options) {
        const bool isClang = std::string(GetParam()).find("clang") != std::string::npos;
        auto said = byLine(compiled(GetParam(), options + " -D" + section));
        std::ifstream file(std::string(folder) + "/MustNotCompile.cpp");
        static const std::regex mark(R"(// refused: (.*)\|(.*)$)");
        bool isInside = false;
        int count = 0;
        std::string line;
        for (int number = 1; std::getline(file, line); ++number) {
            if (line.starts_with("#if")) isInside = line == "#ifdef " + section;
            std::smatch match;
            if (!isInside || !std::regex_search(line, match, mark)) continue;
            ++count;
            EXPECT_THAT(said[number], testing::AllOf(testing::HasSubstr("error: "),
                                                     testing::HasSubstr(match[isClang ? 2 : 1])))
                << number << ": " << line;
        }
        EXPECT_GE(count, 5);
    }
};

TEST_P(TypedCompile, RightUseCompilesWithoutWarnings) {
    EXPECT_EQ(compiled(GetParam(), "-O1"), "");
}

TEST_P(TypedCompile, WrongUseDoesNotCompile) {
    expectRefused("WRONG", "-O0");
}

TEST_P(TypedCompile, NumbersOutOfBoundsDoNotCompile) {
    expectRefused("WRONG_NUMBER", "-O1");
}

INSTANTIATE_TEST_SUITE_P(Compilers, TypedCompile, testing::Values(TYPED_COMPILERS),
                         [](const auto& each) {
                             const std::string name = each.param;
                             return std::string(name.find("clang") == name.npos ? "GCC" : "Clang");
                         });

/// Compares with a file, or writes it with ZENTARA_WRITE_GOLDEN=1.
void expectGolden(const std::string& text, const std::string& name) {
    const auto golden = std::string(folder) + '/' + name;
    if (std::getenv("ZENTARA_WRITE_GOLDEN") != nullptr) writeFile(golden, text);
    EXPECT_EQ(text, test::contentsOf(golden));
}

TEST(GenerateCpp, EverythingIsAsInTheGoldenFile) {
    const auto files = generateCpp(everything(), {.file = "everything", .scope = "shop::events"});
    ASSERT_EQ(files.size(), 1U);
    EXPECT_EQ(files.front().name, "everything.h");
    expectGolden(files.front().content, "everything.golden");
}

TEST(GenerateCpp, ACallNamesEachMember) {
    const auto properties = JSONValue::parse(R"({"productId":"CL-47819","class":3,"price":0.5,
        "origin":"??/","quality":-1,"isNew":true,"coupon":null,"either":"a\"b","free":[1],
        "lines":[{"name":"one","amount":-9223372036854775808},{"name":"two"}],"matrix":[],
        "options":{"size":"class"},"size":"xs"})");
    expectGolden(callInCpp(everything().front(), properties.object(), {.scope = "shop::events"}),
                 "call.golden");
}

TEST(GenerateCpp, NamespacesAreChecked) {
    for (const std::string scope :
         {"shop::class", "shop::", "::shop", "shop:events", "1shop", "zentara", "a::std", "a-b"}) {
        try {
            static_cast<void>(generateCpp({}, {.scope = scope}));
            ADD_FAILURE() << scope;
        } catch (const CommandError& error) {
            EXPECT_EQ(error.what(), '"' + scope + "\" cannot be a namespace of C++");
        }
    }
}

}  // namespace
}  // namespace zentara::schemas
