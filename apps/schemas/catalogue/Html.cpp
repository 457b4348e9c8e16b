#include "schemas/catalogue/Html.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <initializer_list>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "schemas/catalogue/PageAssets.h"
#include "text/Unicode.h"

namespace zentara::schemas {

namespace {

constexpr std::size_t mostDifferences = 100;
constexpr std::size_t mostFindings = 100;
constexpr std::size_t valuesShownAtOnce = 24;
constexpr std::size_t deepestIndent = 6;            // as in catalogue.css
constexpr std::size_t longestCounterexample = 300;  // bytes

/// Markup. Text becomes markup by `escaped` only.
struct Html {
    std::string markup;

    Html& operator+=(const Html& other) {
        markup += other.markup;
        return *this;
    }
};

Html raw(std::string_view markup) {
    return {std::string(markup)};
}

Html escaped(std::string_view text) {
    Html html;
    html.markup.reserve(text.size());
    for (const char character : text) {
        switch (character) {
            case '&':
                html.markup += "&amp;";
                break;
            case '<':
                html.markup += "&lt;";
                break;
            case '>':
                html.markup += "&gt;";
                break;
            case '"':
                html.markup += "&quot;";
                break;
            case '\'':
                html.markup += "&#39;";
                break;
            default: {
                const auto byte = static_cast<unsigned char>(character);
                const bool isControl =
                    (byte < 0x20 && byte != '\n' && byte != '\t') || byte == 0x7F;
                html.markup += isControl ? ' ' : character;
            }
        }
    }
    return html;
}

/// For the fragment or the query of an address.
Html inAddress(std::string_view text) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    Html html;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        const bool isPlain = std::string_view("-._").find(character) != std::string_view::npos ||
                             ('0' <= character && character <= '9') ||
                             ('a' <= (byte | 0x20) && (byte | 0x20) <= 'z');
        if (isPlain) {
            html.markup += character;
        } else {
            html.markup += {'%', digits[byte >> 4U], digits[byte & 15U]};
        }
    }
    return html;
}

/// <name class="…">content</name>
Html element(std::string_view name, std::string_view classes, const Html& content) {
    std::string markup = '<' + std::string(name);
    if (!classes.empty()) markup += " class=\"" + escaped(classes).markup + '"';
    return {markup + '>' + content.markup + "</" + std::string(name) + '>'};
}

Html element(std::string_view name, std::string_view classes, std::string_view text) {
    return element(name, classes, escaped(text));
}

Html paragraph(std::string_view classes, std::string_view text) {
    return text.empty() ? Html() : element("p", classes, text);
}

std::string_view asset(std::string_view path) {
    for (const auto& each : pageAssets())
        if (each.path == path) return each.body;
    throw std::logic_error("the catalogue has no file " + std::string(path));
}

using Parts = std::initializer_list<std::pair<std::string_view, Html>>;

/// The file at `path` with {{name}} replaced by the parts.
Html fill(std::string_view path, Parts parts) {
    auto rest = asset(path);
    Html html;
    for (;;) {
        const auto begin = rest.find("{{");
        html += raw(rest.substr(0, begin));
        if (begin == std::string_view::npos) return html;
        const auto end = rest.find("}}", begin);
        const auto name = rest.substr(begin + 2, end - begin - 2);
        const auto* const part = std::find_if(parts.begin(), parts.end(),
                                              [&](const auto& each) { return each.first == name; });
        if (part == parts.end())
            throw std::logic_error(std::string(path) + " has no part " + std::string(name));
        html += part->second;
        rest.remove_prefix(end + 2);
    }
}

std::string grouped(std::uint64_t number) {
    auto text = std::to_string(number);
    for (auto place = text.size(); place > 3;)
        text.insert(place -= 3, ",");
    return text;
}

std::string plural(std::uint64_t count, const std::string& what) {
    return grouped(count) + ' ' + what + (count == 1 ? "" : "s");
}

/// JSON with a line for each member, coloured.
void addJSON(Html& html, const JSONValue& value, const std::string& indent) {
    const auto inner = indent + "  ";
    const char* separator = "\n";
    const auto begin = [&] {
        html += raw(std::exchange(separator, ",\n"));
        html += raw(inner);
    };
    if (const auto* const object = value.ifObject(); object != nullptr && !object->empty()) {
        html += raw("{");
        for (const auto& [key, member] : *object) {
            begin();
            html += element("span", "jsonKey", JSONValue(key).text());
            html += raw(": ");
            addJSON(html, member, inner);
        }
        html += raw("\n" + indent + "}");
    } else if (const auto* const array = value.ifArray(); array != nullptr && !array->empty()) {
        html += raw("[");
        for (const auto& member : *array) {
            begin();
            addJSON(html, member, inner);
        }
        html += raw("\n" + indent + "]");
    } else {
        html += element("span",
                        value.isString()                      ? "jsonText"
                        : value.isNumber()                    ? "jsonNumber"
                        : value.isObject() || value.isArray() ? ""
                                                              : "jsonWord",
                        value.text());
    }
}

