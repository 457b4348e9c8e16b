// What crosses the boundary of the C interface: lent handles, texts of failures, records.

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>

#include "c/Header.h"
#include "support/ClientCalls.h"
#include "support/TestHost.h"
#include "text/Unicode.h"

using namespace zentara;
using namespace zentara::test;

TEST(CBoundary, LentHandlesAreCopiedButNotReleased) {
    const TestHost host;
    TestHost::useServer(*URL::parse("http://127.0.0.1:1"));
    bool isCalled = false;
    EXPECT_EQ(send_from_c(
                  nullptr,
                  [](void* context, const zentara_event* event, const zentara_error* error) {
                      zentara_error_release(const_cast<zentara_error*>(error));
                      EXPECT_EQ(zentara_last_status(), ZENTARA_INVALID_HANDLE);
                      auto* const own = zentara_error_copy(error);
                      EXPECT_EQ(zentara_error_kind_of(own), ZENTARA_ERROR_NOT_READY);
                      zentara_error_release(own);
                      zentara_event_release(const_cast<zentara_event*>(event));
                      auto* const copy = zentara_event_copy(event);
                      EXPECT_NE(copy, nullptr);
                      zentara_event_release(copy);
                      *static_cast<bool*>(context) = true;
                  },
                  &isCalled),
              ZENTARA_OK);
    EXPECT_TRUE(isCalled);
    resetClient();
}

TEST(CBoundary, ReadEventKeepsTheDraftsProperties) {
    auto draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = zentara_text_of("id");
    draft.schema_version = zentara_text_of("1");
    auto* const event = zentara_event_make(&draft);
    draft.properties_json = zentara_text_of("{}");
    draft.properties = zentara_properties_make();
    auto* const properties = draft.properties;
    draft.schema_id = zentara_text_of("other");
    EXPECT_EQ(zentara_event_read(event, &draft), ZENTARA_OK);
    EXPECT_EQ(std::string(draft.schema_id.bytes, draft.schema_id.length), "id");
    EXPECT_EQ(draft.properties, properties);
    EXPECT_EQ(draft.properties_json.length, 2u);
    zentara_properties_release(properties);
    zentara_event_release(event);
}

TEST(CBoundary, ProblemsAreCutBetweenCharacters) {
    auto statistics = ZENTARA_INIT(zentara_statistics);
    std::int64_t count = 0;
    const std::string begin = "there is no statistic ";
    for (const std::string padding : {"", "x"}) {
        std::string name = padding + "\xFF";
        while (name.size() < 1000)
            name += "\u00E4";
        EXPECT_EQ(zentara_count_of(&statistics, {name.data(), name.size()}, &count),
                  ZENTARA_INVALID_ARGUMENT);
        const auto problem = zentara_last_problem();
        const std::string text(problem.bytes, problem.length);
        EXPECT_TRUE(text.starts_with(begin + padding + "\uFFFD\u00E4"));
        EXPECT_TRUE(isValidUTF8(text));
        EXPECT_EQ(text.size(), padding.empty() ? 511u : 512u);
    }
}

TEST(CBoundaryDeathTest, FlushDoesNotWaitWhileTheProcessExits) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            // Called after the library's own function, because it is registered earlier.
            std::atexit([] {
                const auto begin = std::chrono::steady_clock::now();
                auto result = ZENTARA_INIT(zentara_flush_result);
                zentara_flush_and_wait(20'000, &result);
                const auto time = std::chrono::steady_clock::now() - begin;
                const bool isLate = time > std::chrono::seconds(10);
                ::_exit(isLate || result.outcome != ZENTARA_FLUSH_DEADLINE ||
                        result.held_back != 1);
            });
            const TestHost host;
            TestHost::useServer(*URL::parse("http://127.0.0.1:1"));
            send_from_c(nullptr, nullptr, nullptr);
            std::exit(5);
        },
        testing::ExitedWithCode(0), "");
}
