#include "network/RequestFailure.h"

#include <memory>
#include <string>
#include <utility>

#include "support/PlatformError.h"

namespace zentara {

namespace {

class RequestFailure final : public Error {
  public:
    explicit RequestFailure(std::string text) : text_(std::move(text)) {}

    [[nodiscard]] std::string description() const override { return text_; }

  private:
    std::string text_;
};

}  // namespace

ErrorRef withHost(const URL& url, const ErrorRef& error) {
    if (!error) return nullptr;
    const auto* failure = dynamic_cast<const PlatformError*>(error.get());
    if (failure != nullptr && failure->domain() == PlatformError::Domain::network) return error;
    return std::make_shared<RequestFailure>("request to '" + url.host() +
                                            "' failed: " + error->description());
}

}  // namespace zentara
