// The C interface: that every value arrives, and what it answers to wrong use.

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "c/Header.h"
#include "c/StatisticsMembers.h"
#include "support/ClientCalls.h"
#include "support/FailingAllocations.h"
#include "support/TestHost.h"

using namespace zentara;
using namespace zentara::test;

namespace {

constexpr zentara_text absent{nullptr, 0};

zentara_text text(const char* content) {
    return zentara_text_of(content);
}

std::string string(zentara_text found) {
    return found.bytes == nullptr ? "(absent)" : std::string(found.bytes, found.length);
}

std::string json(const zentara_properties* properties) {
    return string(zentara_value_json(zentara_properties_value(properties)));
}

/// A draft that is valid as it is.
zentara_event_draft draftOf(const char* schemaId = "page-view") {
    auto draft = ZENTARA_INIT(zentara_event_draft);
    draft.schema_id = text(schemaId);
    draft.schema_version = text("1");
    return draft;
}

/// Everything that a handler received, one line for each call.
struct Received {
    std::vector<std::string> lines;

    static void note(void* context, const zentara_event* event, const zentara_error* error) {
        auto draft = ZENTARA_INIT(zentara_event_draft);
        EXPECT_EQ(zentara_event_read(event, &draft), ZENTARA_OK);
        std::string line;
        for (const auto value :
             {draft.schema_id, draft.schema_version, draft.content_type, draft.url, draft.referer,
              draft.relation_id, zentara_value_json(zentara_event_properties(event))}) {
            line += string(value) + "|";
        }
        static_cast<Received*>(context)->lines.push_back(
            line + std::to_string(zentara_error_kind_of(error)) + "|" +
            std::to_string(zentara_error_code(error)) + "|" + string(zentara_error_domain(error)) +
            "|" + string(zentara_error_message(error)));
    }
};

class CInterface : public testing::Test {
  protected:
    // Schemas never come, so events are held back.
    CInterface() { TestHost::useServer(*URL::parse("http://127.0.0.1:1")); }
    ~CInterface() override { resetClient(); }

    TestHost host_;
};

}  // namespace

TEST(CHeader, VersionIsThatOfTheLibrary) {
    const auto version = std::to_string(ZENTARA_VERSION_MAJOR) + "." +
                         std::to_string(ZENTARA_VERSION_MINOR) + "." +
                         std::to_string(ZENTARA_VERSION_PATCH);
    EXPECT_EQ(version, ZENTARA_VERSION);
    EXPECT_EQ(version, zentara_version());
    EXPECT_EQ(version, ClientSettings().clientVersion);
}

TEST(CProperties, AreBuiltValueByValue) {
    auto* const properties = zentara_properties_make();
    zentara_properties_put_null(properties, text("null"));
    zentara_properties_put_boolean(properties, text("boolean"), true);
    zentara_properties_put_integer(properties, text("integer"), INT64_MIN);
    zentara_properties_put_unsigned_integer(properties, text("unsigned"), UINT64_MAX);
    zentara_properties_put_number(properties, text("number"), 0.5);
    zentara_properties_put_text(properties, text("text"), {"a\0b", 3});
    zentara_properties_put_json(properties, text("json"), text("[1,{\"k\":null}]"));
    zentara_properties_open_object(properties, text("object"));
    zentara_properties_set_key(properties, text("inner"));
    zentara_properties_open_array(properties, absent);
    zentara_properties_put_integer(properties, text("ignored"), 4);
    zentara_properties_close(properties);
    zentara_properties_close(properties);
    zentara_properties_put_text(properties, text("gone"), text("x"));
    zentara_properties_remove(properties, text("gone"));
    zentara_properties_put_integer(properties, text("null"), 9);
    const std::string expected =
        "{\"null\":9,\"boolean\":true,\"integer\":-9223372036854775808,"
        "\"unsigned\":18446744073709551615,\"number\":0.5,\"text\":\"a\\u0000b\","
        "\"json\":[1,{\"k\":null}],\"object\":{\"inner\":[4]}}";
    EXPECT_EQ(json(properties), expected);

    auto* const copy = zentara_properties_copy(properties);
    zentara_properties_replace_json(properties, text("{\"b\":[true,\"x\",-1,1.5]}"));
    EXPECT_EQ(json(copy), expected);
    zentara_text key = absent;
    const auto* const list = zentara_value_member(zentara_properties_value(properties), 0, &key);
    EXPECT_EQ(string(key), "b");
    EXPECT_EQ(list, zentara_value_find(zentara_properties_value(properties), text("b")));
    EXPECT_EQ(zentara_value_look(list).count, 4u);
    EXPECT_TRUE(zentara_value_look(zentara_value_element(list, 0)).boolean);
    EXPECT_EQ(string(zentara_value_look(zentara_value_element(list, 1)).text), "x");
    EXPECT_EQ(zentara_value_look(zentara_value_element(list, 2)).integer, -1);
    EXPECT_EQ(zentara_value_look(zentara_value_element(list, 3)).number, 1.5);
    EXPECT_EQ(zentara_value_element(list, 4), nullptr);
    EXPECT_EQ(zentara_value_look(nullptr).kind, ZENTARA_VALUE_NULL);
    zentara_properties_release(copy);
    zentara_properties_release(properties);
}

