#include "schemas/SchemasServiceApi.h"

#include <memory>
#include <utility>

#include <zentara/ClientSettings.h>
#include <zentara/ZentaraEndpoints.h>
#include "network/RequestFailure.h"
#include "network/RestClient.h"
#include "network/URLRequestBuilder.h"

namespace zentara {

void SchemasServiceApi::fetch(Completion completion) {
    const auto settings = ClientSettings::current();
    if (!settings) {
        completion(std::nullopt,
                   std::make_shared<SchemasServiceError>("the library is not configured"));
        return;
    }
    URLRequestBuilder builder(ZentaraEndpoints::schemas(settings->environment)
                                  .appendingPathComponent(settings->schemasPath));
    const auto& client = RestClient::shared();
    client.dataRequest(
        builder.build(), [completion = std::move(completion), url = builder.url](
                             const std::optional<std::string>& body, const ErrorRef& error) {
            if (error) return completion(std::nullopt, withHost(url, error));
            RestClient::shared().decodeJSON(
                body, nullptr, [&](JSONObject table, const ErrorRef& failure) {
                    if (failure) {
                        const auto reason = withHost(url, failure)->description();
                        completion(std::nullopt, std::make_shared<SchemasServiceError>(reason));
                    } else {
                        completion(std::move(table), nullptr);
                    }
                });
        });
}

}  // namespace zentara
