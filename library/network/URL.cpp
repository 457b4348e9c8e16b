#include "network/URL.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstddef>
#include <memory>

#include "support/ASCII.h"

namespace zentara {

namespace {

using CurlURL = std::unique_ptr<CURLU, decltype([](CURLU* url) { ::curl_url_cleanup(url); })>;
using CurlText = std::unique_ptr<char, decltype([](char* text) { ::curl_free(text); })>;

CurlURL parsed(const std::string& text) {
    CurlURL url(::curl_url());
    if (url && ::curl_url_set(url.get(), CURLUPART_URL, text.c_str(), CURLU_NON_SUPPORT_SCHEME) !=
                   CURLUE_OK) {
        url.reset();
    }
    return url;
}

std::string part(const CurlURL& url, CURLUPart which) {
    char* text = nullptr;
    if (!url || ::curl_url_get(url.get(), which, &text, 0) != CURLUE_OK) return {};
    return CurlText(text).get();
}

/// Whether `c` needs no encoding in a component of a path.
bool isPathCharacter(char c) {
    return isLetter(c) || isDigit(c) ||
           std::string_view("-._~!$&'()*+,;=:@/").find(c) != std::string_view::npos;
}

/// Whether `text` is made of characters of a URL only, with whole percent escapes. curl is more
/// lenient, and what it lets through would go into the request line as it is.
bool hasOnlyURLCharacters(std::string_view text) {
    return percentDecoded(text) && std::ranges::all_of(text, [](char c) {
               return isPathCharacter(c) ||
                      std::string_view("%?#[]").find(c) != std::string_view::npos;
           });
}

}  // namespace

std::optional<URL> URL::parse(std::string_view text) {
    // curl repairs "http:/host" and "http:///host"; here both are refused.
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos || text.substr(colon, 3) != "://") return std::nullopt;
    if (!isLetter(text.front()) || !hasOnlyURLCharacters(text)) return std::nullopt;
    const std::string scheme = lowerCase(std::string(text.substr(0, colon)));
    const bool isFile = scheme == "file";
    const std::string_view rest = text.substr(colon + 3);
    if (!isFile && (rest.empty() || rest.front() == '/')) return std::nullopt;

    URL url{std::string(text)};
    const CurlURL whole = parsed(url.text_);
    if (!whole || part(whole, CURLUPART_SCHEME) != scheme) return std::nullopt;
    if (!isFile && part(whole, CURLUPART_HOST).empty()) return std::nullopt;
    return url;
}

std::string URL::scheme() const {
    return lowerCase(text_.substr(0, text_.find(':')));
}

std::string URL::host() const {
    std::string host = part(parsed(text_), CURLUPART_HOST);
    if (host.starts_with('[')) host = host.substr(1, host.size() - 2);
    return lowerCase(std::move(host));
}

URL URL::appendingPathComponent(std::string_view component) const {
    const std::size_t authority = text_.find("://") + 3;
    const std::size_t pathStart = std::min(text_.find_first_of("/?#", authority), text_.size());
    const std::size_t pathEnd = std::min(text_.find_first_of("?#", pathStart), text_.size());

    std::string path = text_.substr(pathStart, pathEnd - pathStart);
    while (path.ends_with('/'))
        path.pop_back();
    path += '/';
    component.remove_prefix(std::min(component.find_first_not_of('/'), component.size()));
    for (const char c : component) {
        if (isPathCharacter(c)) {
            path += c;
        } else {
            constexpr std::string_view digits = "0123456789ABCDEF";
            const auto byte = static_cast<unsigned char>(c);
            path += '%';
            path += digits[byte >> 4U];
            path += digits[byte & 15U];
        }
    }
    return URL(text_.substr(0, pathStart) + path + text_.substr(pathEnd));
}

}  // namespace zentara
