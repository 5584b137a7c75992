#pragma once

#include "core/values/export.h"
#include "formats/vdb.h"

#include <string>

namespace zrk {

/// What is in the module `zrk_vdb.so`, which holds all that needs OpenVDB. It is loaded when a VDB file is
/// read or written: OpenVDB takes a program that is linked with it 70 ms to start.
struct VdbModule {
    std::unique_ptr<VdbVolume> (*beginVolume)(const Volume&);
    std::unique_ptr<VdbLevelSet> (*beginLevelSet)(const VdbLevelSetHead&);
    Result<void> (*writePart)(const Part&, const ByteSink&, const KeepGoing&);
    Result<VolumeSource> (*readVolume)(const std::string&);
};

} // namespace zrk

/// The module's only symbol.
extern "C" ZRK_API const zrk::VdbModule zrkVdbModule;
