#include "collector/expect/Arrivals.h"

#include <zentara/JSONValue.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <utility>

namespace zentara::collector {

namespace {

constexpr std::size_t mostLines = 3;      // of a kind
constexpr std::size_t longestText = 300;  // bytes

/// A selection without one of its members, other than the schema.
struct Relaxation {
    std::string member;
    EventSelection selection;
};

std::vector<Relaxation> relaxationsOf(const EventSelection& selection) {
    std::vector<Relaxation> relaxations;
    for (std::size_t index = 0; index < selection.properties.size(); ++index) {
        const auto& [path, value] = selection.properties[index];
        Relaxation relaxation{"property " + path + "=" + value, selection};
        auto& properties = relaxation.selection.properties;
        properties.erase(properties.begin() + static_cast<std::ptrdiff_t>(index));
        relaxations.push_back(std::move(relaxation));
    }
    const auto relax = [&](const char* name, auto member) {
        if (!(selection.*member)) return;
        relaxations.push_back({name, selection});
        relaxations.back().selection.*member = std::nullopt;
    };
    relax("user", &EventSelection::user);
    relax("tenant", &EventSelection::tenant);
    relax("client", &EventSelection::client);
    relax("text", &EventSelection::text);
    relax("since", &EventSelection::since);
    return relaxations;
}

std::string shortened(std::string text) {
    if (text.size() <= longestText) return text;
    auto end = longestText;
    // Not within a character.
    while ((static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
        --end;
    return text.substr(0, end) + "…";
}

std::string eventLine(const JSONObject& event) {
    std::string line = "  event " + event.at("number").text() + ", " +
                       std::string(event.at("schema").string()) + ", tenant " +
                       std::string(event.at("tenant").string()) + ", client " +
                       std::string(event.at("clientUUID").string());
    if (const auto* user = event.at("user").ifObject()) {
        line += ", user " + std::string(user->at("type").string()) + "=" +
                std::string(user->at("token").string());
    }
    const auto* const properties = event.at("event").object().find("properties");
    line += ": " + shortened(properties != nullptr ? properties->text() : "{}") + "\n";
    const auto& findings = event.at("messages").array();
    for (std::size_t index = 0; index < std::min(findings.size(), mostLines); ++index) {
        const auto path = findings[index].at("path").string();
        line += "    " + (path.empty() ? "" : std::string(path) + ": ") +
                shortened(std::string(findings[index].at("message").string())) + "\n";
    }
    return line;
}

/// The latest events of a selection, with a title.
std::string latest(const CollectorClient& collector, const std::string& title,
                   const EventSelection& selection) {
    const auto answer =
        collector.get("/received/events?order=descending&limit=" + std::to_string(mostLines) + "&" +
                      queryFor(selection));
    const auto& events = answer.at("events").array();
    if (events.empty()) return "";
    std::string text = title + ": " + answer.at("total").text() + "\n";
    for (const auto& event : events)
        text += eventLine(event.object());
    return text;
}

std::string nearestEvents(const CollectorClient& collector, const EventSelection& selection) {
    std::string text;
    for (const auto& [member, relaxed] : relaxationsOf(selection))
        text += latest(collector, "but for the " + member, relaxed);
    if (!text.empty()) return text;
    return latest(collector, selection.schema ? "of the schema" : "of any schema",
                  {.schema = selection.schema, .verdict = selection.verdict});
}

std::string badEvents(const CollectorClient& collector, const EventSelection& selection) {
    if (selection.verdict != EventSelection::Verdict::good) return "";
    return latest(collector, "bad",
                  {.schema = selection.schema, .verdict = EventSelection::Verdict::bad});
}

std::string refusedPosts(const CollectorClient& collector) {
    const auto answer = collector.get("/received/requests?refused=true&order=descending&limit=" +
                                      std::to_string(mostLines));
    const auto& requests = answer.at("requests").array();
    if (requests.empty()) return "";
    std::string text = "posts refused: " + answer.at("total").text() + "\n";
    for (const auto& request : requests) {
        text += "  status " + request.at("status").text();
        if (const auto* reason = request.object().find("reason")) {
            text += ": " + shortened(std::string(reason->string()));
        }
        text += "\n";
    }
    return text;
}

std::string countsBySchema(const CollectorClient& collector) {
    const auto summary = collector.get("/received/summary");
    const std::string bad = summary.at("bad").text();
    std::string text = "received: " + summary.at("events").text() + " events, " + bad + " bad\n";
    for (const auto& [schema, count] : summary.at("eventsBySchema").object())
        text += "  " + std::string(schema) + ": " + count.text() + "\n";
    return text;
}

}  // namespace

std::string whatArrivedInstead(const CollectorClient& collector, const EventSelection& selection) {
    return nearestEvents(collector, selection) + badEvents(collector, selection) +
           refusedPosts(collector) + countsBySchema(collector);
}

std::string eventLines(const std::vector<JSONObject>& events) {
    std::string text;
    for (std::size_t index = 0; index < std::min(events.size(), mostLines); ++index)
        text += eventLine(events[index]);
    return text;
}

}  // namespace zentara::collector
