#include "collector/data/MessageGroups.h"

#include <algorithm>

#include "collector/data/JSONText.h"

namespace zentara::collector {

void MessageGroups::add(std::string_view schema, std::string_view findings,
                        std::int64_t receivedAt) {
    ++events_;
    const auto list = JSONValue::parse(findings);
    for (const auto& finding : list.array()) {
        const auto message = finding.at("message").string();
        const std::pair key{std::string(schema), std::string(beginningOf(message, longestMessage))};
        if (groups_.size() == mostGroups && !groups_.contains(key)) {
            hasMore_ = true;
            continue;
        }
        auto& group = groups_[key];
        if (group.count == 0) group.latest = receivedAt;
        if (group.lastEvent != events_) ++group.count;
        group.lastEvent = events_;
        group.isCut |= message.size() > longestMessage;
        const auto path = beginningOf(finding.at("path").string(), longestPath);
        const bool isKnown =
            std::find(group.paths.begin(), group.paths.end(), path) != group.paths.end();
        if (!isKnown && group.paths.size() < mostPaths) group.paths.emplace_back(path);
    }
}

JSONArray MessageGroups::result() const {
    std::vector<const decltype(groups_)::value_type*> sorted;
    for (const auto& group : groups_)
        sorted.push_back(&group);
    std::stable_sort(sorted.begin(), sorted.end(), [](const auto* one, const auto* other) {
        return one->second.count > other->second.count;
    });
    JSONArray list;
    for (const auto* each : sorted) {
        const auto& [key, group] = *each;
        JSONArray paths;
        for (const auto& path : group.paths)
            paths.push_back(path);
        JSONObject shown{{"schema", key.first},
                         {"message", key.second},
                         {"count", group.count},
                         {"latest", group.latest},
                         {"paths", std::move(paths)}};
        if (group.isCut) shown.set("cut", true);
        list.push_back(std::move(shown));
    }
    return list;
}

}  // namespace zentara::collector