TEST_F(CInterface, WhatIsAbsentHasADefault) {
    zentara_use_settings(absent, ZENTARA_ENVIRONMENT_PRODUCTION, absent, nullptr);
    EXPECT_EQ(ClientSettings::current()->environment, ZentaraEnvironment::production);
    EXPECT_EQ(ClientSettings::current()->advertisingId, std::nullopt);
    EXPECT_EQ(ClientSettings::current()->delivery, DeliveryPolicy());
    zentara_set_device(text("OwnOS"), absent, text("own model"));
    const auto device = HostApplication::device();
    EXPECT_EQ(device.systemName + "|" + device.systemVersion + "|" + device.hardwareModel,
              "OwnOS||own model");
}

TEST_F(CInterface, EveryValueOfAnEventArrives) {
    zentara_client* client = nullptr;
    ASSERT_EQ(zentara_get(nullptr, nullptr, nullptr, &client), ZENTARA_OK);
    Received received;
    EXPECT_EQ(send_from_c(client, Received::note, &received), ZENTARA_OK);
    auto draft = draftOf("own-schema");
    draft.schema_version = text("8");
    draft.url = text("its url");
    draft.referer = text("its referer");
    draft.relation_id = text("its relation");
    draft.properties = zentara_properties_make_from_json(text("{\"n\":8}"));
    auto* const event = zentara_event_make_take(&draft);
    Received::note(&received, event, nullptr);
    EXPECT_EQ(zentara_send_event(nullptr, event, Received::note, &received, nullptr), ZENTARA_OK);
    const zentara_event* const events[] = {event, nullptr, event};
    EXPECT_EQ(zentara_send_events(client, events, 3, absent, Received::note, &received, nullptr),
              ZENTARA_OK);
    zentara_event_release(event);

    const std::string ending =
        "|2|1|ZentaraClient|Zentara Client is not Ready! Event queued to be sent later: "
        "own-schema.";
    const std::string its = "own-schema|8|application/json|its url|";
    const auto batch = its + "|(absent)|{\"n\":8}" + ending;
    EXPECT_EQ(received.lines,
              (std::vector<std::string>{
                  "own-schema|7|own/type|own url||own relation|{\"own\":[1,\"two\"]}" + ending,
                  its + "its referer|its relation|{\"n\":8}|0|-1|(absent)|(absent)",
                  its + "|its relation|{\"n\":8}" + ending, batch, batch}));
    const auto stored = contentsOf(host_.file("unvalidated-events-storage"));
    EXPECT_NE(stored.find("\"zentaraClientReferer\":\"own referer\""), std::string::npos);
    EXPECT_NE(stored.find("\"zentaraClientReferer\":\"its referer\""), std::string::npos);
    zentara_client_release(client);
}

