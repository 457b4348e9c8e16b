#include "facade/objc/Bridge.h"

#include <algorithm>
#include <string>

#include "facade/objc/BridgeText.h"
#include "support/Diagnostics.h"
#include "support/FatalError.h"
#include "support/StackSpace.h"

void zentaraFatalError(ZentaraText cause) noexcept {
    zentara::fatalError({cause.bytes, cause.length});
}

void zentaraWarn(ZentaraText line) noexcept {
    auto text = zentara::string(line);
    // What a host's object says about itself may have lines of its own.
    std::replace_if(
        text.begin(), text.end(), [](unsigned char character) { return character < ' '; }, ' ');
    zentara::printWarning(text);
}

size_t zentaraStackLeft() noexcept {
    return zentara::remainingStackSpace();
}
