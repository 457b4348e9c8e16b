#include "collector/TerminalLog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <zentara/JSONValue.h>
#include <array>

#include "collector/LogWriter.h"

namespace zentara::collector {
namespace {

using testing::HasSubstr;

TEST(TerminalLogTest, EventTextIsNoTerminalCommand) {
    // A CSI as an escape sequence and as one character, DEL, and an override of the text direction.
    const auto properties = JSONValue::parse("{\"a\":\"\\u001b[2J\u009b2J\x7f\u202e\"}");
    HttpRequest request;
    std::vector<Action> actions(1);
    actions[0].properties = &properties;
    const std::vector<std::vector<Finding>> findings{{{"/a", "'\x1b[31m' is wrong"}}};
    std::vector<Store::Arrival> arrivals(1);
    arrivals[0].number = 7;
    arrivals[0].schema = "s\n-1";
    arrivals[0].good = false;
    const RequestReport report{request, 200, "", "", actions, findings, arrivals};

    const auto text = TerminalLog::lines(report, {});
    EXPECT_THAT(text, HasSubstr("BAD  s?-1 #7 /a: '?[31m' is wrong"));
    for (const char* command : {"\x1b", "\x7f", "\xC2\x9B", "\u202e"})
        EXPECT_THAT(text, Not(HasSubstr(command)));
    request.target = "/\x9b[2J\xff";
    EXPECT_THAT(TerminalLog::lines({request, 404, "", "", {}, {}, {}}, {}),
                HasSubstr("/?[2J? 404"));
    EXPECT_THAT(TerminalLog::lines({request, 400, "not JSON", "event: pace", {}, {}, {}}, {}),
                HasSubstr(" 400 fault: event: pace not JSON\n"));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

TEST(LogWriterTest, UnreadLogBlocksNoWriterKeepsOrder) {
    std::array<int, 2> pipe{};
    ASSERT_EQ(::pipe2(pipe.data(), O_CLOEXEC), 0);
    std::string all;
    {
        LogWriter log(pipe[1], [](std::size_t) { return std::string(); });
        for (int number = 0; all.size() < 2 * LogWriter::mostUnwritten; ++number) {
            const std::string line = std::to_string(number) + "\n";
            log.add(line);
            all += line;
            if (number == 500) log.add(std::string(LogWriter::mostUnwritten + 1, '\n'));
        }
    }
    std::string read(10'000, ' ');
    EXPECT_EQ(::read(pipe[0], read.data(), read.size()), 10'000);
    EXPECT_EQ(read.substr(0, 1000), all.substr(0, 1000));
    EXPECT_EQ(read.find("\n\n"), std::string::npos) << "larger than the buffer";
    ::close(pipe[0]);
    ::close(pipe[1]);
}

}  // namespace
}  // namespace zentara::collector
