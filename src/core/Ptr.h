// Zr::Ptr, the two-word counted handle, and its traits. It lives in the
// platform layer because OS() hands out its objects through it.
#pragma once

#include "libOS/Ptr.h"
