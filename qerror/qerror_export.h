#pragma once

#if defined(QERROR_BUILDING)
#define QERROR_API [[gnu::visibility("default")]]
#else
#define QERROR_API
#endif
