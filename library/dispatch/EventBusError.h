#pragma once

#include <string>

#include "support/Status.h"

namespace zentara {

/// What the event bus itself finds wrong.
class EventBusError final : public Error {
  public:
    enum class Case {
        clientNotInitialized,  ///< no settings were given
        idManagerNotReady,     ///< there is no identity to send for yet
        invalidJSONFormat,     ///< the envelope has no JSON form
        enqueueError,          ///< the event could not be stored
    };

    explicit EventBusError(Case errorCase) : case_(errorCase) {}

    [[nodiscard]] Case errorCase() const noexcept { return case_; }
    [[nodiscard]] std::string description() const override;

    friend bool operator==(const EventBusError& one, const EventBusError& other) noexcept {
        return one.case_ == other.case_;
    }

  private:
    Case case_;
};

}  // namespace zentara
