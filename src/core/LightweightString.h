// The shared copy-on-write string. It lives in the platform layer because
// OS() speaks it too; library code includes it from here.
#pragma once

#include "libOS/LightweightString.h"
