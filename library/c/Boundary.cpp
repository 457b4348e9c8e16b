#include "c/Boundary.h"

#include <algorithm>
#include <array>
#include <exception>
#include <new>

#include "facade/ZentaraClientAccess.h"
#include "text/Unicode.h"

namespace zentara::c {

namespace {

// Trivially destructible, so that they serve until the end of the thread.
thread_local zentara_status lastStatus = ZENTARA_OK;
thread_local std::array<char, 512> lastProblem;
thread_local std::size_t lastProblemLength = 0;

/// The problem is UTF-8.
zentara_status note(zentara_status status, std::string_view problem) noexcept {
    auto length = std::min(problem.size(), lastProblem.size());
    // No character is cut.
    while (length < problem.size() && (static_cast<unsigned char>(problem[length]) & 0xC0U) == 0x80)
        --length;
    lastStatus = status;
    lastProblemLength = problem.copy(lastProblem.data(), length);
    return status;
}

}  // namespace

void refuse(zentara_status status, std::string problem) {
    throw Refusal{status, withValidUTF8(std::move(problem))};
}

zentara_status noteException() noexcept {
    try {
        throw;
    } catch (const Refusal& refusal) {
        return note(refusal.status, refusal.problem);
    } catch (const ZentaraClientNotConfiguredError&) {
        return note(ZENTARA_NOT_CONFIGURED, "zentara_use_settings has not been called");
    } catch (const std::bad_alloc&) {
        return note(ZENTARA_NO_MEMORY, "no memory");
    } catch (const std::exception& exception) {
        try {
            return note(ZENTARA_FAILED, withValidUTF8(exception.what()));
        } catch (const std::bad_alloc&) {
            return note(ZENTARA_NO_MEMORY, "no memory");
        }
    }
}

std::string string(zentara_text text) {
    return std::string(view(text));
}

std::optional<std::string> optionalString(zentara_text text) {
    if (text.bytes == nullptr) return std::nullopt;
    return string(text);
}

std::string requiredString(zentara_text text, const char* name) {
    if (text.bytes == nullptr) {
        refuse(ZENTARA_INVALID_ARGUMENT, "there is no " + std::string(name));
    }
    return string(text);
}

std::string_view view(zentara_text text) noexcept {
    if (text.bytes == nullptr) return {};
    return {text.bytes, text.length};
}

zentara_text borrowed(std::string_view text) noexcept {
    // A text that is empty is not absent.
    return {text.data() == nullptr ? "" : text.data(), text.size()};
}

zentara_text borrowedIfThere(const std::optional<std::string>& text) noexcept {
    return text ? borrowed(*text) : zentara_text{};
}

void checkRecord(const void* record, std::size_t size) {
    if (record == nullptr) refuse(ZENTARA_INVALID_ARGUMENT, "a null record");
    // Members are aligned to words, so each version of a record is whole words long.
    if (size < sizeof(std::size_t) || size % alignof(std::size_t) != 0) {
        refuse(ZENTARA_INVALID_ARGUMENT,
               "a record of size " + std::to_string(size) + ": begin with ZENTARA_INIT");
    }
}

std::shared_ptr<void> kept(void* context, void (*release)(void*)) {
    if (release == nullptr) return {std::shared_ptr<void>(), context};
    return {context, release};
}

std::shared_ptr<ZentaraClient> clientOf(const zentara_client* handle) {
    if (handle != nullptr) return checked(handle).client;
    if (auto shared = ZentaraClient::sharedClient()) return shared;
    return ClientSettings::current() ? ZentaraClientAccess::getConfigured()
                                     : ZentaraClientAccess::makePlain();
}

zentara_client* makeHandle(const std::shared_ptr<ZentaraClient>& client) {
    if (!client) return nullptr;
    return std::make_unique<zentara_client>(client->shared_from_this()).release();
}

ThreadTexts& ThreadTexts::own() {
    thread_local ThreadTexts* texts = nullptr;
    struct Cleaner {
        ~Cleaner() { delete std::exchange(texts, nullptr); }
    };
    if (texts == nullptr) {
        texts = new ThreadTexts;
        // Made by the first call only: texts that are made after its end stay.
        thread_local const Cleaner cleaner;
        static_cast<void>(cleaner);
    }
    return *texts;
}

}  // namespace zentara::c

zentara_status zentara_last_status() noexcept {
    return zentara::c::lastStatus;
}

zentara_text zentara_last_problem() noexcept {
    return {zentara::c::lastProblem.data(), zentara::c::lastProblemLength};
}

const char* zentara_version() noexcept {
    return ZENTARA_VERSION;
}
