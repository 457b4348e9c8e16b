// Consent, forgetting and the shutdown in C.

#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "c/Header.h"
#include "support/ClientCalls.h"
#include "support/TestHost.h"

using namespace zentara;
using namespace zentara::test;

namespace {

class CLifecycle : public testing::Test {
  protected:
    // Schemas never come, so events are held back.
    CLifecycle() {
        TestHost::useServer(*URL::parse("http://127.0.0.1:1"));
        EXPECT_EQ(zentara_get(nullptr, nullptr, nullptr, &client_), ZENTARA_OK);
    }
    ~CLifecycle() override {
        zentara_client_release(client_);
        zentara_set_consent(ZENTARA_CONSENT_GRANTED);
        resetClient();
    }

    /// The kind of the error that the handler receives.
    [[nodiscard]] zentara_error_kind send() const {
        zentara_error_kind kind = -1;
        send_from_c(
            client_,
            [](void* context, const zentara_event*, const zentara_error* error) {
                *static_cast<zentara_error_kind*>(context) = zentara_error_kind_of(error);
            },
            &kind);
        return kind;
    }

    TestHost host_;
    zentara_client* client_ = nullptr;
};

zentara_flush_outcome shutDown() {
    auto result = ZENTARA_INIT(zentara_flush_result);
    EXPECT_EQ(zentara_shutdown(100, &result), ZENTARA_OK);
    return result.outcome;
}

}  // namespace

TEST_F(CLifecycle, ShutdownReleasesEveryContext) {
    int releases = 0;
    const auto release = [](void* context) {
        ++*static_cast<int*>(context);
    };
    zentara_set_before_queue(
        [](void*, zentara_outgoing*) { return zentara_decision{ZENTARA_DECISION_QUEUE}; },
        &releases, release);
    zentara_set_delivery_observer([](void*, const zentara_delivery_notice*) {}, &releases, release);
    zentara_set_log_sink(ZENTARA_LOG_FATAL, zentara_quiet_log, &releases, release);
    zentara_get_hsid([](void*, zentara_text) {}, &releases, release);
    zentara_flush(
        0, [](void*, const zentara_flush_result*) {}, &releases, release);
    shutDown();
    EXPECT_EQ(releases, 5);
    EXPECT_EQ(zentara_shutdown(0, nullptr), ZENTARA_OK);

    EXPECT_EQ(send(), ZENTARA_ERROR_SHUT_DOWN);
    EXPECT_EQ(zentara_remove_logged_user(), ZENTARA_NOT_CONFIGURED);
    zentara_client* another = nullptr;
    EXPECT_EQ(zentara_get(nullptr, nullptr, nullptr, &another), ZENTARA_OK);
    std::swap(client_, another);
    EXPECT_EQ(send(), ZENTARA_ERROR_NOT_READY);
    zentara_client_release(another);
}

TEST_F(CLifecycle, ShutdownIsRefusedInACallback) {
    zentara_flush_outcome outcome = -1;
    send_from_c(
        client_,
        [](void* context, const zentara_event*, const zentara_error*) {
            *static_cast<zentara_flush_outcome*>(context) = shutDown();
        },
        &outcome);
    EXPECT_EQ(outcome, ZENTARA_FLUSH_REFUSED);
    EXPECT_EQ(send(), ZENTARA_ERROR_NOT_READY);
}
