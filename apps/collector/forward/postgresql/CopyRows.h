#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "collector/forward/Sink.h"

namespace zentara::collector {

/// An action UUID as the tables hold it.
using ActionKey = std::array<unsigned char, 16>;

/// The UUID itself. A text that is none gets a UUID of its own, of version 8.
[[nodiscard]] ActionKey actionKey(std::string_view actionUUID);

/// Rows of the table of events in the binary format of COPY.
class CopyRows {
  public:
    /// The statement that the bytes are for.
    [[nodiscard]] static const std::string& statement();

    CopyRows();
    void add(const ForwardedEvent& event, const ActionKey& key);
    /// Once, after the last row.
    [[nodiscard]] const std::string& finish();

  private:
    template <typename Number>
    void number(Number value);
    void null();
    void text(std::string_view text);
    void textOrNull(std::string_view text);
    void json(std::string_view json);
    void time(std::int64_t milliseconds);

    std::string bytes_;
};

}  // namespace zentara::collector
