#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "collector/data/Envelope.h"
#include "collector/data/Finding.h"
#include "collector/http/HttpMessage.h"

// The JSON texts in which the query interface shows what was received.

namespace zentara::collector {

/// Who an envelope's events belong to; both empty when that is not known.
struct User {
    std::string type;
    std::string token;
};

/// The user that a request names: in the cookie that is named after a kind of user.
[[nodiscard]] User userOf(const HttpRequest& request);

/// What the events of an envelope show of it and of its request: members without braces.
[[nodiscard]] std::string factsJSON(const HttpRequest& request, const Envelope& envelope,
                                    const User& user);

/// Headers of one name are joined.
[[nodiscard]] std::string headersJSON(const HttpRequest& request);

[[nodiscard]] std::string findingsJSON(const std::vector<Finding>& findings);

// What is borrowed here holds JSON where the name says so.

struct EventRecord {
    std::int64_t number = 0;
    std::int64_t envelope = 0;
    bool duplicate = false;
    bool good = true;
    std::string_view schema;
    std::string_view actionUUID;
    std::int64_t sequence = 0;
    std::string_view findingsJSON;
    std::string_view factsJSON;
    std::string_view eventJSON;

    [[nodiscard]] std::string json() const;
};

struct EnvelopeRecord {
    std::int64_t number = 0;
    std::int64_t receivedAt = 0;
    std::string_view headersJSON;
    std::string_view body;

    [[nodiscard]] std::string json() const;
};

struct RequestRecord {
    std::int64_t number = 0;
    std::int64_t receivedAt = 0;
    std::string_view service;
    std::string_view method;
    std::string_view target;
    bool secure = false;
    std::string_view headersJSON;
    std::int64_t bodySize = 0;
    std::int64_t status = 0;
    std::string_view reason;
    std::string_view fault;
    std::int64_t storedEvents = 0;
    std::string_view body;  ///< as posted

    [[nodiscard]] std::string json() const;
};

}  // namespace zentara::collector
