#pragma once

#include <cstdint>

#include "schemas/check/Check.h"

namespace zentara::schemas {

/// The rules, in the order of their numbers.
enum class RuleName : std::uint8_t {
    notJSON,
    notAnObject,
    tooDeep,
    repeatedKey,
    referenceNotFound,
    remoteReference,
    endlessReference,
    invalidPattern,
    unknownType,
    unknownFormat,
    fatalFormat,
    impossibleBounds,
    impossibleEnum,
    requiredButForbidden,
    emptyChoice,
    noValidValue,
    // Warnings.
    unsupportedKeyword,
    misspeltKeyword,
    wrongValue,
    numericExclusiveBound,
    exclusiveWithoutBound,
    withoutEffect,
    referenceSiblings,
    unanchoredPattern,
    costlyPattern,
    costlyShape,
    irrelevantKeyword,
    fileName,
    fatalForInvalid,
    unusedEnumValue,
    unusedDefinition,
    otherDraft,
    notExamined,
    moreFindings,
    count
};

[[nodiscard]] const Rule& ruleNamed(RuleName name) noexcept;

}  // namespace zentara::schemas
