#pragma once

#include <algorithm>
#include <filesystem>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "dispatch/storage/Storage.h"
#include "json/JSONText.h"
#include "model/JSONCodable.h"
#include "platform/FileSystem.h"
#include "support/PlatformError.h"

namespace zentara {

/// Settings for coding records; there are none but the default.
struct JSONEncoder {};
struct JSONDecoder {};

/// Keeps a list of records in a file that is one compact JSON array, replaced atomically. After a
/// `load` that failed for want of memory or descriptors `save` fails too, as it would destroy what
/// a later start can read.
template <JSONCodable DataType>
class FileStorage final : public Storage<DataType> {
  public:
    /// `files` must outlive the storage.
    FileStorage(FileSystem& files, std::string_view fileName)
        : fileURL(documentsFile(fileName)), files_(files) {}

    std::filesystem::path fileURL;
    JSONEncoder jsonEncoder;
    JSONDecoder jsonDecoder;

    [[nodiscard]] Status save(std::span<const DataType> records) override {
        if (!unread_.ok()) return unread_;
        std::string text = "[";
        for (const auto& record : records) {
            if (text.size() > 1) text += ',';
            if (!appendJSON(text, JSONCoding<DataType>::toDictionary(record))) {
                return plainError("JSON cannot hold one of the records");
            }
        }
        text += ']';
        return files_.writeAtomically(fileURL, text);
    }

    Result<std::vector<DataType>> load() override {
        auto records = readRecords();
        // A file that has been read once may be replaced.
        isKnown_ = isKnown_ || records.ok();
        unread_ = !isKnown_ && isForTheMoment(*records.error()) ? records.status() : Status();
        return records;
    }

    [[nodiscard]] Status erase() override {
        unread_ = {};
        return files_.removeAllOf(fileURL);
    }

  private:
    [[nodiscard]] Result<std::vector<DataType>> readRecords() const {
        try {
            auto file = files_.read(fileURL);
            if (file.ok()) return decoded(*file);
            if (isMissing(file.status())) return std::vector<DataType>();
            return file.status();
        } catch (const std::bad_alloc&) {
            return outOfMemory("read '" + fileURL.string() + "'");
        }
    }

    [[nodiscard]] static Result<std::vector<DataType>> decoded(const std::string& text) {
        auto parsed = parseJSON(text);
        if (!parsed.ok()) return parsed.status();
        std::vector<DataType> records;
        auto* array = parsed->ifArray();
        const auto isObject = [](const auto& element) {
            return element.isObject();
        };
        if (array == nullptr || !std::ranges::all_of(*array, isObject)) return records;
        for (auto& element : *array) {
            auto record = JSONCoding<DataType>::fromDictionary(std::move(element.object()));
            if (record.ok()) records.push_back(*std::move(record));
        }
        return records;
    }

    FileSystem& files_;
    bool isKnown_ = false;
    /// Why the file has never been read, if it may be readable later. Until then nothing is written
    /// over it.
    Status unread_;
};

/// Keeps the cached schemas tables.
class SchemasStorage final : public SchemaStorageProtocol {
  public:
    /// `files` must outlive the storage.
    SchemasStorage(FileSystem& files, std::string_view fileName)
        : files_(files), fileStorage_(files, fileName) {}

    [[nodiscard]] Status save(std::span<const JSONObject> tables) override {
        return fileStorage_.save(tables);
    }
    Result<std::vector<JSONObject>> load() override {
        if (files_.state(fileStorage_.fileURL)) return fileStorage_.load();
        return std::make_shared<PlatformError>(PlatformError::Domain::file, ENOENT,
                                               "there are no cached schemas");
    }

  private:
    FileSystem& files_;
    FileStorage<JSONObject> fileStorage_;
};

}  // namespace zentara
