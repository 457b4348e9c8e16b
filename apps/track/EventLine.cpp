#include "track/EventLine.h"

#include <algorithm>
#include <utility>

#include "json/JSONParser.h"

namespace zentara::track {

namespace {

// As deep as the library reads.
constexpr std::size_t deepestNesting = 512;

/// Takes the optional members of an object and notes the first that has the wrong kind.
class MemberReader {
  public:
    explicit MemberReader(JSONObject& object) : object_(object) {}

    void take(std::string_view key, std::string& text) {
        const JSONValue* value = find(key);
        if (value == nullptr) return;
        if (!value->is_string()) return note(key, "is not a string");
        text.assign(value->get_string().data(), value->get_string().size());
    }

    void take(std::string_view key, std::optional<std::string>& text) {
        if (find(key) != nullptr) take(key, text.emplace());
    }

    void take(std::string_view key, JSONObject& object) {
        JSONValue* value = find(key);
        if (value == nullptr) return;
        if (!value->is_object()) return note(key, "is not an object");
        object = std::move(value->get_object());
    }

    void require(std::string_view key, std::string& text) {
        if (find(key) == nullptr) return note(key, "is missing");
        take(key, text);
    }

    /// The members that were neither taken nor required.
    [[nodiscard]] std::vector<std::string> others() const {
        std::vector<std::string> names;
        for (const auto& member : object_) {
            const std::string_view name(member.key().data(), member.key().size());
            if (std::find(known_.begin(), known_.end(), name) == known_.end()) {
                names.emplace_back(name);
            }
        }
        return names;
    }

    [[nodiscard]] const std::string& fault() const noexcept { return fault_; }

  private:
    [[nodiscard]] JSONValue* find(std::string_view key) {
        known_.push_back(key);
        JSONValue* value = object_.if_contains({key.data(), key.size()});
        return value == nullptr || value->is_null() ? nullptr : value;
    }

    void note(std::string_view key, std::string_view problem) {
        if (fault_.empty()) {
            fault_.append("\"").append(key).append("\" ").append(problem);
        }
    }

    JSONObject& object_;
    std::vector<std::string_view> known_;
    std::string fault_;
};

}  // namespace

std::variant<EventLine, UnreadableLine> readEventLine(std::string_view line) {
    boost::json::error_code error;
    JSONValue value = parseDocument(line, error, {}, {.depth = deepestNesting});
    if (error) return UnreadableLine{"not JSON: " + error.message()};
    if (!value.is_object()) return UnreadableLine{"not a JSON object"};

    MemberReader members(value.get_object());
    EventLine event;
    members.require("schemaId", event.schemaId);
    members.require("schemaVersion", event.schemaVersion);
    members.take("contentType", event.contentType);
    members.take("url", event.url);
    members.take("referer", event.referer);
    members.take("properties", event.properties);
    members.take("relationId", event.relationId);
    if (!members.fault().empty()) return UnreadableLine{members.fault()};
    event.unknownMembers = members.others();
    return event;
}

}  // namespace zentara::track