Html valuesOf(const PropertyRow& row) {
    if (row.values.empty()) return {};
    Html first, others;
    for (std::size_t at = 0; at < row.values.size(); ++at)
        (at < valuesShownAtOnce ? first : others) += element("code", "", row.values[at]);
    if (row.values.size() > valuesShownAtOnce) {
        first +=
            element("details", "",
                    Html{element("summary", "",
                                 "and " + grouped(row.values.size() - valuesShownAtOnce) + " more")
                             .markup +
                         element("span", "values", others).markup});
    }
    return element("span", "values", first);
}

Html rowOf(const PropertyRow& row) {
    Html key = element("code", "key", row.key);
    if (row.isRequired) key += element("span", "required", "required");
    Html type = element("span", "type", row.type);
    Html rules;
    for (const auto& rule : row.rules)
        rules += element("li", "", rule);
    for (const auto& pattern : row.patterns)
        rules += element("li", "", Html{"matches " + element("code", "", pattern).markup});
    if (!rules.markup.empty()) type += element("ul", "rules", rules);
    type += valuesOf(row);
    Html text;
    if (!row.description.empty()) text += element("span", "cellText", row.description);
    if (!row.example.empty() && row.values.empty()) {
        text += element("span", "sampleValue",
                        Html{"such as " + element("code", "", row.example).markup});
    }
    std::string classes;
    if (row.depth > 0)
        classes = " class=\"depth" + std::to_string(std::min(row.depth, deepestIndent)) + '"';
    return {"<tr" + classes + " data-path=\"" + escaped(row.path).markup + "\"><th scope=\"row\">" +
            key.markup + "</th>" + element("td", "", type).markup + element("td", "", text).markup +
            "</tr>\n"};
}

Html propertiesOf(const EventVersion& version) {
    Html html = element("h3", "", "Properties");
    if (!version.whyNone.empty()) return html += paragraph("hint", version.whyNone);
    if (!version.properties.empty()) {
        Html rows;
        for (const auto& row : version.properties)
            rows += rowOf(row);
        html +=
            raw("<table class=\"properties\"><thead><tr><th scope=\"col\">Property</th>"
                "<th scope=\"col\">Type</th><th scope=\"col\">Description</th></tr></thead>"
                "<tbody>\n");
        html += rows;
        html += raw("</tbody></table>\n");
    }
    return html += paragraph("hint", version.otherProperties);
}

/// The sample in JSON and in each language, as tabs that work without a script.
Html exampleOf(const EventVersion& version, std::size_t number) {
    Html html = element("h3", "", "Example");
    if (!version.sample)
        return html += paragraph("hint", "No valid event was found for this schema.");
    const auto group = "example" + std::to_string(number);
    std::size_t tab = 0;
    Html labels, panels;
    const auto add = [&](std::string_view label, const Html& code, const std::string& line) {
        const auto place = std::to_string(tab++);
        const auto id = group + 'x' + place;
        labels +=
            raw("<input type=\"radio\" class=\"pick" + place + "\" id=\"" + id + "\" name=\"" +
                group + (tab == 1 ? "\" checked" : "\"") + "><label for=\"" + id + "\">");
        labels += escaped(label);
        labels += raw("</label>");
        panels += raw("<pre class=\"code" + place + "\" tabindex=\"0\"");
        if (!line.empty()) panels += raw(" data-line=\"" + escaped(line).markup + '"');
        panels += raw(">");
        panels += code;
        panels += raw("</pre>\n");
    };
    Html json;
    addJSON(json, *version.sample, "");
    add("JSON", json, trackLine(version));
    for (const auto& call : version.calls)
        add(call.language, escaped(call.code), "");
    html += raw("<div class=\"tabs\" role=\"group\" aria-label=\"Example\">\n");
    html += labels;
    html +=
        raw("<button type=\"button\" class=\"copy needsScript\"><svg class=\"icon\" "
            "aria-hidden=\"true\"><use href=\"#iconCopy\"/></svg><span>Copy</span></button>\n");
    html += panels;
    html += raw("</div>\n");
    return html += paragraph("hint", version.whyNoCalls);
}

