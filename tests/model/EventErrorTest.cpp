#include <zentara/EventError.h>

#include <gtest/gtest.h>

#include <memory>
#include <tuple>

namespace zentara {
namespace {

TEST(EventError, EveryClassHasItsCodeAndItsMessage) {
    const std::tuple<ZentaraClientErrorRef, std::int64_t, const char*> cases[] = {
        {std::make_shared<ZentaraClientNotInitializedError>(), 0,
         "Zentara Client not initialized!"},
        {std::make_shared<ZentaraClientNotReady>("detail."), 1,
         "Zentara Client is not Ready! detail."},
        {std::make_shared<InvalidDataForSpecifiedSchemaError>("detail"), 2,
         "Data not valid for specified Schema. detail"},
        {std::make_shared<UnknownError>(), 3, "Unknown error"},
        {std::make_shared<EventNotQueuedError>(), 4, "Event Not Queued"},
        {std::make_shared<SchemasInitializationError>(), 4, "Zentara client can not get schemas"},
    };
    for (const auto& [error, code, message] : cases) {
        EXPECT_EQ(error->domain(), "ZentaraClient");
        EXPECT_EQ(error->code(), code);
        EXPECT_EQ(error->localizedDescription(), message);
        EXPECT_STREQ(error->what(), message);
        EXPECT_EQ(error->userInfo(), (JSONObject{{"NSLocalizedDescription", message}}));
    }
}

TEST(EventError, HostsMakeErrorsOfTheirOwn) {
    const ZentaraClientError odd("host", 77, JSONObject{{"NSLocalizedDescription", 5}});
    EXPECT_EQ(odd.domain(), "host");
    EXPECT_EQ(odd.code(), 77);
    EXPECT_STREQ(odd.what(), "");
    for (const std::int64_t raw : {-1, 0, 4, 5})
        EXPECT_EQ(eventErrorCode(raw).has_value(), raw == 0 || raw == 4);
}

}  // namespace
}  // namespace zentara
