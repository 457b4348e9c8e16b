#pragma once

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <zentara/ZentaraClient.h>
#include <zentara/zentara.h>
#include "c/Handles.h"

namespace zentara::c {

/// Wrong use of the C interface, on its way to the function that was called.
struct Refusal {
    zentara_status status;
    std::string problem;
};

/// The problem may hold bytes that are not UTF-8.
[[noreturn]] void refuse(zentara_status status, std::string problem);

/// Notes the exception that is being handled as the failure of this thread. Returns its status.
zentara_status noteException() noexcept;

/// Runs the body of a function. Exceptions become a status.
template <typename Body>
zentara_status guarded(const Body& body) noexcept {
    try {
        body();
        return ZENTARA_OK;
    } catch (...) {
        return noteException();
    }
}

/// Runs the body of a function that returns a value. Exceptions become `otherwise`.
template <typename Value, typename Body>
Value guardedOr(Value otherwise, const Body& body) noexcept {
    static_cast<void>(guarded([&] { otherwise = body(); }));
    return otherwise;
}

/// The object behind a handle. Refuses null and what is no such handle.
template <typename Type>
Type& checked(Type* handle) {
    if (handle == nullptr) refuse(ZENTARA_INVALID_ARGUMENT, "a null handle");
    if (!handle->is(Type::kind)) {
        refuse(ZENTARA_INVALID_HANDLE, "a handle that was released, or of another type");
    }
    return *handle;
}

/// The same, for a function that ends the handle. Refuses one that was lent to a callback.
template <typename Type>
Type& owned(Type* handle) {
    if (checked(handle).owner() == HandleOwner::library) {
        refuse(ZENTARA_INVALID_HANDLE, "a handle that belongs to the library");
    }
    return *handle;
}

/// Deletes the object behind a handle, unless it is null or refused.
template <typename Type>
void release(Type* handle) noexcept {
    if (handle == nullptr) return;
    static_cast<void>(guarded([&] { delete &owned(handle); }));
}

/// The text, empty when it is absent.
std::string string(zentara_text text);
std::optional<std::string> optionalString(zentara_text text);
/// Refuses an absent text.
std::string requiredString(zentara_text text, const char* name);
std::string_view view(zentara_text text) noexcept;
/// Valid as long as `text`.
zentara_text borrowed(std::string_view text) noexcept;
zentara_text borrowedIfThere(const std::optional<std::string>& text) noexcept;

/// Refuses null and a size that no version of a record has.
void checkRecord(const void* record, std::size_t size);

/// As much of the record as it has; the rest is zero.
template <typename Record>
Record readRecord(const Record* record) {
    checkRecord(record, record == nullptr ? 0 : record->size);
    Record known{};
    std::memcpy(&known, record, std::min(record->size, sizeof(Record)));
    return known;
}

/// Fills as much of the record as it has room for. Its size becomes what was filled.
template <typename Record>
void writeRecord(Record* record, Record values) {
    checkRecord(record, record == nullptr ? 0 : record->size);
    values.size = std::min(record->size, sizeof(Record));
    std::memcpy(record, &values, values.size);
}

/// The context of a callback that is only called during a call. Releases it at the end of its
/// scope.
struct CallContext {
    void* context;
    void (*release)(void*);

    ~CallContext() {
        if (release != nullptr) release(context);
    }
};

/// The context of a callback that is kept. Released with the last copy.
std::shared_ptr<void> kept(void* context, void (*release)(void*));

/// A function of C++ that calls `call` with the context; null for a null function. The context is
/// released with the last copy of the result.
template <typename Callback, typename Function, typename Call>
Callback calling(Function function, void* context, void (*release)(void*), const Call& call) {
    auto owner = kept(context, release);
    if (function == nullptr) return nullptr;
    return [function, owner = std::move(owner), call](auto&&... values) {
        return call(function, owner.get(), std::forward<decltype(values)>(values)...);
    };
}

/// The client behind a handle; for null the shared one, which is built if there are settings, and
/// otherwise one without collaborators.
std::shared_ptr<ZentaraClient> clientOf(const zentara_client* handle);

/// A handle for the caller to release; null for null.
zentara_client* makeHandle(const std::shared_ptr<ZentaraClient>& client);

/// A draft with its properties.
struct Draft {
    zentara_event_draft record;
    JSONObject properties;
};

enum class Ownership { copied, taken };

Draft readDraft(const zentara_event_draft* record, Ownership ownership);

/// The object of the properties. Refuses an open container.
JSONObject copyOf(const zentara_properties& properties);

/// The same; takes the handle over.
JSONObject taken(zentara_properties* properties);

/// `zentara_value` is never defined: a pointer to it is always a pointer to a `JSONValue`.
inline const zentara_value* handleOf(const JSONValue& value) noexcept {
    return reinterpret_cast<const zentara_value*>(&value);
}

/// Texts that are valid until the next call of their function on this thread. They also work while
/// the process exits, when the objects of the thread are destroyed already.
struct ThreadTexts {
    std::string bundleIdentifier;
    std::string documentsDirectory;
    std::string preferencesDirectory;
    std::string contextId;
    std::string json;
    FlushResult flushResult;
    ZentaraClientStatistics statistics;
    ValidationReport validation;
    std::vector<zentara_text> messages;

    static ThreadTexts& own();
};

}  // namespace zentara::c
