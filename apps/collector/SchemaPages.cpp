#include "collector/SchemaPages.h"

#include <map>
#include <utility>

#include "collector/data/JSONText.h"
#include "schemas/catalogue/Html.h"
#include "schemas/check/Report.h"

namespace zentara::collector {

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
