#include "schemas/files/SchemaFile.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <sstream>
#include <system_error>
#include <utility>

#include "json/JSONParser.h"
#include "schemas/files/SourceMap.h"

namespace zentara::schemas {

namespace {

constexpr std::size_t mostFiles = 10'000;
constexpr std::size_t mostBytes = std::size_t{64} << 20U;

[[noreturn]] void fail(const std::string& path, const std::string& reason) {
    throw CommandError(path + ": " + reason);
}

[[noreturn]] void failWithErrno(const std::string& path, const char* what) {
    fail(path, std::string(what) + ": " + std::generic_category().message(errno));
}

std::string contentOf(const std::string& path, std::size_t most) {
    errno = 0;
    std::ifstream file(path, std::ios::binary);
    if (!file.is_open()) failWithErrno(path, "cannot be opened");
    std::string content;
    char piece[1U << 16U];
    while (file.read(piece, sizeof piece) || file.gcount() > 0) {
        content.append(piece, static_cast<std::size_t>(file.gcount()));
        if (content.size() > most) fail(path, "more than 64 MB of schemas");
    }
    if (file.bad()) failWithErrno(path, "cannot be read");
    return content;
}

std::vector<std::string> filesIn(const std::string& folder) {
    std::vector<std::string> files;
    std::error_code error;
    std::filesystem::directory_iterator entry(folder, error);
    for (const std::filesystem::directory_iterator end; !error && entry != end;
         entry.increment(error)) {
        const auto name = entry->path().filename().string();
        // Editors keep unsaved text in files with a leading dot.
        if (name.ends_with(".json") && !name.starts_with('.')) files.push_back(entry->path());
        if (files.size() > mostFiles) fail(folder, "more than 10000 schemas");
    }
    if (error) fail(folder, "cannot be read: " + error.message());
    std::sort(files.begin(), files.end());
    return files;
}

bool isDigit(char character) {
    return '0' <= character && character <= '9';
}

/// The digits at the beginning of `text`, which loses them; without leading zeros.
std::string_view takeNumber(std::string_view& text) {
    const auto end = std::find_if_not(text.begin(), text.end(), isDigit);
    auto digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    digits.remove_prefix(std::min(digits.find_first_not_of('0'), digits.size()));
    return digits;
}

bool isEarlierVersion(std::string_view one, std::string_view other) {
    const auto whole = std::pair(one, other);
    while (!one.empty() && !other.empty()) {
        if (isDigit(one.front()) && isDigit(other.front())) {
            const auto left = takeNumber(one), right = takeNumber(other);
            if (left.size() != right.size()) return left.size() < right.size();
            if (left != right) return left < right;
        } else {
            if (one.front() != other.front()) return one.front() < other.front();
            one.remove_prefix(1);
            other.remove_prefix(1);
        }
    }
    if (one.empty() != other.empty()) return one.empty();
    return whole.first < whole.second;
}

}  // namespace

bool isEarlier(const SchemaName& one, const SchemaName& other) {
    return one.id == other.id ? isEarlierVersion(one.version, other.version) : one.id < other.id;
}

std::optional<SchemaName> schemaNamed(std::string_view text) {
    const auto dash = text.rfind('-');
    if (dash == std::string_view::npos || dash == 0 || dash + 1 == text.size()) return std::nullopt;
    return SchemaName{std::string(text.substr(0, dash)), std::string(text.substr(dash + 1))};
}

SchemaFile SchemaFile::fromText(std::string path, std::string text) {
    SchemaFile file;
    const std::filesystem::path name(path);
    if (name.extension() == ".json") file.name = schemaNamed(name.stem().string());
    file.path = std::move(path);
    std::string_view json = text;
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (json.starts_with(byteOrderMark)) json.remove_prefix(byteOrderMark.size());
    auto parsed = parseJSONValue(json, {.depth = deepestSchema});
    if (parsed.ok() && parsed->isObject()) file.document = std::move(parsed->object());
    file.text = std::move(text);
    return file;
}

std::vector<SchemaFile> readSchemas(std::span<const std::string> paths) {
    std::vector<std::string> files;
    for (const auto& path : paths) {
        std::error_code error;
        if (std::filesystem::is_directory(path, error)) {
            const auto inside = filesIn(path);
            if (inside.empty()) fail(path, "has no schemas (files named {id}-{version}.json)");
            files.insert(files.end(), inside.begin(), inside.end());
        } else {
            files.push_back(path);
        }
    }
    if (files.size() > mostFiles) throw CommandError("more than 10000 schemas");
    std::vector<SchemaFile> schemas;
    std::size_t left = mostBytes;
    for (const auto& path : files) {
        auto text = contentOf(path, left);
        left -= text.size();
        schemas.push_back(SchemaFile::fromText(path, std::move(text)));
    }
    return schemas;
}

std::vector<SchemaFile> readValidSchemas(std::span<const std::string> paths) {
    auto schemas = readSchemas(paths);
    std::map<std::string, const SchemaFile*> known;
    for (const auto& schema : schemas) {
        if (!schema.document)
            fail(schema.path, "is no schema; zentara-schemas check tells where and why");
        if (!schema.name) fail(schema.path, "the name is not {id}-{version}.json");
        const auto [other, isNew] = known.try_emplace(schema.name->key(), &schema);
        if (!isNew) fail(schema.path, "has the same name as " + other->second->path);
    }
    return schemas;
}

void writeFile(const std::string& path, std::string_view content) {
    if (path == "-") {
        std::cout << content << std::flush;
        if (!std::cout) throw CommandError("standard output cannot be written");
        return;
    }
    std::error_code error;
    if (std::filesystem::file_size(path, error) == content.size() && !error) {
        std::ifstream file(path, std::ios::binary);
        std::ostringstream present;
        present << file.rdbuf();
        if (present.view() == content) return;
    }
    const auto write = [&](const std::string& name, std::ios::openmode mode) {
        errno = 0;
        std::ofstream file(name, std::ios::binary | mode);
        file << content;
        file.close();
        return !file.fail();
    };
    const auto present = std::filesystem::status(path, error);
    if (std::filesystem::exists(present) && !std::filesystem::is_regular_file(present)) {
        // A device or a pipe: a file must not take its place.
        if (!write(path, std::ios::out)) failWithErrno(path, "cannot be written");
        return;
    }
    // The target of a link is replaced rather than the link.
    const auto linked = std::filesystem::canonical(path, error);
    const auto target = error ? path : linked.string();
    const auto temporary = target + ".partial" + std::to_string(::getpid());
    if (!write(temporary, std::ios::trunc) || std::rename(temporary.c_str(), target.c_str()) != 0) {
        const int code = errno;
        std::filesystem::remove(temporary, error);
        errno = code;
        failWithErrno(path, "cannot be written");
    }
}

}  // namespace zentara::schemas
