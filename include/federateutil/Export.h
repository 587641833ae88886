// Marks the declarations that libfederateutil exports; everything else is hidden.
#pragma once

#if defined(FEDERATEUTIL_BUILDING)
#define FEDERATEUTIL_API __attribute__((visibility("default")))
#else
#define FEDERATEUTIL_API
#endif
