#include "collector/data/SchemaCatalogue.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include "collector/data/JSONText.h"
#include "collector/data/RepeatedKey.h"
#include "json/JSONParser.h"

namespace zentara::collector {

namespace {

/// The library reads the table, which is one level around the schemas, up to 512 levels deep.
constexpr std::size_t deepestSchema = 511;

/// Beyond what any file system's clock ticks in. A file that was changed that shortly before it
/// was read may change again without a sign.
constexpr std::chrono::milliseconds clockTick{100};

std::int64_t nanoseconds(const timespec& time) {
    return std::int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
}

/// Whether an error tells that nothing is there, and not that it could not be read just now.
bool isAbsence(int error) {
    return error == ENOENT || error == ENOTDIR;
}

/// An open file, closed at the end.
class Descriptor {
  public:
    // Whoever names a pipe like a schema must not stop the service.
    explicit Descriptor(const std::filesystem::path& file)
        : number_(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {}
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    ~Descriptor() {
        if (number_ >= 0) ::close(number_);
    }

    [[nodiscard]] int number() const { return number_; }

  private:
    int number_;
};

/// All that the file holds; false, with errno, when it cannot be read.
bool readAll(const Descriptor& file, std::string& text) {
    std::array<char, 65536> buffer;
    for (;;) {
        const auto count = ::read(file.number(), buffer.data(), buffer.size());
        if (count == 0) return true;
        if (count > 0) {
            text.append(buffer.data(), static_cast<std::size_t>(count));
        } else if (errno != EINTR) {
            return false;
        }
    }
}

bool isSchemaName(const std::filesystem::path& name) {
    const std::string stem = name.stem().string();
    const auto dash = stem.rfind('-');
    return dash != std::string::npos && dash != 0 && dash + 1 != stem.size();
}

/// The schema of a text; null, with `problem` set, when it cannot be served.
std::shared_ptr<const boost::json::value> parseSchema(std::string_view text, std::string& problem) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.starts_with(byteOrderMark)) text.remove_prefix(byteOrderMark.size());

    boost::json::error_code error;
    auto schema = std::make_shared<const boost::json::value>(
        parseDocument(text, error, {}, {.depth = deepestSchema}));
    if (error == boost::json::error::too_deep) {
        problem = "nested more than " + std::to_string(deepestSchema) + " levels deep";
    } else if (error) {
        problem = "not JSON: " + error.message();
    } else if (!schema->is_object()) {
        problem = "a schema is a JSON object";
    } else if (holdsInfinity(*schema)) {
        problem = "a number is beyond what a double holds";
    } else if (const auto key = repeatedKey(text)) {
        problem = "the key \"" + *key + "\" occurs twice in one object";
    } else {
        return schema;
    }
    return nullptr;
}

}  // namespace

const boost::json::object* SchemaSnapshot::find(std::string_view key) const {
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
        // Somebody else may have looked meanwhile.
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
        // Files with a leading dot are how editors keep what is not saved yet.
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

/// The file as it is now; `known`, when there is one, is how it was before.
std::shared_ptr<const SchemaCatalogue::File> SchemaCatalogue::read(
    const std::string& name, const std::shared_ptr<const File>& known) const {
    const auto path = *folder_ / name;
    File file;
    const auto refuse = [&](const std::string& reason) {
        file.problem = path.string() + ": " + reason;
        return std::make_shared<const File>(std::move(file));
    };
    const auto refuseUnread = [&] {
        const int error = errno;
        std::string reason = "cannot be read: " + std::generic_category().message(error);
        if (known != nullptr && known->schema != nullptr && !isAbsence(error)) {
            file = *known;
            file.isSettled = false;
            reason += "; served as it was before";
        }
        return refuse(reason);
    };

    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return refuseUnread();
    const auto signatureOf = [](const struct stat& of) {
        return Signature{static_cast<std::uint64_t>(of.st_size), nanoseconds(of.st_mtim),
                         nanoseconds(of.st_ctim), of.st_ino};
    };
    if (known != nullptr && known->isSettled && known->signature == signatureOf(status)) {
        return known;
    }

    const Descriptor descriptor(path);
    if (descriptor.number() < 0 || ::fstat(descriptor.number(), &status) != 0) {
        return refuseUnread();
    }
    file.signature = signatureOf(status);
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const std::chrono::nanoseconds latest(
        std::max(file.signature.modified, file.signature.changed));
    file.isSettled = latest + clockTick < now;

    if (!S_ISREG(status.st_mode)) return refuse("is not a file");
    if (!isSchemaName(name)) return refuse("the name is not {id}-{version}.json");
    std::string text;
    if (!readAll(descriptor, text)) return refuseUnread();
    std::string problem;
    const auto schema = parseSchema(text, problem);
    if (schema == nullptr) return refuse(problem);
    appendJSON(file.json, *schema);
    file.schema = {schema, &schema->get_object()};
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
        appendJSONString(json, key);
        json += ':';
        json += file->json;
        snapshot->schemas.emplace(key, file->schema);
    }
    json += '}';
    return snapshot;
}

}  // namespace zentara::collector
