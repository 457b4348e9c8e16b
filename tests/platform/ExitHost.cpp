// A host that returns from main while requests are under way. Arguments: the URLs of a server that
// answers (HTTPS) and of one that never does, the authority's PEM file, how many answers must have
// come before the return.

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <optional>

#include "network/URLSession.h"
#include "support/WaitFor.h"

namespace {

using namespace zentara;

void keepAsking(const URL& url, const std::shared_ptr<test::Signal>& answers) {
    URLSession::shared().start(
        URLRequest{url, "POST", {}, "{}"},
        [url, answers](const std::optional<URLResponse>& response, const ErrorRef&) {
            if (response) answers->notify();
            keepAsking(url, answers);
        });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    // An end that hangs is an end by this signal.
    ::alarm(20);
    URLSession::shared().setCertificateAuthorityFile(argv[3]);
    const auto answers = std::make_shared<test::Signal>();
    for (int i = 0; i < 4; ++i) {
        keepAsking(URL::parse(argv[1]).value(), answers);
        keepAsking(URL::parse(argv[2]).value(), answers);
    }
    return answers->waitFor(std::strtoul(argv[4], nullptr, 10)) ? 0 : 3;
}
