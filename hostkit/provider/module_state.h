// What a module owns beyond its provider, and how it lets go of it.
#pragma once

namespace kt {

// Releases everything that the module still owns: the provider, retired things and the four
// managers, so that a module can be loaded and unloaded for ever. The shutdown sequence is not run
// and no line of it is traced: a module that is detached without it has lost its bus, and every
// framework call made here is one that a framework answers with a status at worst.
//
// Threads:   once, when no thread is inside the module any more.
// Failure:   nothing throws.
void ReleaseModule() noexcept;

}  // namespace kt
