// Counts the blocks that operator new hands out in this test process, and
// tells whether one given block has been deleted.
#pragma once

#include <cstddef>

namespace coretest {

// Blocks handed out by operator new since the process began, and the size of the last one.
size_t newCalls();
size_t lastNewSize();

// Watches one address: deletedWatched() turns true when operator delete frees it.
void watchDelete(const void* block);
bool deletedWatched();

} // namespace coretest
