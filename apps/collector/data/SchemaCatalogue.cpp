#include "collector/data/SchemaCatalogue.h"

#include <simdjson.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <set>
#include <system_error>
#include <utility>

#include "collector/data/ArrivalCheck.h"
#include "collector/data/JSONText.h"
#include "json/JSONText.h"
#include "platform/FileSystem.h"
#include "schemas/Schema.h"
#include "support/PlatformError.h"

namespace zentara::collector {

namespace {

/// The library reads up to 512 levels; the table adds one level around the schemas.
constexpr std::size_t deepestSchema = 511;

/// Longer than a tick of any file system's clock. A file that was changed within this time before
/// it was read may change again with the same time.
constexpr std::chrono::milliseconds clockTick{100};

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

bool isSchemaName(const std::filesystem::path& name) {
    const std::string stem = name.stem().string();
    const auto dash = stem.rfind('-');
    return dash != std::string::npos && dash != 0 && dash + 1 != stem.size();
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

/// Reads a schema and writes its compact text to `json`. Nothing, with `problem` set, if it cannot
/// be served.
std::optional<JSONValue> parseSchema(std::string_view text, std::string& json,
                                     std::string& problem) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());

    auto parsed = parseJSONValue(text, {.depth = deepestSchema});
    if (!parsed.ok()) {
        const auto* const error = dynamic_cast<const JSONError*>(parsed.error().get());
        const bool isTooDeep = error != nullptr && error->cause() == JSONError::Cause::tooDeep;
        problem = isTooDeep ? "nested more than " + std::to_string(deepestSchema) + " levels deep"
                            : "not " + parsed.error()->description();
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

}  // namespace

const Schema* SchemaSnapshot::find(std::string_view key) const {
    const auto known = schemas.find(key);
    return known == schemas.end() ? nullptr : known->second.get();
}

SchemaCatalogue::SchemaCatalogue(std::optional<std::filesystem::path> folder, Report report,
                                 Clock clock)
    : folder_(std::move(folder)), report_(std::move(report)), clock_(std::move(clock)) {
    (void)refreshed();
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

        std::string folderProblem;
        Files files;
        for (const auto& name : fileNames(folderProblem)) {
            const auto known = files_.find(name);
            const auto before = known == files_.end() ? nullptr : known->second;
            const auto file = folderProblem.empty() ? read(name, before) : before;
            files.emplace(name, file);
            if (file == before) continue;
            const bool isNews = before == nullptr || before->problem != file->problem;
            if (isNews && !file->problem.empty()) news.push_back(file->problem);
            isChanged |= isNews || before->json != file->json;
        }
        isChanged |= files.size() != files_.size() || folderProblem != folderProblem_;
        if (!folderProblem.empty() && folderProblem != folderProblem_) {
            news.push_back(folderProblem);
        }
        files_ = std::move(files);
        folderProblem_ = std::move(folderProblem);
        if (isChanged) snapshot = snapshotOf(files_, folderProblem_);

        const std::lock_guard lock(mutex_);
        if (isChanged) snapshot_ = snapshot;
        snapshot = snapshot_;
        lookedAt_ = start;
    }
    if (report_) {
        for (const auto& problem : news)
            report_(problem);
    }
    return snapshot;
}

std::vector<std::string> SchemaCatalogue::fileNames(std::string& problem) const {
    std::vector<std::string> names;
    if (!folder_) return names;
    std::error_code error;
    std::filesystem::directory_iterator entry(*folder_, error);
    for (const std::filesystem::directory_iterator end; !error && entry != end;
         entry.increment(error)) {
        const auto name = entry->path().filename();
        // Editors keep unsaved text in files with a leading dot.
        if (name.extension() == ".json" && !name.string().starts_with('.')) {
            names.push_back(name.string());
        }
    }
    if (error) {
        problem = folder_->string() + ": cannot be read: " + error.message();
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
    const auto path = *folder_ / name;
    File file;
    const auto refuse = [&](const std::string& reason) {
        file.problem = path.string() + ": " + reason;
        return std::make_shared<const File>(std::move(file));
    };
    const auto refuseUnread = [&](int error) {
        std::string reason = "cannot be read: " + std::generic_category().message(error);
        if (known != nullptr && known->schema != nullptr && !isAbsence(error)) {
            file = *known;
            file.isSettled = false;
            reason += "; served as it was before";
        }
        return refuse(reason);
    };

    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return refuseUnread(errno);
    const auto signatureOf = [](const struct stat& of) {
        return Signature{static_cast<std::uint64_t>(of.st_size), nanoseconds(of.st_mtim),
                         nanoseconds(of.st_ctim), of.st_ino};
    };
    if (known != nullptr && known->isSettled && known->signature == signatureOf(status)) {
        return known;
    }

    file.signature = signatureOf(status);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const std::chrono::nanoseconds latest(
        std::max(file.signature.modified, file.signature.changed));
    file.isSettled = latest + clockTick < now;

    if (!S_ISREG(status.st_mode)) return refuse("is not a file");
    if (!isSchemaName(name)) return refuse("the name is not {id}-{version}.json");
    const auto contents = systemFiles().read(path);
    if (!contents.ok()) return refuseUnread(codeOf(contents.error()));
    std::string problem;
    auto schema = parseSchema(*contents, file.json, problem);
    if (!schema) return refuse(problem);
    file.schema = std::make_shared<const Schema>(std::move(schema->object()), arrivalFormats());
    return std::make_shared<const File>(std::move(file));
}

SchemaCatalogue::Snapshot SchemaCatalogue::snapshotOf(const Files& files,
                                                      const std::string& folderProblem) const {
    auto snapshot = std::make_shared<SchemaSnapshot>();
    if (!folderProblem.empty()) snapshot->problems.push_back(folderProblem);
    std::string& json = snapshot->json = "{";
    for (const auto& [name, file] : files) {
        if (!file->problem.empty()) snapshot->problems.push_back(file->problem);
        if (file->schema == nullptr) continue;
        const std::string key = std::filesystem::path(name).stem().string();
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
