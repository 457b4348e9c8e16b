#include "collector/data/SchemaCatalogue.h"

#include <simdjson.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>
#include <tuple>
#include <utility>

#include "collector/data/ArrivalCheck.h"
#include "collector/data/JSONText.h"
#include "json/JSONText.h"
#include "platform/FileSystem.h"
#include "schemas/Schema.h"
#include "schemas/check/CheckedSchema.h"
#include "schemas/files/SourceMap.h"
#include "support/PlatformError.h"

namespace zentara::collector {

namespace {

/// The library reads up to 512 levels; the table adds one level around the schemas.
constexpr std::size_t deepestSchema = 511;

/// Longer than a tick of any file system's clock. A file that was changed within this time before
/// it was read may change again with the same time.
constexpr std::chrono::milliseconds clockTick{100};

constexpr const char* leftOut = "schema left out: ";
constexpr std::size_t mostLines = 20;  // for the findings of a schema

std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

/// Whether an error means that there is no file, and not that it cannot be read now.
bool isAbsence(int error) {
    return error == ENOENT || error == ENOTDIR;
}

/// The `errno` of a failed read; without an error there was no file.
int codeOf(const ErrorRef& error) {
    const auto* const failure = dynamic_cast<const PlatformError*>(error.get());
    return failure == nullptr ? ENOENT : failure->code();
}

/// A key that occurs twice in one object of a valid JSON text, however deep.
std::optional<std::string> repeatedKey(simdjson::ondemand::value value) {
    std::optional<std::string> found;
    if (value.type() == simdjson::ondemand::json_type::array) {
        for (auto element : value.get_array()) {
            if (!found) found = repeatedKey(element.value());
        }
    } else if (value.type() == simdjson::ondemand::json_type::object) {
        std::set<std::string> keys;
        for (auto member : value.get_object()) {
            const std::string_view key = member.unescaped_key();
            if (found) continue;
            if (keys.emplace(key).second) {
                found = repeatedKey(member.value());
            } else {
                found = std::string(key);
            }
        }
    }
    return found;
}

std::string_view withoutByteOrderMark(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());
    return text;
}

/// Why a text is not taken, which the library's parser has refused.
std::string complaintAbout(const ErrorRef& parserError) {
    const auto* const error = dynamic_cast<const JSONError*>(parserError.get());
    const bool isTooDeep = error != nullptr && error->cause() == JSONError::Cause::tooDeep;
    return isTooDeep ? "nested more than " + std::to_string(deepestSchema) + " levels deep"
                     : "not " + parserError->description();
}

/// The value at the beginning of valid JSON text, as it is written. Of a value that is neither an
/// object nor an array, nothing.
std::string_view firstValue(std::string_view text) {
    std::size_t depth = 0;
    bool isInString = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char letter = text[at];
        if (isInString) {
            if (letter == '\\') ++at;
            isInString = letter != '"';
        } else if (letter == '"') {
            isInString = true;
        } else if (letter == '{' || letter == '[') {
            ++depth;
        } else if (letter == '}' || letter == ']') {
            if (--depth == 0) return text.substr(0, at + 1);
        }
        if (depth == 0) break;
    }
    return {};
}

/// Reads a schema and writes its compact text to `json`. Nothing, with `problem` set, if it cannot
/// be served.
std::optional<JSONValue> parseSchema(std::string_view text, std::string& json,
                                     std::string& problem) {
    text = withoutByteOrderMark(text);
    auto parsed = parseJSONValue(text, {.depth = deepestSchema});
    if (!parsed.ok()) {
        problem = complaintAbout(parsed.error());
    } else if (!parsed->isObject()) {
        problem = "a schema is a JSON object";
    } else if (!appendJSON(json, *parsed)) {
        problem = "a number is beyond what a double holds";
    } else {
        simdjson::ondemand::parser parser;
        const simdjson::padded_string padded(text);
        auto document = parser.iterate(padded);
        const auto key = repeatedKey(document.get_value());
        if (!key) return *std::move(parsed);
        problem = "the key \"" + *key + "\" occurs twice in one object";
    }
    return std::nullopt;
}

