// The C interface against the real collector: delivery, and the functions of the host.

#include <set>
#include <string>
#include <vector>

#include <zentara/zentara.h>
#include "support/ChildProcess.h"
#include "support/ClientCalls.h"
#include "support/CollectorProcess.h"
#include "support/TestHost.h"
#include "support/WaitFor.h"

using namespace zentara;
using namespace zentara::test;

namespace {

zentara_text text(const char* content) {
    return zentara_text_of(content);
}

std::string string(zentara_text found) {
    return {found.bytes, found.length};
}

class CHooks : public testing::Test {
  protected:
    CHooks() : collector_(ZENTARA_EXAMPLES "/schemas") {
        TestHost::useServer(*URL::parse(collector_.url()));
        getClient();
        // An identity must be there before the first flush.
        EXPECT_TRUE(valueFrom<std::string>([](auto done) {
            ZentaraClient::get()->getHsid([done](const std::string& hsid) { done(hsid); });
        }));
    }
    ~CHooks() override {
        zentara_set_before_queue(nullptr, nullptr, nullptr);
        zentara_set_delivery_observer(nullptr, nullptr, nullptr);
        zentara_set_global_properties(nullptr);
        zentara_set_log_sink(ZENTARA_LOG_INFO, nullptr, nullptr, nullptr);
        resetClient();
    }

    /// Sends a page view with this title. Returns the kind of error and the message.
    static std::string send(const std::string& title,
                            const std::string& own = ",\"language\":\"en\"") {
        const auto properties = "{\"title\":\"" + title + "\",\"section\":\"home\"" + own + "}";
        auto draft = ZENTARA_INIT(zentara_event_draft);
        draft.schema_id = text("page-view");
        draft.schema_version = text("1");
        draft.url = text("sent url");
        draft.referer = text("sent referer");
        draft.properties_json = text(properties.c_str());
        std::string outcome;
        EXPECT_EQ(zentara_send(
                      nullptr, &draft,
                      [](void* context, const zentara_event*, const zentara_error* error) {
                          *static_cast<std::string*>(context) =
                              std::to_string(zentara_error_kind_of(error)) + " " +
                              (error ? string(zentara_error_message(error)) : "queued");
                      },
                      &outcome, nullptr),
                  ZENTARA_OK);
        return outcome;
    }

    TestHost host_;
    CollectorProcess collector_;
};

/// Decides by the title.
zentara_decision decide(void* context, zentara_outgoing* outgoing) {
    auto* const properties = zentara_outgoing_properties(outgoing);
    const auto title = string(
        zentara_value_look(zentara_value_find(zentara_properties_value(properties), text("title")))
            .text);
    auto draft = ZENTARA_INIT(zentara_event_draft);
    zentara_event_read(zentara_outgoing_event(outgoing), &draft);
    EXPECT_EQ(string(draft.schema_id) + string(draft.url) + string(draft.referer),
              "page-viewsent url");
    EXPECT_EQ(string(zentara_outgoing_url(outgoing)) + string(zentara_outgoing_referer(outgoing)),
              "sent urlsent referer");
    // They belong to the library.
    zentara_properties_release(properties);
    EXPECT_EQ(zentara_last_status(), ZENTARA_INVALID_HANDLE);
    EXPECT_EQ(zentara_set_global_properties_take(properties), ZENTARA_INVALID_HANDLE);
    if (title == "drop") return ZENTARA_DECISION_DROP;
    if (title == "refuse") {
        zentara_outgoing_set_reason(outgoing, text("own reason"));
        return ZENTARA_DECISION_REFUSE;
    }
    if (title == "open") {
        zentara_properties_open_array(properties, text("list"));
        return ZENTARA_DECISION_QUEUE;
    }
    if (title == "unknown") return 7;
    zentara_properties_put_text(properties, text("section"), text("basket"));
    zentara_outgoing_set_url(outgoing, text("own url"));
    zentara_outgoing_set_referer(outgoing, text("own referer"));
    static_cast<std::vector<std::string>*>(context)->push_back(
        string(zentara_outgoing_action_uuid(outgoing)));
    // Outlives the call.
    zentara_event_release(zentara_event_copy(zentara_outgoing_event(outgoing)));
    return ZENTARA_DECISION_QUEUE;
}

}  // namespace

