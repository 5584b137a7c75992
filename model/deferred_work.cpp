#include "model/deferred_work.h"

#include <utility>

namespace zrkmodel {

namespace {

thread_local bool isBuildingDeferred = false;
thread_local zrk::ProgressMonitor* monitorOfRun = nullptr;

} // namespace

ZRKDeferredBuilding::ZRKDeferredBuilding() : _former(std::exchange(isBuildingDeferred, true)) {}

ZRKDeferredBuilding::~ZRKDeferredBuilding() { isBuildingDeferred = _former; }

bool ZRKDeferredBuilding::isOn() { return isBuildingDeferred; }

ZRKDeferredRun::ZRKDeferredRun(zrk::ProgressMonitor& monitor) : _former(std::exchange(monitorOfRun, &monitor))
{}

ZRKDeferredRun::~ZRKDeferredRun() { monitorOfRun = _former; }

zrk::ProgressMonitor* ZRKDeferredRun::monitor() { return monitorOfRun; }

} // namespace zrkmodel
