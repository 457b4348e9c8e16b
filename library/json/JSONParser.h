#pragma once

#include <boost/json/error.hpp>
#include <boost/json/storage_ptr.hpp>
#include <cstddef>
#include <limits>
#include <string_view>

#include "json/JSONValue.h"

namespace zentara {

/// What a document may be at most.
struct DocumentLimits {
    std::size_t depth = 512;  ///< levels of nesting
    std::size_t values = std::numeric_limits<std::size_t>::max();
};

/// Reads a whole JSON text of any kind, within `limits`, into values that live in `storage`.
/// Integers that fit 64 bits stay integers; every other number becomes the double nearest to it,
/// an infinity when it is beyond all of them. Of duplicate keys the last wins. May throw
/// `std::bad_alloc`.
///
/// Boost's own parser gives one double in ten of those written with 16 or more digits, which is
/// how a double that was computed looks, another one's value.
[[nodiscard]] JSONValue parseDocument(std::string_view text, boost::json::error_code& error,
                                      boost::json::storage_ptr storage, DocumentLimits limits);

}  // namespace zentara
