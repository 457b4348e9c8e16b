#pragma once

namespace zentara {

/// Lets children that are forked off from now on close `descriptor` as they begin; for what they
/// would otherwise hold in place of the parent. Beyond 256 of them they keep it.
void closeInForkedChildren(int descriptor);

/// Takes that back, before the descriptor is closed here.
void keepInForkedChildren(int descriptor) noexcept;

}  // namespace zentara
