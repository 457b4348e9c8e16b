#pragma once

#include <curl/curl.h>

#include <memory>
#include <string>

namespace zentara::test {

struct PostAnswer {
    long status = 0;  ///< 0 if there was none
    long retryAfter = 0;
};

/// Posts an envelope on a connection of its own.
inline PostAnswer post(const std::string& collector, const std::string& body) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> curl(curl_easy_init(),
                                                                   curl_easy_cleanup);
    const std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)> headers(
        curl_slist_append(nullptr, "Content-Type: application/json"), curl_slist_free_all);
    curl_easy_setopt(curl.get(), CURLOPT_URL, (collector + "/event").c_str());
    curl_easy_setopt(curl.get(), CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(curl.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl.get(), CURLOPT_POSTFIELDS, body.data());
    curl_easy_setopt(
        curl.get(), CURLOPT_WRITEFUNCTION,
        +[](const char*, std::size_t, std::size_t size, void*) { return size; });
    PostAnswer answer;
    if (curl_easy_perform(curl.get()) != CURLE_OK) return answer;
    curl_easy_getinfo(curl.get(), CURLINFO_RESPONSE_CODE, &answer.status);
    curl_off_t wait = 0;
    curl_easy_getinfo(curl.get(), CURLINFO_RETRY_AFTER, &wait);
    answer.retryAfter = static_cast<long>(wait);
    return answer;
}

}  // namespace zentara::test
