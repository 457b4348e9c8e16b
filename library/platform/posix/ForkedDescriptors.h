#pragma once

namespace zentara {

/// Forked children close `descriptor` from now on, such as that of a lock that only the parent
/// holds. At most 256 descriptors; children keep any beyond that.
void closeInForkedChildren(int descriptor);

/// Undoes it. To be called before the descriptor is closed.
void keepInForkedChildren(int descriptor) noexcept;

}  // namespace zentara
