// Umbrella header: every public header of the libraries.
#pragma once

#include "libOS/OS.h"
#include "libOS/Utf8.h"

#include "libzr/AttribValuePair.h"
#include "libzr/CriticalSection.h"
#include "libzr/LoggingTraitsBase.h"
#include "libzr/NamedObjectsNamespace.h"
#include "libzr/Shutdown.h"
#include "libzr/Strings.h"
#include "libzr/UUID.h"

#include "core/Assert.h"
