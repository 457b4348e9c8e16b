#include "collector/SchemaTable.h"

#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <new>
#include <optional>
#include <string_view>

#include "network/Gzip.h"
#include "support/ASCII.h"

namespace zentara::collector {

namespace {

constexpr std::size_t tagBytes = 16;

/// The beginning of the SHA-256 of a text, in hexadecimal.
std::string digestOf(std::string_view text) {
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    if (::EVP_Digest(text.data(), text.size(), digest.data(), nullptr, ::EVP_sha256(), nullptr) !=
        1) {
        throw std::bad_alloc();
    }
    constexpr std::string_view digits = "0123456789abcdef";
    std::string hexadecimal;
    for (std::size_t index = 0; index < tagBytes; ++index) {
        hexadecimal += digits[digest[index] >> 4U];
        hexadecimal += digits[digest[index] & 0xFU];
    }
    return hexadecimal;
}

/// Takes the next element of a list that is separated by commas, without blanks around it.
std::string_view takeElement(std::string_view& list) {
    std::string_view element = list.substr(0, list.find(','));
    list.remove_prefix(std::min(list.size(), element.size() + 1));
    while (!element.empty() && (element.front() == ' ' || element.front() == '\t'))
        element.remove_prefix(1);
    while (!element.empty() && (element.back() == ' ' || element.back() == '\t'))
        element.remove_suffix(1);
    return element;
}

/// Whether the parameters of an encoding have a weight of zero.
bool isUnwanted(std::string_view parameters) {
    const std::size_t weight = parameters.find("q=");
    if (weight == std::string_view::npos) return false;
    return parameters.find_first_of("123456789", weight) == std::string_view::npos;
}

}  // namespace

bool acceptsGzip(std::string_view header) {
    bool any = false;
    while (!header.empty()) {
        const std::string_view element = takeElement(header);
        std::string_view name = element.substr(0, element.find(';'));
        const bool isWanted = !isUnwanted(element.substr(name.size()));
        name = name.substr(0, name.find_last_not_of(" \t") + 1);
        if (equalsIgnoringCase(name, "gzip")) return isWanted;
        if (name == "*") any = isWanted;
    }
    return any;
}

bool namesTag(std::string_view header, std::string_view tag) {
    while (!header.empty()) {
        std::string_view element = takeElement(header);
        if (element == "*") return true;
        // A cache that has changed the encoding makes the tag weak.
        if (element.starts_with("W/")) element.remove_prefix(2);
        if (element == tag) return true;
    }
    return false;
}

HttpResponse SchemaTable::answer(const HttpRequest& request,
                                 const SchemaCatalogue::Snapshot& snapshot) {
    const auto table = encoded(snapshot);
    const bool isCompressed = acceptsGzip(request.header("Accept-Encoding"));
    // Each encoding has a tag of its own, since its bytes differ.
    const std::string tag = '"' + table->tag + (isCompressed ? "-gzip\"" : "\"");
    HttpResponse response;
    response.headers = {{"ETag", tag}, {"Cache-Control", "no-cache"}, {"Vary", "Accept-Encoding"}};
    if (namesTag(request.header("If-None-Match"), tag)) {
        response.status = 304;
        return response;
    }
    if (isCompressed) response.headers.emplace_back("Content-Encoding", "gzip");
    response.body = isCompressed ? table->gzip : snapshot->json;
    return response;
}

std::shared_ptr<const SchemaTable::Encoded> SchemaTable::encoded(
    const SchemaCatalogue::Snapshot& snapshot) {
    // Requests at the same time wait for the first, instead of compressing the same.
    const std::lock_guard lock(mutex_);
    if (!encoded_ || encoded_->snapshot != snapshot) {
        encoded_ = std::make_shared<const Encoded>(
            Encoded{snapshot, digestOf(snapshot->json), gzip(snapshot->json)});
    }
    return encoded_;
}

}  // namespace zentara::collector
