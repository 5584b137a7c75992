#pragma once

#include "core/values/export.h"

namespace zrk {
class ProgressMonitor;
}

namespace zrkmodel {

/// While one lives, evaluators that its thread builds put off what takes long, such as freezing a field into
/// a raster. The first sample of such an evaluator does it then, once for all, with what was there when the
/// evaluator was built. So a thread that must not wait can build evaluators for another one to run.
///
/// Without one, evaluators are complete when they are built.
class ZRK_API ZRKDeferredBuilding {
public:
    ZRKDeferredBuilding();
    ~ZRKDeferredBuilding();
    ZRKDeferredBuilding(const ZRKDeferredBuilding&) = delete;
    ZRKDeferredBuilding& operator=(const ZRKDeferredBuilding&) = delete;

    /// Whether one lives on the calling thread.
    static bool isOn();

private:
    bool _former;
};

/// While one lives, what was put off and is done on its thread reports to the monitor, which may stop it: the
/// call that samples then throws the FaultError of interrupted work, and the next one begins anew.
class ZRKDeferredRun {
public:
    /// @param monitor  not owned, must outlive this.
    explicit ZRKDeferredRun(zrk::ProgressMonitor& monitor);
    ~ZRKDeferredRun();
    ZRKDeferredRun(const ZRKDeferredRun&) = delete;
    ZRKDeferredRun& operator=(const ZRKDeferredRun&) = delete;

    /// The monitor of the calling thread; null for none.
    static zrk::ProgressMonitor* monitor();

private:
    zrk::ProgressMonitor* _former;
};

} // namespace zrkmodel
