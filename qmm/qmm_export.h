#pragma once

#if defined(QMM_BUILDING)
#define QMM_API [[gnu::visibility("default")]]
#else
#define QMM_API
#endif
