#pragma once

#include <string>
#include <string_view>

#include "json/JSONValue.h"
#include "support/WorkLimits.h"

namespace zentara {

/// What a "$ref" text leads to.
struct [[nodiscard]] ResolvedReference {
    /// The referenced schema; null when there is none.
    const JSONObject* schema = nullptr;
    /// Why there is none; empty when there is one, or when no message was wanted.
    std::string failure;
};

enum class FailureText { wanted, unwanted };

/// Resolves `reference` against the root document: "#" is the root itself, "#/a/b" a path of
/// percent-encoded keys in which an element of a list of dictionaries is named by its index, and
/// anything else is remote. Documents are never fetched. What looking at lists costs is taken from
/// `allowance`.
ResolvedReference resolveReference(const JSONObject& root, std::string_view reference,
                                   FailureText failureText, WorkAllowance& allowance);

}  // namespace zentara