std::shared_ptr<const schemas::CheckedSchema> checkedSchema(const std::string& path,
                                                            std::string_view key,
                                                            std::string text) {
    auto source = schemas::SchemaFile::fromText(path, std::move(text));
    source.name = schemas::schemaNamed(key);
    return std::make_shared<const schemas::CheckedSchema>(std::move(source));
}

/// The same for a member of a bundle: the findings have their places in its text.
std::shared_ptr<const schemas::CheckedSchema> checkedMember(
    const std::string& path, std::string_view key, std::string text, std::string_view bundle,
    std::optional<schemas::SourceMap>& places) {
    auto checked = *checkedSchema(path, key, std::move(text));
    std::string pointer = "/";
    for (const char letter : key)
        pointer += letter == '~' ? "~0" : letter == '/' ? "~1" : std::string(1, letter);
    for (auto& finding : checked.findings) {
        if (!places) places.emplace(bundle);
        finding.position = places->of(pointer + finding.pointer);
    }
    return std::make_shared<const schemas::CheckedSchema>(std::move(checked));
}

/// A line for each finding that `before`, which may be null, has not.
void addNews(std::vector<std::string>& news, const schemas::CheckedSchema* before,
             const schemas::CheckedSchema& now) {
    using Identity = std::tuple<std::string_view, std::string_view, std::string_view>;
    const auto identityOf = [](const schemas::Finding& finding) {
        return Identity(finding.rule->number, finding.pointer, finding.reason);
    };
    std::set<Identity> known;
    if (before != nullptr) {
        for (const auto& finding : before->findings)
            known.insert(identityOf(finding));
    }
    std::size_t unsaid = 0, said = 0;
    for (const auto& finding : now.findings) {
        if (known.contains(identityOf(finding))) continue;
        if (said == mostLines) {
            ++unsaid;
            continue;
        }
        ++said;
        news.push_back(now.file.path + ':' + std::to_string(finding.position.line) + ':' +
                       std::to_string(finding.position.column) + ": " +
                       (finding.isFault() ? "fault " : "warning ") +
                       std::string(finding.rule->number) + ": " + finding.reason);
    }
    if (unsaid > 0) news.push_back(now.file.path + ": and " + std::to_string(unsaid) + " more");
}

}  // namespace

const Schema* SchemaSnapshot::find(std::string_view key) const {
    const auto known = schemas.find(key);
    return known == schemas.end() ? nullptr : known->second.get();
}

SchemaCatalogue::SchemaCatalogue(std::optional<std::filesystem::path> place, Report report,
                                 Clock clock)
    : place_(std::move(place)), report_(std::move(report)), clock_(std::move(clock)) {
    (void)refreshed();
}

SchemaCatalogue::Stamp SchemaCatalogue::stampOf(const struct stat& status) {
    Stamp stamp{{static_cast<std::uint64_t>(status.st_size), nanoseconds(status.st_mtim),
                 nanoseconds(status.st_ctim), status.st_ino}};
    const std::chrono::nanoseconds latest(
        std::max(stamp.signature.modified, stamp.signature.changed));
    stamp.isSettled = latest + clockTick < std::chrono::system_clock::now().time_since_epoch();
    return stamp;
}

SchemaCatalogue::Snapshot SchemaCatalogue::current() {
    return look(freshness);
}

SchemaCatalogue::Snapshot SchemaCatalogue::refreshed() {
    return look(std::nullopt);
}

