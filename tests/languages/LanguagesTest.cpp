#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "support/ChildProcess.h"
#include "support/CollectorProcess.h"
#include "support/Files.h"

namespace zentara {
namespace {

/// A language and the command that starts its host, separated by blanks.
using Language = std::pair<std::string, std::string>;

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);)
        parts.push_back(part);
    return parts;
}

/// The number of each text, in the order of their first use.
class Numbers {
  public:
    std::string of(std::string_view text) {
        const auto next = numbers_.size() + 1;
        return std::to_string(numbers_.try_emplace(std::string(text), next).first->second);
    }

  private:
    std::map<std::string, std::size_t> numbers_;
};

/// The events that have arrived, in order, a line each.
std::vector<std::string> arrivals(const test::CollectorProcess& collector) {
    Numbers clients;
    Numbers cookies;
    std::vector<std::string> lines;
    for (const auto& entry :
         collector.client().events({.verdict = collector::EventSelection::Verdict::any})) {
        const auto& event = entry.at("event");
        const auto& properties = event.at("properties");
        lines.push_back("client " + clients.of(entry.at("clientUUID").string()) + ", cookies " +
                        cookies.of(entry.at("cookie").string()) + ", user " +
                        entry.at("user").text() + ", " + std::string(event.at("url").string()) +
                        " from " + std::string(event.at("zentaraClientReferer").string()) + ": " +
                        std::string(properties.at("title").string()) + ", " +
                        std::string(properties.at("section").string()));
    }
    return lines;
}

class LanguagesTest : public testing::TestWithParam<Language> {};

TEST_P(LanguagesTest, SameScriptGivesTheSameCounts) {
    const test::TemporaryDirectory folder;
    const test::CollectorProcess collector(ZENTARA_EXAMPLES "/schemas", {"--no-https"});
    auto command = split(GetParam().second, ' ');
    command.push_back(collector.url());
    command.push_back(folder.path());
    test::ChildProcess host(command);
    auto lines = host.readLines();
    EXPECT_EQ(host.wait(), 0);
    for (auto& line : arrivals(collector))
        lines.push_back(std::move(line));
    EXPECT_THAT(lines, testing::ElementsAreArray(
                           split(test::contentsOf(ZENTARA_LANGUAGES "/expected.txt"), '\n')));
}

std::vector<Language> languages() {
    std::vector<Language> all;
    for (const auto& entry : split(ZENTARA_LANGUAGE_HOSTS, '|')) {
        const auto at = entry.find(' ');
        all.emplace_back(entry.substr(0, at), entry.substr(at + 1));
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Hosts, LanguagesTest, testing::ValuesIn(languages()),
                         [](const auto& language) { return language.param.first; });

}  // namespace
}  // namespace zentara