Html findingsOf(const EventVersion& version) {
    if (version.findings.empty()) return {};
    Html list;
    for (std::size_t at = 0; at < std::min(version.findings.size(), mostFindings); ++at) {
        const auto& finding = version.findings[at];
        Html item = element("strong", "", finding.rule->number);
        item += escaped(finding.reason);
        item += raw(" ");
        item += element("span", "place",
                        (finding.pointer.empty() ? "" : finding.pointer + ", ") + "line " +
                            std::to_string(finding.position.line) + ", column " +
                            std::to_string(finding.position.column));
        item += element("span", "advice", finding.advice);
        list += element("li", finding.isFault() ? "fault" : "", item);
    }
    if (version.findings.size() > mostFindings)
        list +=
            element("li", "", "and " + grouped(version.findings.size() - mostFindings) + " more");
    return element("ul", "findings", list);
}

std::string_view badgeOf(Change change) {
    switch (change) {
        case Change::wider:
            return "badge good";
        case Change::narrower:
        case Change::both:
            return "badge bad";
        case Change::unknown:
            return "badge notice";
        default:
            return "badge";
    }
}

Html linkTo(const EventVersion& version, std::string_view text) {
    return {"<a href=\"#" + inAddress(version.name.key()).markup + "\">" + escaped(text).markup +
            "</a>"};
}

Html counterexample(std::string_view what, const std::optional<JSONValue>& value) {
    if (!value) return {};
    const auto text = value->text();
    if (text.size() > longestCounterexample) return {};
    return element("li", "", Html{escaped(what).markup + ' ' + element("code", "", text).markup});
}

Html historyOf(const EventPage& event) {
    if (event.versions.size() == 1) return {};
    Html list;
    for (const auto& version : event.versions) {
        Html line = linkTo(version, "Version " + version.name.version);
        if (!version.change) {
            line += element("span", "place", "the first");
            list += element("li", "", element("p", "", line));
            continue;
        }
        const auto& change = *version.change;
        line += element("span", badgeOf(change.change), changeName(change.change));
        line += element("span", "place", "compared with version " + version.previous);
        Html differences;
        for (std::size_t at = 0; at < std::min(change.differences.size(), mostDifferences); ++at) {
            const auto& difference = change.differences[at];
            Html item;
            if (!difference.property.empty()) {
                item += element("code", "", difference.property);
                item += raw(" ");
            }
            item += escaped(difference.reason);
            differences += element("li", "", item);
        }
        if (change.differences.size() > mostDifferences) {
            differences += element(
                "li", "", "and " + grouped(change.differences.size() - mostDifferences) + " more");
        }
        differences += counterexample("No longer valid:", change.onlyOld);
        differences += counterexample("Valid now:", change.onlyNew);
        Html item = element("p", "", line);
        if (!differences.markup.empty()) item += element("ul", "", differences);
        list += element("li", "", item);
    }
    return {element("h3", "", "History").markup + element("ol", "history", list).markup + '\n'};
}

class Page {
  public:
    explicit Page(const HtmlOptions& options) : options_(options) {}

    Html of(std::span<const EventPage> events) {
        Html list, articles;
        std::size_t versions = 0;
        for (const auto& event : events) {
            list += entryOf(event);
            articles += articleOf(event);
            versions += event.versions.size();
        }
        auto summary = plural(events.size(), "event");
        if (versions > events.size()) summary += ", " + plural(versions, "version");
        return fill("/", {{"policy", escaped(catalogueContentPolicy())},
                          {"title", escaped(options_.title)},
                          {"style", styles()},
                          {"script", scripts()},
                          {"back", raw(options_.arrivals == nullptr
                                           ? ""
                                           : "<a class=\"back\" href=\"/\">← Collector</a>\n")},
                          {"summary", escaped(summary)},
                          {"list", list},
                          {"events", articles}});
    }

    static Html styles() {
        return {'\n' + std::string(asset("/colors.css")) + std::string(asset("/catalogue.css"))};
    }
    static Html scripts() {
        return {'\n' + std::string(asset("/theme.js")) + std::string(asset("/catalogue.js"))};
    }

  private:
    [[nodiscard]] Arrivals arrivalsOf(const EventVersion& version) const {
        const auto known = options_.arrivals->find(version.name.key());
        return known == options_.arrivals->end() ? Arrivals() : known->second;
    }

    static std::string_view titleOf(const EventPage& event) {
        const auto& title = event.versions.front().title;
        return title.empty() ? event.id : title;
    }

