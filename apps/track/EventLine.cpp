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
        if (!value->isString()) return note(key, "is not a string");
        text.assign(value->string().data(), value->string().size());
    }

    void take(std::string_view key, std::optional<std::string>& text) {
        if (find(key) != nullptr) take(key, text.emplace());
    }

    void take(std::string_view key, JSONObject& object) {
        JSONValue* value = find(key);
        if (value == nullptr) return;
        if (!value->isObject()) return note(key, "is not an object");
        object = std::move(value->object());
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
        JSONValue* value = object_.find({key.data(), key.size()});
        return value == nullptr || value->isNull() ? nullptr : value;
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
    auto value = parseJSONValue(line, {.depth = deepestNesting});
    if (!value.ok()) return UnreadableLine{"not " + value.error()->description()};
    if (!value->isObject()) return UnreadableLine{"not a JSON object"};

    MemberReader members(value->object());
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
