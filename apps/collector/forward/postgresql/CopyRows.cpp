#include "collector/forward/postgresql/CopyRows.h"

#include <openssl/sha.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <type_traits>

#include "collector/data/JSONText.h"

namespace zentara::collector {

namespace {

constexpr std::string_view copyHeader("PGCOPY\n\377\r\n\0\0\0\0\0\0\0\0\0", 19);
constexpr std::int16_t columns = 15;

// In milliseconds since 1970-01-01 UTC: the origin and the bounds of PostgreSQL's times.
constexpr std::int64_t timeOrigin = 946'684'800'000;
constexpr std::int64_t firstTime = -210'866'803'200'000;
constexpr std::int64_t endOfTime = 9'224'318'016'000'000;

constexpr std::string_view escapedNul = "\\u0000";

/// The next NUL, which PostgreSQL cannot hold, in the strings of a JSON text.
std::size_t findNul(std::string_view json, std::size_t from) {
    for (auto at = json.find(escapedNul, from); at != std::string_view::npos;
         at = json.find(escapedNul, at + 1)) {
        auto before = at;
        while (before > 0 && json[before - 1] == '\\')
            --before;
        // Pairs of backslashes stand for themselves.
        if ((at - before) % 2 == 0) return at;
    }
    return std::string_view::npos;
}

bool holdsNul(std::string_view json) {
    return findNul(json, 0) != std::string_view::npos;
}

int digit(char c) {
    if ('0' <= c && c <= '9') return c - '0';
    if ('a' <= c && c <= 'f') return c - 'a' + 10;
    if ('A' <= c && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool readUUID(std::string_view text, ActionKey& key) {
    constexpr std::string_view form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    if (text.size() != form.size()) return false;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < form.size(); ++i) {
        if (form[i] == '-') {
            if (text[i] != '-') return false;
            continue;
        }
        const int value = digit(text[i]);
        if (value < 0) return false;
        auto& byte = key.at(digits++ / 2);
        byte = static_cast<unsigned char>(byte << 4 | value);
    }
    return true;
}

}  // namespace

ActionKey actionKey(std::string_view actionUUID) {
    ActionKey key{};
    if (readUUID(actionUUID, key)) return key;
    std::array<unsigned char, SHA256_DIGEST_LENGTH> digest{};
    const void* const bytes = actionUUID.data();
    SHA256(static_cast<const unsigned char*>(bytes), actionUUID.size(), digest.data());
    std::copy_n(digest.begin(), key.size(), key.begin());
    key[6] = static_cast<unsigned char>((key[6] & 0x0F) | 0x80);
    key[8] = static_cast<unsigned char>((key[8] & 0x3F) | 0x80);
    return key;
}

const std::string& CopyRows::statement() {
    static const std::string statement =
        "COPY zentara.events (received_at, action_at, sequence, action_uuid, good, schema_id, "
        "schema_version, tenant, client, context, user_type, user_token, findings, record, "
        "record_text) FROM STDIN (FORMAT binary)";
    return statement;
}

CopyRows::CopyRows() : bytes_(copyHeader) {}

void CopyRows::add(const ForwardedEvent& event, const ActionKey& key) {
    number(columns);
    time(event.receivedAt);
    time(event.actionTs);
    number(std::int32_t{8});
    number(event.sequence);
    number(static_cast<std::int32_t>(key.size()));
    bytes_.append(key.begin(), key.end());
    number(std::int32_t{1});
    bytes_ += static_cast<char>(event.good);
    const auto dash = std::min(event.schema.rfind('-'), event.schema.size());
    text(event.schema.substr(0, dash));
    text(event.schema.substr(std::min(dash + 1, event.schema.size())));
    text(event.tenant);
    text(event.client);
    text(event.context);
    textOrNull(event.userType);
    textOrNull(event.userToken);
    json(event.good ? std::string_view() : event.findings);
    if (holdsNul(event.record)) {
        null();
        text(event.record);
    } else {
        json(event.record);
        null();
    }
}

const std::string& CopyRows::finish() {
    number(std::int16_t{-1});
    return bytes_;
}

template <typename Number>
void CopyRows::number(Number value) {
    const auto bits = static_cast<std::make_unsigned_t<Number>>(value);
    for (int shift = sizeof(Number) * 8 - 8; shift >= 0; shift -= 8)
        bytes_ += static_cast<char>(bits >> shift);
}

void CopyRows::null() {
    number(std::int32_t{-1});
}

// The record has the exact text.
void CopyRows::text(std::string_view text) {
    // Header fields may hold other text than UTF-8.
    std::string utf8 = inUTF8(text);
    std::ranges::replace(utf8, '\0', ' ');
    number(static_cast<std::int32_t>(utf8.size()));
    bytes_ += utf8;
}

void CopyRows::textOrNull(std::string_view value) {
    if (value.empty()) {
        null();
    } else {
        text(value);
    }
}

void CopyRows::json(std::string_view json) {
    if (json.empty()) {
        null();
        return;
    }
    constexpr char version = 1;  // of the form of jsonb
    std::string shown;
    if (holdsNul(json)) {
        shown = json;
        for (auto at = findNul(shown, 0); at != std::string::npos; at = findNul(shown, at))
            shown.replace(at, escapedNul.size(), "\\ufffd");
        json = shown;
    }
    number(static_cast<std::int32_t>(json.size() + 1));
    bytes_ += version;
    bytes_ += json;
}

void CopyRows::time(std::int64_t milliseconds) {
    if (milliseconds < firstTime || milliseconds >= endOfTime) {
        null();
        return;
    }
    number(std::int32_t{8});
    number((milliseconds - timeOrigin) * 1000);
}

}  // namespace zentara::collector
