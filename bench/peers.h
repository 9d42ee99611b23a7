#pragma once
// The image-processing peers several programs set beside their own runs, each
// started the same way: its version in the benchmark context and, for
// libvips, one thread and no operation cache, so that it times the same single
// pass over the same pixels as ours.
#include "bench_util.h"

#ifdef QGDI_HAVE_OPENCV
#include <opencv2/core.hpp>
#endif
#ifdef QGDI_HAVE_VIPS
#include <vips/vips.h>
#endif

namespace qgdi::bench {

// False when a peer that is built in cannot start.
inline bool StartImagePeers([[maybe_unused]] const char* argv0) {
#ifdef QGDI_HAVE_OPENCV
    AddPeerVersion("opencv", CV_VERSION);
#endif
#ifdef QGDI_HAVE_VIPS
    if (VIPS_INIT(argv0)) return false;
    vips_cache_set_max(0);
    vips_concurrency_set(1);
    AddPeerVersion("vips", vips_version_string());
#endif
    return true;
}

}  // namespace qgdi::bench