    Html entryOf(const EventPage& event) const {
        Html marks;
        const auto hasFinding = [&](bool isFault) {
            return std::any_of(event.versions.begin(), event.versions.end(), [&](const auto& each) {
                return std::any_of(
                    each.findings.begin(), each.findings.end(),
                    [&](const auto& finding) { return finding.isFault() == isFault; });
            });
        };
        if (hasFinding(true)) {
            marks += raw("<span class=\"dot bad\" title=\"faults in the schema\"></span>");
        } else if (hasFinding(false)) {
            marks += raw("<span class=\"dot\" title=\"warnings about the schema\"></span>");
        }
        if (options_.arrivals != nullptr) {
            std::uint64_t received = 0;
            for (const auto& version : event.versions)
                received += arrivalsOf(version).received;
            marks += escaped(grouped(received));
        } else if (event.versions.size() > 1) {
            marks += escaped(plural(event.versions.size(), "version"));
        }
        return fill("/entry.html", {{"anchor", inAddress(event.versions.front().name.key())},
                                    {"title", escaped(titleOf(event))},
                                    {"marks", element("span", "marks", marks)},
                                    {"id", escaped(event.id)}});
    }

    Html articleOf(const EventPage& event) {
        Html earlier;
        for (std::size_t at = 1; at < event.versions.size(); ++at) {
            earlier += element(
                "details", "earlier",
                Html{element("summary", "", "Version " + event.versions[at].name.version).markup +
                     sectionOf(event.versions[at]).markup});
        }
        return fill("/event.html", {{"title", escaped(titleOf(event))},
                                    {"id", escaped(event.id)},
                                    {"latest", sectionOf(event.versions.front())},
                                    {"history", historyOf(event)},
                                    {"earlier", earlier}});
    }

    Html sectionOf(const EventVersion& version) {
        const auto key = version.name.key();
        return fill("/version.html",
                    {{"anchor", inAddress(key)},
                     {"id", escaped(key)},
                     {"label", escaped(version.name.id + ", version " + version.name.version)},
                     {"version", escaped(version.name.version)},
                     {"badges", badgesOf(version)},
                     {"description", paragraph("description", version.description)},
                     {"findings", findingsOf(version)},
                     {"properties", propertiesOf(version)},
                     {"example", exampleOf(version, examples_++)}});
    }

    [[nodiscard]] Html badgesOf(const EventVersion& version) const {
        Html badges;
        if (version.change) {
            badges += element("span", badgeOf(version.change->change),
                              changeName(version.change->change));
        }
        const auto faults = static_cast<std::uint64_t>(
            std::count_if(version.findings.begin(), version.findings.end(),
                          [](const auto& finding) { return finding.isFault(); }));
        const auto warnings = version.findings.size() - faults;
        if (faults > 0) badges += element("span", "badge bad", plural(faults, "fault"));
        if (warnings > 0) badges += element("span", "badge notice", plural(warnings, "warning"));
        if (options_.arrivals == nullptr) return badges;
        const auto [received, bad] = arrivalsOf(version);
        const auto link = [&](std::string_view classes, std::string_view query,
                              const std::string& text) {
            badges += raw("<a class=\"" + std::string(classes) +
                          "\" href=\"/?schema=" + inAddress(version.name.key()).markup +
                          std::string(query) + "\">" + text + "</a>");
        };
        if (received == 0) {
            badges += element("span", "badge", "none received");
        } else {
            link("badge", "", grouped(received) + " received");
        }
        if (bad > 0) link("badge bad", "&amp;good=false", grouped(bad) + " bad");
        return badges;
    }

    const HtmlOptions& options_;
    std::size_t examples_ = 0;
};

/// As a Content-Security-Policy names permitted content.
std::string hashOf(const Html& content) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned size = 0;
    if (::EVP_Digest(content.markup.data(), content.markup.size(), digest.data(), &size,
                     ::EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("SHA-256 is not available");
    std::array<unsigned char, 2 * EVP_MAX_MD_SIZE> text{};
    const auto length = ::EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(size));
    return "'sha256-" + std::string(text.begin(), text.begin() + length) + '\'';
}

}  // namespace

const std::string& catalogueContentPolicy() {
    static const auto policy = "default-src 'none'; img-src data:; style-src " +
                               hashOf(Page::styles()) + "; script-src " + hashOf(Page::scripts()) +
                               "; base-uri 'none'; form-action 'none'";
    return policy;
}

std::string catalogueHtml(std::span<const EventPage> events, const HtmlOptions& options) {
    return withValidUTF8(Page(options).of(events).markup);
}

}  // namespace zentara::schemas
