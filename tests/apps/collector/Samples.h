#pragma once

#include <string>

#include "collector/http/HttpMessage.h"

namespace zentara::collector::samples {

/// An event as the library posts it, without its user.
inline std::string action(const std::string& schemaId, const std::string& uuid) {
    return R"({"id":")" + schemaId +
           R"(","version":"1","url":"https://shop.example/a","contentType":"application/json",)"
           R"("properties":{"price":5.0,"count":5},"actionTs":1700000000000,)"
           R"("zentaraClientVersion":"1.2.3","zentaraClientReferer":"","zentaraRelationId":null,)"
           R"("zentaraClientContextID":"c-1","zentaraActionSequence":7,"zentaraActionUUID":")" +
           uuid + R"(","zentaraActionExtraAttributes":""})";
}

inline std::string envelope(const std::string& actions) {
    return R"({"zentaraClientUUID":"client-1","zentaraClientTenant":"shop",)"
           R"("zentaraClientType":"mobile","zentaraClientDeviceGroup":"iOS",)"
           R"("zentaraEnvironment":"app","zentaraClientTs":1700000000001,"actions":[)" +
           actions + R"(],"zentaraDispatchNumber":3,"zentaraActionCounter":1})";
}

inline HttpRequest request(const std::string& method, const std::string& path,
                           std::string body = {}) {
    HttpRequest request;
    request.method = method;
    request.target = path;
    request.path = path;
    request.body = std::move(body);
    if (!request.body.empty()) request.headers = {{"content-type", "application/json"}};
    return request;
}

}  // namespace zentara::collector::samples