SchemaCatalogue::Snapshot SchemaCatalogue::look(
    std::optional<std::chrono::milliseconds> oldestAccepted) {
    const auto acceptable = [&]() -> Snapshot {
        if (!oldestAccepted) return nullptr;
        const std::lock_guard lock(mutex_);
        return clock_() - lookedAt_ < *oldestAccepted ? snapshot_ : nullptr;
    };
    if (auto snapshot = acceptable()) return snapshot;

    Snapshot snapshot;
    std::vector<std::string> news;
    {
        const std::lock_guard looking(looking_);
        // Another thread may have looked meanwhile.
        if (auto recent = acceptable()) return recent;
        const auto start = clock_();
        bool isChanged = false;

        std::string wholeProblem;
        auto files = readAll(wholeProblem);
        for (const auto& [name, file] : files) {
            const auto known = files_.find(name);
            const auto before = known == files_.end() ? nullptr : known->second;
            if (file == before) continue;
            const bool isNews = before == nullptr || before->problem != file->problem;
            if (isNews && !file->problem.empty()) news.push_back(leftOut + file->problem);
            const bool isChecked = before == nullptr || before->checked != file->checked;
            if (isChecked && file->checked != nullptr)
                addNews(news, before == nullptr ? nullptr : before->checked.get(), *file->checked);
            isChanged |= isNews || isChecked || before->json != file->json;
        }
        isChanged |= files.size() != files_.size() || wholeProblem != wholeProblem_;
        if (!wholeProblem.empty() && wholeProblem != wholeProblem_)
            news.push_back(leftOut + wholeProblem);
        files_ = std::move(files);
        wholeProblem_ = std::move(wholeProblem);
        if (isChanged) snapshot = snapshotOf(files_, wholeProblem_);

        const std::lock_guard lock(mutex_);
        if (isChanged) snapshot_ = snapshot;
        snapshot = snapshot_;
        lookedAt_ = start;
    }
    if (report_) {
        for (const auto& line : news)
            report_(line);
    }
    return snapshot;
}

SchemaCatalogue::Files SchemaCatalogue::readAll(std::string& problem) {
    std::error_code error;
    if (!place_) return {};
    if (std::filesystem::is_regular_file(*place_, error)) return readBundle(problem);
    bundleText_.reset();
    Files files;
    for (const auto& name : fileNames(problem)) {
        const auto known = files_.find(name);
        const auto before = known == files_.end() ? nullptr : known->second;
        files.emplace(name, problem.empty() ? read(name, before) : before);
    }
    return files;
}

SchemaCatalogue::Files SchemaCatalogue::readBundle(std::string& problem) {
    const auto path = place_->string();
    struct stat status {};
    (void)::stat(path.c_str(), &status);
    const auto stamp = stampOf(status);
    if (bundleText_ && bundle_.isSettled && bundle_.signature == stamp.signature) {
        problem = wholeProblem_;
        return files_;
    }
    auto contents = systemFiles().read(path);
    if (!contents.ok()) {
        const int error = codeOf(contents.error());
        problem = path + ": cannot be read: " + std::generic_category().message(error);
        bundleText_.reset();
        return isAbsence(error) ? Files() : files_;
    }
    bundle_ = stamp;
    if (bundleText_ == *contents) {
        problem = wholeProblem_;
        return files_;
    }
    bundleText_ = *std::move(contents);

    const auto text = withoutByteOrderMark(*bundleText_);
    const auto parsed = parseJSONValue(text, {.depth = deepestSchema + 1});
    if (!parsed.ok() || !parsed->isObject()) {
        problem = path + ": " +
                  (parsed.ok() ? "a bundle is a JSON object keyed {id}-{version}"
                               : complaintAbout(parsed.error()));
        return {};
    }
    Files files;
    std::optional<schemas::SourceMap> places;
    simdjson::ondemand::parser parser;
    const simdjson::padded_string padded(text);
    auto document = parser.iterate(padded);
    for (auto member : document.get_object()) {
        const std::string key(std::string_view(member.unescaped_key()));
        const std::string_view value = member.value().raw_json_token();
        const std::string schemaText(
            firstValue(text.substr(static_cast<std::size_t>(value.data() - padded.data()))));
        auto& known = files[key + ".json"];
        File file;
        if (known != nullptr) {
            file = *known;
            file.problem = path + ": the key \"" + key + "\" occurs twice";
        } else if (!schemas::schemaNamed(key)) {
            file.problem = path + ": the key \"" + key + "\" is not {id}-{version}";
        } else if (schemaText.empty()) {
            file.problem = path + ": " + key + ": a schema is a JSON object";
        } else {
            file.checked = checkedMember(path, key, schemaText, *bundleText_, places);
            addSchema(file, path + ": " + key, schemaText);
        }
        known = std::make_shared<const File>(std::move(file));
    }
    return files;
}

