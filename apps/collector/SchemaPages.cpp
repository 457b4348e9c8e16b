#include "collector/SchemaPages.h"

#include <map>
#include <utility>

#include "collector/data/JSONText.h"
#include "collector/data/MessageGroups.h"
#include "collector/data/PropertyStatistics.h"
#include "schemas/catalogue/Html.h"
#include "schemas/check/Report.h"

namespace zentara::collector {

namespace {

/// Declares the properties of a description, in which "[]" stands for the elements of an array.
void declare(PropertyStatistics& statistics, const std::vector<schemas::PropertyRow>& rows) {
    std::vector<std::vector<std::string>> parents(1);  // by depth
    std::vector<std::size_t> lengths(1);               // of their texts with the dot
    for (const auto& row : rows) {
        auto path = parents.at(row.depth);
        path.push_back(row.key);
        using Need = PropertyStatistics::Need;
        statistics.declare(path, row.isRequired ? Need::required : Need::optional);
        const auto brackets = row.path.size() - lengths[row.depth] - row.key.size();
        for (std::size_t level = 0; level < brackets / 2; ++level) {
            path.emplace_back("*");
            statistics.declare(path, Need::optional);
        }
        parents.resize(row.depth + 1);
        lengths.resize(row.depth + 1);
        parents.push_back(std::move(path));
        lengths.push_back(row.path.size() + 1);
    }
}

}  // namespace

SchemaPages::SchemaPages(SchemaCatalogue& catalogue, const Store& store)
    : catalogue_(catalogue), store_(store) {}

SchemaPages::~SchemaPages() = default;

JSONObject SchemaPages::counts() const {
    const auto now = catalogue_.current();
    return {{"served", now->schemas.size()},
            {"faults", now->faults},
            {"warnings", now->warnings},
            {"problems", now->problems.size()},
            {"revision", now->revision}};
}

std::string SchemaPages::findings() const {
    const auto now = catalogue_.refreshed();
    JSONArray list, problems;
    for (const auto& schema : now->checked) {
        JSONArray findings;
        for (const auto& finding : schema->findings)
            findings.push_back(schemas::findingAsJSON(finding));
        const auto& name = *schema->file.name;
        list.push_back(JSONObject{{"id", inUTF8(name.id)},
                                  {"version", inUTF8(name.version)},
                                  {"path", inUTF8(schema->file.path)},
                                  {"served", now->find(name.key()) != nullptr},
                                  {"findings", std::move(findings)}});
    }
    for (const auto& problem : now->problems)
        problems.push_back(inUTF8(problem));
    return JSONValue(JSONObject{{"faults", now->faults},
                                {"warnings", now->warnings},
                                {"schemas", std::move(list)},
                                {"problems", std::move(problems)}})
        .text();
}

SchemaPages::Events SchemaPages::events() {
    const auto now = catalogue_.refreshed();
    // Requests at the same time wait for the first, instead of describing the same.
    const std::lock_guard lock(describing_);
    if (described_ == now) return events_;
    std::vector<const schemas::CheckedSchema*> served;
    for (const auto& schema : now->checked) {
        if (now->find(schema->file.name->key()) != nullptr) served.push_back(schema.get());
    }
    events_ =
        std::make_shared<const std::vector<schemas::EventPage>>(schemas::describe(served, ""));
    described_ = now;
    return events_;
}

std::optional<std::string> SchemaPages::properties(const std::string& schema) {
    const auto events = this->events();
    const auto counts = store_.summary().eventsBySchema;
    const auto received = counts.find(schema);
    bool isServed = false, isDescribed = false;
    PropertyStatistics statistics;
    for (const auto& event : *events) {
        for (const auto& version : event.versions) {
            if (version.name.key() != schema) continue;
            isServed = true;
            isDescribed = version.whyNone.empty();
            declare(statistics, version.properties);
        }
    }
    if (!isServed && received == counts.end()) return std::nullopt;
    const auto examined = store_.visitLatest(
        schema, [&](const auto& event) { statistics.add(event.text); }, Store::Extent());
    return JSONValue(JSONObject{{"schema", schema},
                                {"described", isDescribed},
                                {"received", received == counts.end() ? 0 : received->second},
                                {"examined", examined},
                                {"properties", statistics.result()},
                                {"more", statistics.hasMore()}})
        .text();
}

std::string SchemaPages::messages() const {
    MessageGroups groups;
    const auto examined = store_.visitLatestBad(
        [&](const auto& event) { groups.add(event.schema, event.text, event.receivedAt); },
        Store::Extent());
    return JSONValue(JSONObject{{"bad", store_.summary().bad},
                                {"examined", examined},
                                {"groups", groups.result()},
                                {"more", groups.hasMore()}})
        .text();
}

HttpResponse SchemaPages::page() {
    const auto events = this->events();
    std::map<std::string, schemas::Arrivals, std::less<>> arrivals;
    const auto counts = store_.summary();
    for (const auto& [schema, count] : counts.eventsBySchema)
        arrivals[schema].received = count;
    for (const auto& [schema, count] : counts.badBySchema)
        arrivals[schema].bad = count;
    HttpResponse response;
    response.body =
        schemas::catalogueHtml(*events, {.title = "Catalogue of events", .arrivals = &arrivals});
    response.contentType = "text/html; charset=utf-8";
    response.headers = {
        {"Content-Security-Policy", schemas::catalogueContentPolicy() + "; frame-ancestors 'none'"},
        {"Referrer-Policy", "no-referrer"},
        {"Cache-Control", "no-cache"}};
    return response;
}

}  // namespace zentara::collector
