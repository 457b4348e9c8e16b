#include "collector/data/ArrivalCheck.h"

#include <algorithm>
#include <array>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "schemas/Schema.h"

namespace zentara::collector {

namespace {

// Bounds the findings, whose texts could otherwise be much larger than the envelope. A value with a
// longer path gets the path of the nearest value around it.
constexpr std::size_t longestPath = 1024;
constexpr std::size_t mostFindings = 1000;

/// The JSON pointers of values by their addresses, found in one walk over what holds them.
class Paths {
  public:
    Paths(const JSONValue& root, std::span<const JSONValue* const> wanted) {
        for (const auto* value : wanted)
            found_.try_emplace(value);
        unseen_ = found_.size();
        walk(root);
    }

    [[nodiscard]] std::string of(const JSONValue* value) const {
        const auto found = found_.find(value);
        return found == found_.end() ? std::string() : found->second;
    }

  private:
    void walk(const JSONValue& value) {
        const auto wanted = found_.find(&value);
        if (wanted != found_.end()) {
            wanted->second = path_;
            --unseen_;
        }
        if (const auto* const object = value.ifObject()) {
            for (const auto& [name, member] : *object) {
                if (unseen_ == 0) return;
                enter(name, member);
            }
        } else if (const auto* const array = value.ifArray()) {
            std::size_t index = 0;
            for (const auto& element : *array) {
                if (unseen_ == 0) return;
                enter(std::to_string(index++), element);
            }
        }
    }

    void enter(std::string_view name, const JSONValue& value) {
        const auto size = path_.size();
        const bool wasFull = isFull_;
        isFull_ = wasFull || size + 1 + name.size() > longestPath;
        if (!isFull_) append(name);
        walk(value);
        path_.resize(size);
        isFull_ = wasFull;
    }

    void append(std::string_view name) {
        path_ += '/';
        for (const char letter : name) {
            if (letter == '~') {
                path_ += "~0";
            } else if (letter == '/') {
                path_ += "~1";
            } else {
                path_ += letter;
            }
        }
    }

    std::unordered_map<const JSONValue*, std::string> found_;
    std::size_t unseen_ = 0;
    std::string path_;
    bool isFull_ = false;
};

}  // namespace

std::vector<Finding> checkProperties(const JSONValue& properties, const Schema& schema) {
    MessagePlaces places;
    auto messages = schema.validate(properties, &places).errors();
    if (!messages) return {};
    if (messages->empty()) messages->emplace_back("the properties do not fit their schema");

    const Paths paths(properties, std::span(places).first(std::min(places.size(), mostFindings)));
    const auto shown = std::min(messages->size(), mostFindings);
    std::vector<Finding> findings;
    findings.reserve(shown + 1);
    for (std::size_t i = 0; i < shown; ++i) {
        findings.push_back(
            {i < places.size() ? paths.of(places[i]) : "", std::move((*messages)[i])});
    }
    if (shown < messages->size()) {
        findings.push_back({"", "and " + std::to_string(messages->size() - shown) + " more"});
    }
    return findings;
}

std::vector<Finding> checkAction(const Action& action, const SchemaSnapshot& schemas) {
    const auto* const schema = schemas.find(action.schema);
    if (schema == nullptr) return {{"", "there is no schema \"" + action.schema + "\""}};
    return checkProperties(*action.properties, *schema);
}

std::vector<std::vector<Finding>> checkEnvelope(const Envelope& envelope,
                                                const SchemaSnapshot& schemas) {
    std::vector<std::vector<Finding>> findings;
    findings.reserve(envelope.actions.size());
    for (const auto& action : envelope.actions)
        findings.push_back(checkAction(action, schemas));
    return findings;
}

}  // namespace zentara::collector
