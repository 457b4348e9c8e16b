#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "collector/data/Envelope.h"
#include "collector/http/HttpMessage.h"

// The JSON texts of the query interface.

namespace zentara::collector {

/// The user of an envelope's events; both members are empty if it is not known.
struct User {
    std::string type;
    std::string token;
};

/// The user that a request names in a cookie, whose name is the kind of user.
[[nodiscard]] User userOf(const HttpRequest& request);

/// What each event record shows of the envelope and the request: members without braces.
[[nodiscard]] std::string factsJSON(const HttpRequest& request, const Envelope& envelope,
                                    const User& user);

/// Headers of one name are joined.
[[nodiscard]] std::string headersJSON(const HttpRequest& request);

[[nodiscard]] std::string findingsJSON(const std::vector<Finding>& findings);

// The texts are borrowed. They hold JSON where the name says so.

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
