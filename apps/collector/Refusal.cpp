#include "collector/Refusal.h"

#include <zentara/JSONValue.h>

#include "collector/data/JSONText.h"

namespace zentara::collector {

HttpResponse refusal(int status, std::string_view reason) {
    HttpResponse response;
    response.status = status;
    response.body = JSONValue(JSONObject{{"error", inUTF8(reason)}}).text();
    return response;
}

HttpResponse wrongMethod(const HttpRequest& request, const std::string& allowed) {
    HttpResponse response =
        refusal(405, request.path + " takes " + allowed + ", not " + request.method);
    response.headers.emplace_back("Allow", allowed);
    return response;
}

bool isReading(const HttpRequest& request) {
    return request.method == "GET" || request.method == "HEAD";
}

}  // namespace zentara::collector
