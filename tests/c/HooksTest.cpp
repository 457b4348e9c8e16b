// The C interface against the real collector: the function before the queue, and the example.

#include <functional>
#include <string>
#include <vector>

#include <zentara/zentara.h>
#include "support/ChildProcess.h"
#include "support/ClientCalls.h"
#include "support/CollectorProcess.h"
#include "support/TestHost.h"

using namespace zentara;
using namespace zentara::test;

namespace {

constexpr auto textOf = zentara_text_of;

std::string stringOf(zentara_text found) {
    return {found.bytes, found.length};
}

/// Sends a page view. Returns the kind of error and the message.
std::string send() {
    auto draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = textOf("page-view");
    draft.schema_version = textOf("1");
    draft.url = textOf("sent url");
    draft.referer = textOf("sent referer");
    draft.properties_json = textOf("{\"title\":\"own\",\"section\":\"home\"}");
    std::string outcome;
    EXPECT_EQ(zentara_send(
                  nullptr, &draft,
                  [](void* context, const zentara_event*, const zentara_error* error) {
                      *static_cast<std::string*>(context) =
                          std::to_string(zentara_error_kind_of(error)) + " " +
                          (error ? stringOf(zentara_error_message(error)) : "queued");
                  },
                  &outcome, nullptr),
              ZENTARA_OK);
    return outcome;
}

}  // namespace

TEST(CHooks, FunctionDecidesTheOutcome) {
    using Decide = std::function<zentara_decision(zentara_outgoing*)>;
    struct Case {
        Decide decide;
        std::string outcome;
    };
    const std::string dropped = "7 " + std::string(EventDroppedError().what());
    const std::string refused = "8 " + std::string(BeforeQueueError("").what());
    Case cases[] = {
        {[](auto* outgoing) {
             auto* const properties = zentara_outgoing_properties(outgoing);
             EXPECT_EQ(stringOf(zentara_value_json(zentara_properties_value(properties))),
                       "{\"title\":\"own\",\"section\":\"home\",\"language\":\"de\"}");
             EXPECT_EQ(stringOf(zentara_outgoing_url(outgoing)), "sent url");
             EXPECT_EQ(stringOf(zentara_outgoing_referer(outgoing)), "sent referer");
             // They belong to the library.
             zentara_properties_release(properties);
             EXPECT_EQ(zentara_last_status(), ZENTARA_INVALID_HANDLE);
             EXPECT_EQ(zentara_set_global_properties_take(properties), ZENTARA_INVALID_HANDLE);
             // Outlives the call.
             zentara_event_release(zentara_event_copy(zentara_outgoing_event(outgoing)));
             return ZENTARA_DECISION_QUEUE;
         },
         "0 queued"},
        {[](auto* outgoing) {
             zentara_outgoing_set_reason(outgoing, textOf("own reason"));
             return ZENTARA_DECISION_REFUSE;
         },
         refused + "own reason"},
        {[](auto*) { return 7; }, dropped},
        {[](auto* outgoing) {
             zentara_properties_open_array(zentara_outgoing_properties(outgoing), textOf("list"));
             return ZENTARA_DECISION_QUEUE;
         },
         refused + "an array or object of the properties is still open"},
    };
    const TestHost host;
    const CollectorProcess collector(ZENTARA_EXAMPLES "/schemas");
    TestHost::useServer(*URL::parse(collector.url()));
    getClient();
    auto* const global = zentara_properties_make_from_json(textOf("{\"language\":\"de\"}"));
    EXPECT_EQ(zentara_set_global_properties(global), ZENTARA_OK);
    zentara_properties_release(global);
    for (auto& each : cases) {
        zentara_set_before_queue(
            [](void* context, zentara_outgoing* outgoing) {
                return (*static_cast<Decide*>(context))(outgoing);
            },
            &each.decide, nullptr);
        EXPECT_EQ(send(), each.outcome);
    }
    zentara_set_before_queue(nullptr, nullptr, nullptr);
    zentara_set_global_properties(nullptr);
    resetClient();
}

#if defined(ZENTARA_C_EXAMPLE)
TEST(CExample, DeliversItsEvent) {
    CollectorProcess collector(ZENTARA_EXAMPLES "/schemas");
    const TemporaryDirectory home;
    ::setenv("XDG_DATA_HOME", home.path().c_str(), 1);
    ::setenv("XDG_CONFIG_HOME", home.path().c_str(), 1);
    ChildProcess example({ZENTARA_C_EXAMPLE, collector.url(), collector.url()});
    EXPECT_EQ(example.readLines(), (std::vector<std::string>{"page-view: queued", "delivered"}));
    EXPECT_EQ(example.wait(), 0);
    const auto received = collector.client().get("/received/events").text();
    EXPECT_NE(received.find("\"title\":\"Home\""), std::string::npos);
    ::unsetenv("XDG_DATA_HOME");
    ::unsetenv("XDG_CONFIG_HOME");
}
#endif
