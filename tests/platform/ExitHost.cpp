// A host that returns from main at some moment of its work: requests under way, timers firing,
// work queued. Arguments: the URLs of a server that answers (HTTPS), of one that never does, the
// authority's PEM file, how many timers must have fired before the return.

#include <unistd.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <optional>

#include "model/EventDecoder.h"
#include "platform/GlobalQueue.h"
#include "platform/TimerSource.h"
#include "platform/URLSession.h"
#include "platform/Unicode.h"
#include "support/WaitFor.h"

namespace {

using namespace zentara;

void keepAsking(const URL& url) {
    URLSession::shared().start(
        URLRequest{url, "POST", {}, "{}"},
        [url](const std::optional<URLResponse>&, const ErrorRef&) { keepAsking(url); });
}

/// What a worker may be about when the objects of other libraries are gone already.
void keepWorking() {
    GlobalQueue::shared().async([] {
        if (!isValidUTF8("l\u00e4nger als ein paar Zeichen") || !decodeEvents("[]").isList) {
            std::abort();
        }
        keepWorking();
    });
}

/// Something with a destructor that a thread which goes on would notice.
std::array<TimerSource, 4> timersOfTheHost;

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    // An end that hangs is an end by this signal.
    ::alarm(20);
    URLSession::shared().setCertificateAuthorityFile(argv[3]);
    const auto fired = std::make_shared<test::Signal>();
    for (auto& timer : timersOfTheHost) {
        timer.start(TimerSource::Clock::now(), std::chrono::microseconds(200),
                    [fired] { fired->notify(); });
        keepAsking(URL::parse(argv[1]).value());
        keepAsking(URL::parse(argv[2]).value());
    }
    keepWorking();
    return fired->waitFor(std::strtoul(argv[4], nullptr, 10)) ? 0 : 3;
}