TEST_F(CInterface, ClientIsSharedAndIdentified) {
    zentara_client* client = nullptr;
    ASSERT_EQ(zentara_get(nullptr, nullptr, nullptr, &client), ZENTARA_OK);
    zentara_set_advertising_id(client, text("own ad"));
    EXPECT_EQ(ClientSettings::current()->advertisingId, "own ad");
    zentara_set_advertising_id(client, absent);
    EXPECT_EQ(ClientSettings::current()->advertisingId, std::nullopt);
    const auto first = string(zentara_context_id(client));
    EXPECT_EQ(first.size(), 36u);
    zentara_new_context_id(nullptr);
    EXPECT_NE(string(zentara_context_id(client)), first);

    EXPECT_EQ(zentara_share_client(nullptr), ZENTARA_OK);
    EXPECT_EQ(zentara_shared_client_copy(), nullptr);
    EXPECT_EQ(zentara_share_client(client), ZENTARA_OK);
    auto* const shared = zentara_client_copy(nullptr);
    EXPECT_EQ(string(zentara_context_id(shared)), string(zentara_context_id(client)));
    zentara_client_release(shared);
    zentara_client_release(client);
}

TEST_F(CInterface, RecordsOfOtherSizesAreRead) {
    auto draft = draftOf("own-schema");
    draft.content_type = text("own/type");
    draft.url = text("beyond");
    // A program from before these members.
    draft.size = offsetof(zentara_event_draft, url);
    auto* const event = zentara_event_make(&draft);
    Received received;
    Received::note(&received, event, nullptr);
    EXPECT_EQ(received.lines, std::vector<std::string>{
                                  "own-schema|1|own/type|||(absent)|{}|0|-1|(absent)|(absent)"});
    zentara_event_release(event);

    struct Newer {
        zentara_statistics known;
        std::int64_t unknown = 77;
    } newer{ZENTARA_INIT(zentara_statistics)};
    newer.known.size = sizeof(Newer);
    EXPECT_EQ(zentara_read_statistics(&newer.known), ZENTARA_OK);
    EXPECT_EQ(newer.known.size, sizeof(zentara_statistics));
    EXPECT_EQ(newer.unknown, 77);

    auto older = ZENTARA_INIT(zentara_statistics);
    older.size = offsetof(zentara_statistics, held_back);
    older.held_back = 78;
    EXPECT_EQ(zentara_read_statistics(&older), ZENTARA_OK);
    EXPECT_EQ(older.held_back, 78);
}

TEST_F(CInterface, StatisticsHaveNames) {
    auto statistics = ZENTARA_INIT(zentara_statistics);
    EXPECT_EQ(zentara_statistics_size(), sizeof statistics);
    std::int64_t found = 0;
    // Each name is that of C++ in the style of C.
    const auto inStyleOfC = [](const std::string& name) {
        std::string result;
        for (const char character : name) {
            if (character < 'a') result += '_';
            result += static_cast<char>(character | ' ');
        }
        return result;
    };
#define CHECK_NAME(name, nameInC) EXPECT_EQ(inStyleOfC(#name), #nameInC);
    ZENTARA_EACH_COUNT_IN_C(CHECK_NAME)
    ZENTARA_EACH_FAILURE_IN_C(CHECK_NAME)
#undef CHECK_NAME
    // Each name leads to a count of its own.
    auto* const counts = &statistics.accepted;
    std::set<std::int64_t> values;
    std::size_t names = 0;
    for (; zentara_count_name(names) != nullptr; ++names)
        counts[names] = static_cast<std::int64_t>(names);
    for (std::size_t index = 0; index < names; ++index) {
        EXPECT_EQ(zentara_count_of(&statistics, text(zentara_count_name(index)), &found),
                  ZENTARA_OK);
        values.insert(found);
    }
    EXPECT_EQ(values.size(), names);
    EXPECT_EQ(zentara_count_of(&statistics, text("held_back"), &found), ZENTARA_OK);
    EXPECT_EQ(found, &statistics.held_back - counts);
    zentara_failure failure{};
    statistics.storage_failure = {text("full"), 5, 6};
    EXPECT_EQ(zentara_failure_of(&statistics, text(zentara_failure_name(3)), &failure), ZENTARA_OK);
    EXPECT_EQ(
        string(failure.text) + std::to_string(failure.time) + std::to_string(failure.in_a_row),
        "full56");
    EXPECT_EQ(zentara_failure_name(4), nullptr);
}

