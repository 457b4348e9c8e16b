#include "support/UUID.h"

#include <unistd.h>

#include <cstddef>
#include <cstdint>

#include "support/Diagnostics.h"

namespace zentara {

UUIDText randomUUID() {
    // From the system: a generator seeded in the process would repeat itself after a fork.
    std::array<std::uint8_t, 16> bytes;
    if (::getentropy(bytes.data(), bytes.size()) != 0)
        fatalError("the system gives no random numbers");
    // Version 4, and the variant that goes with it.
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);
    constexpr std::string_view digits = "0123456789abcdef";
    UUIDText uuid;
    auto* next = uuid.characters.begin();
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) *next++ = '-';
        *next++ = digits[bytes[i] >> 4U];
        *next++ = digits[bytes[i] & 0x0FU];
    }
    return uuid;
}

}  // namespace zentara
