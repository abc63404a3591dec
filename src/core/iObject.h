// iObject, the root interface with the shared internal counter. It lives in
// the platform layer because OS() hands out iObjects.
#pragma once

#include "libOS/iObject.h"