namespace {

struct Misuse {
    const char* name;
    std::function<zentara_status()> call;
    zentara_status expected;
    const char* problem;
};

/// The status of a function that makes a handle and has failed.
zentara_status statusOf(const void* made) {
    EXPECT_EQ(made, nullptr);
    return zentara_last_status();
}

}  // namespace

TEST_F(CInterface, WrongUseHasAnAnswer) {
    auto* const properties = zentara_properties_make();
    auto* const open = zentara_properties_make();
    zentara_properties_open_array(open, text("list"));
    auto* const error = zentara_error_make(ZENTARA_ERROR_UNKNOWN, absent);
    const auto* const otherEvent = reinterpret_cast<const zentara_event*>(error);
    const auto* const otherClient = reinterpret_cast<const zentara_client*>(error);
    auto* const otherProperties = reinterpret_cast<zentara_properties*>(error);
    const zentara_event* const events[] = {otherEvent};
    auto draft = draftOf();
    const auto sent = [&](auto change) {
        return [&, change] {
            auto changed = draft;
            change(changed);
            return zentara_send(nullptr, &changed, Received::note, nullptr, nullptr);
        };
    };
    zentara_delivery_policy policy{};
    auto endpoints = ZENTARA_INIT(zentara_endpoints);
    endpoints.qa_schemas = text("user:password@secret is: no url");
    zentara_endpoints empty{};
    zentara_flush_result flushed{};
    auto statistics = ZENTARA_INIT(zentara_statistics);
    std::int64_t count = 0;
    const char* const otherHandle = "a handle that was released, or of another type";
    const char* const nullRecord = "a null record";
    const char* const nullHandle = "a null handle";
    const auto bad = ZENTARA_INVALID_ARGUMENT;
    const Misuse table[] = {
        {"endpoints of null", [] { return zentara_use_endpoints(nullptr); }, bad, nullRecord},
        {"endpoints without size", [&] { return zentara_use_endpoints(&empty); }, bad,
         "a record of size 0: begin with ZENTARA_INIT"},
        {"endpoints that are none", [&] { return zentara_use_endpoints(&endpoints); }, bad,
         "not an http or https URL: '...@secret is: no url'"},
        {"environment", [] { return zentara_use_settings(text("t"), 2, absent, nullptr); }, bad,
         "there is no environment 2"},
        {"policy without size", [&] { return zentara_use_settings(text("t"), 0, absent, &policy); },
         bad, "a record of size 0: begin with ZENTARA_INIT"},
        {"log level below", [] { return zentara_set_log_sink(-1, zentara_quiet_log, {}, {}); }, bad,
         "there is no log level -1"},
        {"log level above", [] { return zentara_set_log_sink(3, zentara_quiet_log, {}, {}); }, bad,
         "there is no log level 3"},
        {"token type", [] { return zentara_set_logged_user(-1, text("t")); }, bad,
         "there is no token type -1"},
        {"token", [] { return zentara_set_logged_user(0, absent); }, bad, "there is no token"},
        {"error of kind none", [] { return statusOf(zentara_error_make(0, absent)); }, bad,
         "there are no errors of kind 0"},
        {"error of kind other", [] { return statusOf(zentara_error_make(11, absent)); }, bad,
         "there are no errors of kind 11"},
        {"copy of a null error", [] { return statusOf(zentara_error_copy(nullptr)); }, bad,
         nullHandle},
        {"copy of a null event", [] { return statusOf(zentara_event_copy(nullptr)); }, bad,
         nullHandle},
        {"copy of another event", [&] { return statusOf(zentara_event_copy(otherEvent)); },
         ZENTARA_INVALID_HANDLE, otherHandle},
        {"properties of another event",
         [&] { return statusOf(zentara_event_properties(otherEvent)); }, ZENTARA_INVALID_HANDLE,
         otherHandle},
        {"event of null", [] { return statusOf(zentara_event_make(nullptr)); }, bad, nullRecord},
        {"event read into null",
         [&] {
             auto* const event = zentara_event_make(&draft);
             const auto status = zentara_event_read(event, nullptr);
             zentara_event_release(event);
             return status;
         },
         bad, nullRecord},
        {"send of null",
         [] { return zentara_send(nullptr, nullptr, Received::note, nullptr, nullptr); }, bad,
         nullRecord},
        {"send by another client",
         [&] { return zentara_send(otherClient, &draft, Received::note, nullptr, nullptr); },
         ZENTARA_INVALID_HANDLE, otherHandle},
        {"send without schema id", sent([](auto& its) { its.schema_id = absent; }), bad,
         "there is no schema id"},
        {"send without schema version", sent([](auto& its) { its.schema_version = absent; }), bad,
         "there is no schema version"},
        {"send with half a word", sent([](auto& its) { its.size = sizeof(void*) * 3 / 2; }), bad,
         sizeof(void*) == 8 ? "a record of size 12: begin with ZENTARA_INIT"
                            : "a record of size 6: begin with ZENTARA_INIT"},
        {"send of open properties", sent([&](auto& its) { its.properties = open; }), bad,
         "an array or object of the properties is still open"},
        {"send of other properties", sent([&](auto& its) { its.properties = otherProperties; }),
         ZENTARA_INVALID_HANDLE, otherHandle},
        {"send of both properties", sent([&](auto& its) {
             its.properties = properties;
             its.properties_json = text("{}");
         }),
         bad, "a draft with both properties and properties_json"},
        {"send of an array", sent([](auto& its) { its.properties_json = text("[]"); }), bad,
         "the properties are no JSON object"},
        {"send of other events",
         [&] {
             return zentara_send_events(nullptr, events, 1, absent, Received::note, nullptr,
                                        nullptr);
         },
         ZENTARA_INVALID_HANDLE, otherHandle},
        {"send of null events",
         [] {
             return zentara_send_events(nullptr, nullptr, 1, absent, Received::note, nullptr,
                                        nullptr);
         },
         bad, "null events"},
        {"send of a null event",
         [] { return zentara_send_event(nullptr, nullptr, Received::note, nullptr, nullptr); }, bad,
         nullHandle},
        {"share another client", [&] { return zentara_share_client(otherClient); },
         ZENTARA_INVALID_HANDLE, otherHandle},
        {"context of another client",
         [&] { return statusOf(zentara_context_id(otherClient).bytes); }, ZENTARA_INVALID_HANDLE,
         otherHandle},
        {"put into null", [] { return zentara_properties_put_null(nullptr, text("k")); }, bad,
         nullHandle},
        {"put without a key", [&] { return zentara_properties_put_null(properties, absent); }, bad,
         "a member without a key"},
        {"put no JSON", [&] { return zentara_properties_put_json(properties, text("k"), absent); },
         bad, "there is no JSON"},
        {"close of nothing", [&] { return zentara_properties_close(properties); }, bad,
         "nothing is open"},
        {"set no key", [&] { return zentara_properties_set_key(properties, absent); }, bad,
         "there is no key"},
        {"replace by a number",
         [&] { return zentara_properties_replace_json(properties, text("3")); }, bad,
         "the properties are no JSON object"},
        {"outgoing null", [] { return statusOf(zentara_outgoing_properties(nullptr)); }, bad,
         nullHandle},
        {"url of an outgoing null", [] { return statusOf(zentara_outgoing_url(nullptr).bytes); },
         bad, nullHandle},
        {"referer of another outgoing",
         [&] {
             return zentara_outgoing_set_referer(reinterpret_cast<zentara_outgoing*>(error),
                                                 text("r"));
         },
         ZENTARA_INVALID_HANDLE, otherHandle},
        {"global properties that are open", [&] { return zentara_set_global_properties(open); },
         bad, "an array or object of the properties is still open"},
        {"other global properties",
         [&] { return zentara_set_global_properties_take(otherProperties); },
         ZENTARA_INVALID_HANDLE, otherHandle},
        {"flush into no size", [&] { return zentara_flush_and_wait(0, &flushed); }, bad,
         "a record of size 0: begin with ZENTARA_INIT"},
        {"shutdown into no size", [&] { return zentara_shutdown(0, &flushed); }, bad,
         "a record of size 0: begin with ZENTARA_INIT"},
        {"statistics of null", [] { return zentara_read_statistics(nullptr); }, bad, nullRecord},
        {"count into null",
         [&] { return zentara_count_of(&statistics, text("accepted"), nullptr); }, bad,
         "a null count"},
        {"unknown count", [&] { return zentara_count_of(&statistics, text("heldBack"), &count); },
         bad, "there is no statistic heldBack"},
    };
    for (const auto& misuse : table) {
        EXPECT_EQ(misuse.call(), misuse.expected) << misuse.name;
        EXPECT_EQ(zentara_last_status(), misuse.expected) << misuse.name;
        EXPECT_EQ(string(zentara_last_problem()), misuse.problem) << misuse.name;
    }
    EXPECT_EQ(statusOf(zentara_properties_make_from_json(text("{"))), bad);
    // Releasing what is no such handle changes nothing.
    zentara_event_release(const_cast<zentara_event*>(otherEvent));
    zentara_properties_release(otherProperties);
    zentara_client_release(nullptr);
    EXPECT_EQ(zentara_error_kind_of(error), ZENTARA_ERROR_UNKNOWN);
    zentara_error_release(error);
    zentara_properties_release(open);
    zentara_properties_release(properties);
}

