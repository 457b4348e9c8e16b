#include "collector/Identity.h"

#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <string_view>

#include "support/UUID.h"

namespace zentara::collector {

namespace {

constexpr std::size_t longestValue = 128;

std::string derivedUUID(const std::string& value) {
    static const boost::uuids::uuid identities =
        boost::uuids::string_generator()("5ba0f8c7-58f4-4f5c-9a94-0d3e0a6b7f21");
    boost::uuids::name_generator_sha1 generator(identities);
    return to_string(generator(value));
}

}  // namespace

bool isIdentityValue(const std::string& value) {
    constexpr std::string_view allowed =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~";
    return !value.empty() && value.size() <= longestValue &&
           value.find_first_not_of(allowed) == std::string::npos;
}

Identity issueIdentity(const std::optional<std::string>& known) {
    const std::string value = known.value_or(lowerCaseUUID());
    return {value, derivedUUID(value), lowerCaseUUID()};
}

}  // namespace zentara::collector
