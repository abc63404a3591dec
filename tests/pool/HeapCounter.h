// Counts the calls of the global operator new and delete in the test process,
// so that a test can tell a pooled allocation from a heap one.
#pragma once

namespace pooltest {

long heapNews();
long heapDeletes();

} // namespace pooltest
