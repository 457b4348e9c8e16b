#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "json/JSONValue.h"

namespace zentara {

/// Follows the references ("$ref") of a schema document. For one thread at a time.
class References {
  public:
    struct Target {
        const JSONObject* schema = nullptr;  ///< null: every value is refused
        std::string failure;                 ///< the message of such a value
        bool isRemote = false;               ///< refused since it leads out of the document
    };

    /// The document must outlive this object.
    explicit References(const JSONObject& document) : document_(document) {}

    /// Puts the keys and indices on the way from the root into `path`.
    [[nodiscard]] Target follow(std::string_view reference,
                                std::vector<std::string>* path = nullptr);

  private:
    [[nodiscard]] std::optional<std::size_t> positionIn(const JSONValue& list,
                                                        std::string_view component);

    const JSONObject& document_;
    /// Many references may lead through the same long list.
    std::unordered_map<const JSONValue*, bool> holdsObjectsOnly_;
};

}  // namespace zentara
