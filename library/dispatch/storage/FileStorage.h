#pragma once

#include <algorithm>
#include <filesystem>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include "json/JSONValue.h"

#include "dispatch/storage/Storage.h"
#include "json/JSONText.h"
#include "model/JSONCodable.h"
#include "platform/File.h"
#include "support/PlatformError.h"

namespace zentara {

/// The place of the store's settings for coding records; both have none but the default.
struct JSONEncoder {};
struct JSONDecoder {};

/// The place of a store of that name in the documents directory. A system that names no such
/// directory is a fatal error. Touches nothing on disk.
[[nodiscard]] std::filesystem::path documentsFile(std::string_view name);

/// Keeps a list of records in a file that is one compact JSON array, replaced atomically. After a
/// `load` that failed for want of memory or descriptors `save` fails too, as it would destroy what
/// a later start can read.
template <JSONCodable DataType>
class FileStorage final : public Storage<DataType> {
  public:
    explicit FileStorage(std::string_view fileName) : fileURL(documentsFile(fileName)) {}

    std::filesystem::path fileURL;
    JSONEncoder jsonEncoder;
    JSONDecoder jsonDecoder;

    [[nodiscard]] ErrorRef save(std::span<const DataType> records) override {
        if (unread_) return unread_;
        std::string text = "[";
        for (const auto& record : records) {
            if (text.size() > 1) text += ',';
            if (!appendJSON(text, JSONCoding<DataType>::toDictionary(record))) {
                return std::make_shared<PlatformError>(PlatformError::Domain::json, 0,
                                                       "JSON cannot hold one of the records");
            }
        }
        text += ']';
        return writeFileAtomically(fileURL, text);
    }

    Loaded<DataType> load() override {
        Loaded<DataType> loaded;
        try {
            loaded = read();
        } catch (const std::bad_alloc&) {
            loaded.error = outOfMemory("read '" + fileURL.string() + "'");
            loaded.found = true;
        }
        // What was read before may be replaced.
        isKnown_ = isKnown_ || !loaded.error;
        unread_ = !isKnown_ && isForTheMoment(*loaded.error) ? loaded.error : nullptr;
        return loaded;
    }

  private:
    [[nodiscard]] Loaded<DataType> read() const {
        const auto file = readFile(fileURL);
        if (file.error) return {{}, file.error, true};
        if (!file.bytes) return {};
        auto parsed = parseJSON(*file.bytes);
        if (parsed.error()) return {{}, parsed.error(), true};
        auto* array = parsed->ifArray();
        if (array == nullptr || !std::all_of(array->begin(), array->end(), [](const auto& element) {
                return element.isObject();
            })) {
            return {{}, nullptr, true};
        }
        Loaded<DataType> loaded;
        loaded.found = true;
        for (auto& element : *array) {
            auto decoded = JSONCoding<DataType>::fromDictionary(std::move(element.object()));
            if (decoded.ok()) loaded.records.push_back(*std::move(decoded));
        }
        return loaded;
    }

    bool isKnown_ = false;
    /// Why the file has never been read, if it may be readable later. Until then nothing is written
    /// over it.
    ErrorRef unread_;
};

}  // namespace zentara