TEST_F(CInterface, CallsBeforeTheSettingsAreAnswered) {
    ClientSettingsAccess::setCurrent(nullptr);
    EXPECT_FALSE(zentara_is_configured());
    const auto before = ZentaraClient::statistics();
    Received received;
    EXPECT_EQ(send_from_c(nullptr, Received::note, &received), ZENTARA_OK);
    ASSERT_EQ(received.lines.size(), 1u);
    EXPECT_TRUE(received.lines[0].ends_with("|1|0|ZentaraClient|Zentara Client not initialized!"));
    EXPECT_EQ(ZentaraClient::statistics().refusedNotInitialized, before.refusedNotInitialized + 1);
    auto* client = reinterpret_cast<zentara_client*>(&received);
    const std::function<zentara_status()> calls[] = {
        [&] { return zentara_get(nullptr, nullptr, nullptr, &client); },
        [] { return zentara_set_logged_user(ZENTARA_USER_GUEST, text("t")); },
        [] { return zentara_remove_logged_user(); },
        [] { return zentara_get_anonymous_user(nullptr, nullptr, nullptr); },
        [] { return zentara_get_hsid(nullptr, nullptr, nullptr); },
    };
    for (const auto& call : calls)
        EXPECT_EQ(call(), ZENTARA_NOT_CONFIGURED);
    EXPECT_EQ(string(zentara_last_problem()), "zentara_use_settings has not been called");
    EXPECT_EQ(client, nullptr);
    zentara_fetch_result result = -1;
    zentara_perform_fetch(
        [](void* context, zentara_fetch_result found) {
            *static_cast<zentara_fetch_result*>(context) = found;
        },
        &result, nullptr);
    EXPECT_EQ(result, ZENTARA_FETCH_FAILED);
    EXPECT_EQ(string(zentara_context_id(nullptr)), "");
}

