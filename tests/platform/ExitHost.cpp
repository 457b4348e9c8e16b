// A host that returns from main while requests are in flight. Arguments: the URLs of a server that
// answers (HTTPS) and of one that never does, the authority's PEM file, how many answers must have
// come before the return.

#include <unistd.h>

#include <cstdlib>
#include <memory>

#include "network/CurlSession.h"
#include "support/NoDestructor.h"
#include "support/WaitFor.h"

namespace {

using namespace zentara;

void keepAsking(URLSession& session, const URL& url, const std::shared_ptr<test::Signal>& answers) {
    session.start(URLRequest{url, "POST", {}, "{}"},
                  [&session, url, answers](const Result<URLResponse>& response) {
                      if (response.ok()) answers->notify();
                      keepAsking(session, url, answers);
                  });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 5) return 2;
    // An end that hangs is an end by this signal.
    ::alarm(20);
    static NoDestructor<CurlSession> session([file = argv[3]] { return file; }, runAtExit);
    const auto answers = std::make_shared<test::Signal>();
    for (int i = 0; i < 4; ++i) {
        keepAsking(*session, URL::parse(argv[1]).value(), answers);
        keepAsking(*session, URL::parse(argv[2]).value(), answers);
    }
    return answers->waitFor(std::strtoul(argv[4], nullptr, 10)) ? 0 : 3;
}
