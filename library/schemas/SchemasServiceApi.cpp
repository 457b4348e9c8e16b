#include "schemas/SchemasServiceApi.h"

#include <memory>
#include <utility>

#include "network/URLRequestBuilder.h"

namespace zentara {

void SchemasServiceApi::fetch(Completion completion) {
    const auto settings = service_.settings();
    if (!settings) {
        completion(std::make_shared<SchemasServiceError>("the library is not configured"));
        return;
    }
    URLRequestBuilder builder(
        service_.baseURL(settings->environment).appendingPathComponent(settings->schemasPath));
    service_.client.dataRequest(
        builder.build(),
        [completion = std::move(completion), url = builder.url](const Result<std::string>& body) {
            if (!body.ok()) return completion(withHost(url, body.status()));
            auto table = RestClient::decodeJSON(body);
            if (table.ok()) return completion(std::move(table));
            const auto reason = withHost(url, table.status()).error()->description();
            completion(std::make_shared<SchemasServiceError>(reason));
        });
}

}  // namespace zentara
