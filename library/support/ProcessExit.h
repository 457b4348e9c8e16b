#pragma once

namespace zentara {

/// Runs `work` when this process returns from main or calls exit, the latest registered first.
/// A child that was forked off while the library was at work does not run it: the threads and the
/// files are its parent's.
void runAtExit(void (*work)());

}  // namespace zentara