TEST_F(CHooks, EventIsChangedDroppedAndRefused) {
    std::vector<std::string> sent;
    ASSERT_EQ(zentara_set_before_queue(decide, &sent, nullptr), ZENTARA_OK);
    auto* const global = zentara_properties_make_from_json(text("{\"language\":\"de\"}"));
    ASSERT_EQ(zentara_set_global_properties(global), ZENTARA_OK);
    zentara_properties_release(global);
    using Notices = Mailbox<std::pair<zentara_delivery_kind, std::vector<std::string>>>;
    const auto notices = std::make_unique<Notices>();
    zentara_set_delivery_observer(
        [](void* context, const zentara_delivery_notice* notice) {
            std::vector<std::string> uuids;
            for (std::size_t index = 0; index < notice->count; ++index)
                uuids.push_back(string(notice->action_uuids[index]));
            EXPECT_EQ(string(notice->reason), "");
            static_cast<Notices*>(context)->put({notice->kind, uuids});
        },
        notices.get(), nullptr);

    const std::string refused = "8 " + std::string(BeforeQueueError("").what());
    EXPECT_EQ(send("first"), "0 queued");
    EXPECT_EQ(send("drop"), "7 " + std::string(EventDroppedError().what()));
    EXPECT_EQ(send("refuse"), refused + "own reason");
    EXPECT_EQ(send("unknown"), "7 " + std::string(EventDroppedError().what()));
    EXPECT_EQ(send("open"), refused + "an array or object of the properties is still open");
    EXPECT_EQ(send("last", ""), "0 queued");

    auto result = ZENTARA_INIT(zentara_flush_result);
    ASSERT_EQ(zentara_flush_and_wait(20000, &result), ZENTARA_OK);
    EXPECT_EQ(result.outcome, ZENTARA_FLUSH_EMPTY);
    EXPECT_EQ(result.delivered, 2);
    EXPECT_EQ(result.waiting, 0);
    EXPECT_EQ(result.held_back, 0);
    EXPECT_EQ(string(result.last_failure), "");
    EXPECT_EQ(notices->waitFor(), std::pair(ZENTARA_DELIVERY_DELIVERED + 0, sent));

    const auto received = collector_.client().get("/received/events").text();
    EXPECT_NE(received.find("\"total\":2"), std::string::npos);
    for (const std::string part :
         {"\"title\":\"first\"", "\"title\":\"last\"", "\"section\":\"basket\"",
          "\"language\":\"en\"", "\"language\":\"de\"", "\"url\":\"own url\"",
          "\"zentaraClientReferer\":\"own referer\""})
        EXPECT_NE(received.find(part), std::string::npos) << part;
    // Replacing the functions releases them; this one writes to the test's stack.
    zentara_set_before_queue(nullptr, nullptr, nullptr);
    auto statistics = ZENTARA_INIT(zentara_statistics);
    zentara_read_statistics(&statistics);
    EXPECT_EQ(statistics.refused_by_hook, 2);
    EXPECT_EQ(statistics.dropped_by_hook, 2);
}

TEST_F(CHooks, SinkReceivesLinesAndNothingIsPrinted) {
    struct Line {
        zentara_log_level level;
        std::string component;
        std::string text;
    };
    using Lines = Mailbox<Line>;
    const auto lines = std::make_unique<Lines>();
    ASSERT_EQ(zentara_set_log_sink(
                  ZENTARA_LOG_INFO,
                  [](void* context, const zentara_log_line* line) {
                      static_cast<Lines*>(context)->put(
                          {line->level, string(line->component), string(line->text)});
                  },
                  lines.get(), nullptr),
              ZENTARA_OK);
    testing::internal::CaptureStdout();
    ZentaraClient::setIsReady(false);
    zentara_share_client(nullptr);
    TestHost::useServer(*URL::parse("http://127.0.0.1:1"));
    EXPECT_EQ(send("held back").substr(0, 2), "2 ");
    const auto line = lines->waitFor();
    ASSERT_TRUE(line);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(zentara_set_log_sink(ZENTARA_LOG_FATAL, zentara_quiet_log, nullptr, nullptr),
              ZENTARA_OK);
    for (const auto level : {-1, 3})
        EXPECT_EQ(zentara_set_log_sink(level, zentara_quiet_log, nullptr, nullptr),
                  ZENTARA_INVALID_ARGUMENT);
}

TEST_F(CHooks, ContextOfAReplacedFunctionIsReleased) {
    Signal released;
    const auto release = [](void* context) {
        static_cast<Signal*>(context)->notify();
    };
    zentara_set_before_queue([](void*, zentara_outgoing*) { return zentara_decision{}; }, &released,
                             release);
    zentara_set_delivery_observer([](void*, const zentara_delivery_notice*) {}, &released, release);
    zentara_set_log_sink(ZENTARA_LOG_FATAL, zentara_quiet_log, &released, release);
    EXPECT_EQ(released.count(), 0u);
    zentara_set_before_queue(nullptr, nullptr, nullptr);
    EXPECT_TRUE(released.waitFor(1));
    zentara_set_delivery_observer(nullptr, nullptr, nullptr);
    EXPECT_TRUE(released.waitFor(2));
    zentara_set_log_sink(ZENTARA_LOG_FATAL, nullptr, nullptr, nullptr);
    EXPECT_TRUE(released.waitFor(3));
    zentara_set_log_sink(7, zentara_quiet_log, &released, release);
    zentara_set_before_queue(nullptr, &released, release);
    zentara_set_delivery_observer(nullptr, &released, release);
    zentara_flush(0, nullptr, &released, release);
    EXPECT_TRUE(released.waitFor(7));
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