/// Reads the schema of a text, or sets the problem, which begins with `place`.
void SchemaCatalogue::addSchema(File& file, const std::string& place, std::string_view text) {
    std::string problem;
    auto schema = parseSchema(text, file.json, problem);
    if (!schema) {
        file.problem = place + ": " + problem;
    } else {
        file.schema =
            std::make_shared<const Schema>(std::move(schema->object()), refusingFormats());
    }
}

std::vector<std::string> SchemaCatalogue::fileNames(std::string& problem) const {
    std::vector<std::string> names;
    std::error_code error;
    std::filesystem::directory_iterator entry(*place_, error);
    for (const std::filesystem::directory_iterator end; !error && entry != end;
         entry.increment(error)) {
        const auto name = entry->path().filename();
        // Editors keep unsaved text in files with a leading dot.
        if (name.extension() == ".json" && !name.string().starts_with('.')) {
            names.push_back(name.string());
        }
    }
    if (error) {
        problem = place_->string() + ": cannot be read: " + error.message();
        names.clear();
        if (isAbsence(error.value())) return names;
        for (const auto& [name, file] : files_)
            names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    return names;
}

/// The current file; `known` is its previous state, or null.
std::shared_ptr<const SchemaCatalogue::File> SchemaCatalogue::read(
    const std::string& name, const std::shared_ptr<const File>& known) const {
    const auto path = *place_ / name;
    File file;
    const auto refuse = [&](const std::string& reason) {
        file.problem = path.string() + ": " + reason;
        return std::make_shared<const File>(std::move(file));
    };
    const auto refuseUnread = [&](int error) {
        std::string reason = "cannot be read: " + std::generic_category().message(error);
        if (known != nullptr && known->schema != nullptr && !isAbsence(error)) {
            file = *known;
            file.stamp.isSettled = false;
            reason += "; served as it was before";
        }
        return refuse(reason);
    };

    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return refuseUnread(errno);
    const auto stamp = stampOf(status);
    if (known != nullptr && known->stamp.isSettled && known->stamp.signature == stamp.signature)
        return known;

    file.stamp = stamp;
    if (!S_ISREG(status.st_mode)) return refuse("is not a file");
    const auto key = path.stem().string();
    if (!schemas::schemaNamed(key)) return refuse("the name is not {id}-{version}.json");
    const auto contents = systemFiles().read(path);
    if (!contents.ok()) return refuseUnread(codeOf(contents.error()));
    const bool isChecked =
        known != nullptr && known->checked != nullptr && known->checked->file.text == *contents;
    file.checked = isChecked ? known->checked : checkedSchema(path.string(), key, *contents);
    addSchema(file, path.string(), *contents);
    return std::make_shared<const File>(std::move(file));
}

SchemaCatalogue::Snapshot SchemaCatalogue::snapshotOf(const Files& files,
                                                      const std::string& wholeProblem) {
    auto snapshot = std::make_shared<SchemaSnapshot>();
    if (!wholeProblem.empty()) snapshot->problems.push_back(wholeProblem);
    snapshot->revision = ++changes_;
    std::string& json = snapshot->json = "{";
    for (const auto& [name, file] : files) {
        if (!file->problem.empty()) snapshot->problems.push_back(file->problem);
        if (file->checked != nullptr) {
            snapshot->checked.push_back(file->checked);
            for (const auto& finding : file->checked->findings)
                ++(finding.isFault() ? snapshot->faults : snapshot->warnings);
        }
        if (file->schema == nullptr) continue;
        const std::string key = name.substr(0, name.size() - std::string_view(".json").size());
        if (json.size() > 1) json += ',';
        appendJSONString(json, inUTF8(key));
        json += ':';
        json += file->json;
        snapshot->schemas.emplace(key, file->schema);
    }
    json += '}';
    return snapshot;
}

}  // namespace zentara::collector