TEST_F(CInterface, ContextsAreReleasedOnce) {
    static Signal* released = nullptr;
    const auto release = [](void* context) {
        static_cast<int*>(context)[0]++;
        if (released != nullptr) released->notify();
    };
    zentara_event_draft invalid{};
    const auto draft = draftOf();
    auto* const event = zentara_event_make(&draft);
    using Release = void (*)(void*);
    const std::function<void(void*, Release)> calls[] = {
        [](void* own, Release end) { zentara_get(nullptr, own, end, nullptr); },
        [](void* own, Release end) { zentara_get_hsid(nullptr, own, end); },
        [](void* own, Release end) { zentara_perform_fetch(nullptr, own, end); },
        [](void* own, Release end) { zentara_get_anonymous_user(nullptr, own, end); },
        [&](void* own, Release end) { zentara_send(nullptr, &invalid, nullptr, own, end); },
        [&](void* own, Release end) { zentara_send(nullptr, &draft, nullptr, own, end); },
        [&](void* own, Release end) { zentara_send_event(nullptr, event, nullptr, own, end); },
        [&](void* own, Release end) {
            zentara_send_events(nullptr, &event, 1, absent, nullptr, own, end);
        },
    };
    for (const auto& call : calls) {
        int count = 0;
        call(&count, release);
        EXPECT_EQ(count, 1);
    }
    zentara_event_release(event);
    // What a callback is kept for comes on a worker; its context ends after it.
    Signal signal;
    released = &signal;
    int count = 0;
    zentara_get_hsid([](void* own, zentara_text) { EXPECT_EQ(*static_cast<int*>(own), 0); }, &count,
                     release);
    EXPECT_TRUE(signal.waitFor());
    released = nullptr;
    EXPECT_EQ(count, 1);
}

