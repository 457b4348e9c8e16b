#pragma once

#include <string>

#include "apps/collector/http/RawClient.h"
#include "support/CollectorProcess.h"

namespace zentara::test {

/// A collector that has received two good page views and a bad one, and refused a post.
class PostedEvents {
  public:
    PostedEvents() {
        post(home_ + "," +
             action("a-2", R"({"title":"Offers","section":"category","language":"en"})") + "," +
             action("a-3", R"({"title":"","section":"home","language":"en"})"));
        refuse();
    }

    /// Posts the first event again.
    void postDuplicate() const { post(home_); }
    void refuse() const { send("{"); }

    [[nodiscard]] const std::string& url() const { return collector_.url(); }
    [[nodiscard]] collector::CollectorClient client() const { return collector_.client(); }

  private:
    static std::string action(const std::string& uuid, const std::string& properties) {
        return R"({"id":"page-view","version":"1","url":"https://shop.example/a",)"
               R"("contentType":"application/json","properties":)" +
               properties +
               R"(,"actionTs":1700000000000,"zentaraClientVersion":"1.2.3",)"
               R"("zentaraClientReferer":"","zentaraRelationId":null,)"
               R"("zentaraClientContextID":"context-1","zentaraActionSequence":7,)"
               R"("zentaraActionUUID":")" +
               uuid + R"(","zentaraActionExtraAttributes":""})";
    }

    void post(const std::string& actions) const {
        send(R"({"zentaraClientUUID":"client-1","zentaraClientTenant":"shop & co",)"
             R"("zentaraClientType":"mobile","zentaraClientDeviceGroup":"iOS",)"
             R"("zentaraEnvironment":"app","zentaraClientTs":1700000000001,"actions":[)" +
             actions + R"(],"zentaraDispatchNumber":3,"zentaraActionCounter":3})");
    }

    void send(const std::string& body) const {
        const int port = std::stoi(url().substr(url().rfind(':') + 1));
        collector::RawClient client(
            port,
            "POST /event HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\nCookie: "
            "GST=guest-1\r\nConnection: close\r\nContent-Length: " +
                std::to_string(body.size()) + "\r\n\r\n" + body);
        (void)client.readToEnd();
    }

    const std::string home_ =
        action("a-1", R"({"title":"(1) Hôme","section":"home","language":"en"})");
    CollectorProcess collector_{ZENTARA_EXAMPLES "/schemas"};
};

}  // namespace zentara::test
