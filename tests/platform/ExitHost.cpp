// A host that returns from main at some moment of its work: requests under way, timers firing,
// work queued. Arguments: the URLs of a server that answers (HTTPS), of one that never does, the
// authority's PEM file, how many timers must have fired before the return.

#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "model/EventDecoder.h"
#include "platform/GlobalQueue.h"
#include "platform/HostApplication.h"
#include "platform/TimerSource.h"
#include "platform/URLSession.h"
#include "platform/Unicode.h"
#include "platform/UserDefaults.h"
#include "support/WaitFor.h"

namespace {

using namespace zentara;

/// Something with a destructor that a thread which goes on would notice.
std::vector<std::unique_ptr<TimerSource>> timersOfTheHost;

void keepAsking(const URL& url) {
    URLSession::shared().start(
        URLRequest{url, "POST", {}, "{}"},
        [url](const std::optional<URLResponse>&, const ErrorRef&) { keepAsking(url); });
}

/// What a worker may be about when the objects of other libraries are gone already.
void keepWorking() {
    GlobalQueue::shared().async([] {
        if (!isValidUTF8("l\u00e4nger als ein paar Zeichen, aber nicht sehr lang") ||
            !decodeEvents("[]").isList) {
            std::abort();
        }
        keepWorking();
    });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    // An end that hangs is an end by this signal.
    ::alarm(20);
    HostApplication::setPreferencesDirectory("/nowhere");
    const URL answering = URL::parse(argv[1]).value();
    const URL silent = URL::parse(argv[2]).value();
    URLSession::shared().setCertificateAuthorityFile(argv[3]);

    const auto fired = std::make_shared<test::Signal>();
    for (int i = 0; i < 4; ++i) {
        timersOfTheHost.push_back(std::make_unique<TimerSource>());
        timersOfTheHost.back()->start(
            TimerSource::Clock::now(), std::chrono::microseconds(200), [fired] {
                UserDefaults().set("fired", std::uint64_t{fired->count()});
                fired->notify();
            });
        keepAsking(answering);
        keepAsking(silent);
    }
    keepWorking();
    return fired->waitFor(std::strtoul(argv[4], nullptr, 10)) ? 0 : 3;
}
