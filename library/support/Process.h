#pragma once

namespace zentara {

/// Whether this process is a child that was forked off while the library was at work in its parent.
/// The threads of the library stayed there, and so did the holders of its locks at that moment:
/// such a child must not take a lock, nor write the files. A system without `fork` says no.
[[nodiscard]] bool isForkedChild() noexcept;

/// Called when the library begins to work: children that are forked off from now on are marked.
void markForkedChildren();

/// Runs `work` when this process returns from main or calls exit, the latest registered first.
/// A forked child (`isForkedChild`) does not run it: the threads and the files are its parent's.
void runAtExit(void (*work)());

}  // namespace zentara