TEST_F(CInterface, ContextsOfFunctionsAreReleasedOnce) {
    zentara_get(nullptr, nullptr, nullptr, nullptr);
    Signal released;
    const auto release = [](void* context) {
        static_cast<Signal*>(context)->notify();
    };
    const auto setAll = [&] {
        zentara_set_before_queue([](void*, zentara_outgoing*) { return zentara_decision{}; },
                                 &released, release);
        zentara_set_delivery_observer([](void*, const zentara_delivery_notice*) {}, &released,
                                      release);
        zentara_set_log_sink(ZENTARA_LOG_FATAL, zentara_quiet_log, &released, release);
    };
    setAll();
    EXPECT_EQ(released.count(), 0u);
    setAll();
    EXPECT_TRUE(released.waitFor(3));
    // What is not set, or refused, is released as well as what it replaces.
    zentara_set_before_queue(nullptr, &released, release);
    zentara_set_delivery_observer(nullptr, &released, release);
    zentara_set_log_sink(7, zentara_quiet_log, &released, release);
    zentara_flush(0, nullptr, &released, release);
    EXPECT_TRUE(released.waitFor(9));
    setAll();
    EXPECT_TRUE(released.waitFor(10));
    zentara_get_hsid([](void*, zentara_text) {}, &released, release);
    zentara_flush(
        0, [](void*, const zentara_flush_result*) {}, &released, release);
    EXPECT_EQ(zentara_shutdown(100, nullptr), ZENTARA_OK);
    EXPECT_EQ(released.count(), 15u);
    EXPECT_EQ(zentara_shutdown(0, nullptr), ZENTARA_OK);
}

TEST_F(CInterface, ForkedChildIsAnswered) {
    // Forks while no thread works: the child uses the allocator.
    EXPECT_EQ(fetchHsid(*getClient()), "");
    const auto child = ::fork();
    if (child == 0) {
        Received received;
        zentara_client* client = nullptr;
        const bool holds = send_from_c(nullptr, Received::note, &received) == ZENTARA_OK &&
                           received.lines.size() == 1 &&
                           received.lines[0].ends_with("|5|4|ZentaraClient|Event Not Queued") &&
                           zentara_get(nullptr, nullptr, nullptr, &client) == ZENTARA_OK &&
                           !zentara_is_ready() &&
                           zentara_set_logged_user(ZENTARA_USER_GUEST, text("t")) == ZENTARA_OK;
        ::_exit(holds ? 0 : 1);
    }
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

#if !defined(__SANITIZE_THREAD__)
TEST_F(CInterface, LackOfMemoryIsAStatus) {
    zentara_get(nullptr, nullptr, nullptr, nullptr);
    failEachAllocation([] {
        auto* const properties = zentara_properties_make();
        if (properties == nullptr) {
            EXPECT_EQ(zentara_last_status(), ZENTARA_NO_MEMORY);
            throw std::bad_alloc();
        }
        const auto status =
            zentara_properties_put_json(properties, text("key of some length"), text("[1,[2]]"));
        zentara_properties_release(properties);
        EXPECT_TRUE(status == ZENTARA_OK || status == ZENTARA_NO_MEMORY);
        if (status != ZENTARA_OK) throw std::bad_alloc();
        return true;
    });
}
#endif
