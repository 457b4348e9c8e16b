#include "schemas/SchemasServiceApi.h"

#include <memory>
#include <utility>

#include <zentara/ClientSettings.h>
#include <zentara/ZentaraEndpoints.h>
#include "network/RestClient.h"
#include "network/URLRequestBuilder.h"

namespace zentara {

void SchemasServiceApi::fetch(Completion completion) {
    const auto settings = ClientSettings::current();
    if (!settings) {
        completion(std::nullopt, std::make_shared<SchemasServiceError>());
        return;
    }
    URLRequestBuilder builder(ZentaraEndpoints::schemas(settings->environment)
                                  .appendingPathComponent(settings->schemasPath));
    const auto& client = RestClient::shared();
    client.dataRequest(
        builder.build(), [completion = std::move(completion)](
                             const std::optional<std::string>& body, const ErrorRef& error) {
            if (error) return completion(std::nullopt, error);
            RestClient::shared().decodeJSON(
                body, nullptr, [&completion](JSONObject table, const ErrorRef& failure) {
                    if (failure) {
                        completion(std::nullopt, std::make_shared<SchemasServiceError>());
                    } else {
                        completion(std::move(table), nullptr);
                    }
                });
        });
}

}  // namespace zentara
