#include "track/EventLine.h"

#include <map>
#include <streambuf>
#include <utility>

#include "json/JSONParser.h"

namespace zentara::track {

namespace {

UnreadableLine unreadable(std::string_view key, const char* problem) {
    return {"\"" + std::string(key) + "\" " + problem};
}

}  // namespace

std::optional<LineReader::Line> LineReader::next() {
    for (;;) {
        auto line = nextOfAny();
        if (!line || line->tooLong) return line;
        if (line->text.find_first_not_of(" \t") != std::string::npos) return line;
    }
}

std::optional<LineReader::Line> LineReader::nextOfAny() {
    using Traits = std::istream::traits_type;
    std::streambuf& buffer = *stream_.rdbuf();
    auto next = buffer.sbumpc();
    if (Traits::eq_int_type(next, Traits::eof())) return std::nullopt;

    Line line;
    line.number = ++number_;
    for (; !Traits::eq_int_type(next, Traits::eof()); next = buffer.sbumpc()) {
        const char character = Traits::to_char_type(next);
        if (character == '\n') break;
        if (line.text.size() < longestLine) {
            line.text += character;
        } else {
            line.tooLong = true;
        }
    }
    if (!line.text.empty() && line.text.back() == '\r') line.text.pop_back();
    return line;
}

std::variant<EventLine, UnreadableLine> readEventLine(std::string_view line) {
    auto value = parseJSONValue(line);
    if (!value.ok()) return UnreadableLine{"not " + value.error()->description()};
    auto* const object = value->ifObject();
    if (object == nullptr) return UnreadableLine{"not a JSON object"};

    EventLine event;
    std::optional<std::string> schemaId;
    std::optional<std::string> schemaVersion;
    std::optional<std::string> contentType;
    std::optional<std::string> url;
    std::optional<std::string> referer;
    const std::map<std::string_view, std::optional<std::string>*> texts{
        {"schemaId", &schemaId}, {"schemaVersion", &schemaVersion},
        {"url", &url},           {"contentType", &contentType},
        {"referer", &referer},   {"relationId", &event.relationId}};
    for (auto& [key, member] : *object) {
        // For people: the message that an invalid sample is refused with.
        if (key == "expected") continue;
        const auto text = texts.find(key);
        if (text == texts.end() && key != "properties") {
            event.unknownMembers.emplace_back(key);
        } else if (member.isNull()) {
            continue;
        } else if (text == texts.end()) {
            if (!member.isObject()) return unreadable(key, "is not an object");
            event.properties = std::move(member.object());
        } else {
            if (!member.isString()) return unreadable(key, "is not a string");
            *text->second = member.string();
        }
    }
    if (!schemaId) return unreadable("schemaId", "is missing");
    if (!schemaVersion) return unreadable("schemaVersion", "is missing");
    event.schemaId = *std::move(schemaId);
    event.schemaVersion = *std::move(schemaVersion);
    event.contentType = std::move(contentType).value_or(event.contentType);
    event.url = std::move(url).value_or("");
    event.referer = std::move(referer).value_or("");
    return event;
}

}  // namespace zentara::track
