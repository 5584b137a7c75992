#pragma once

#include "core/engine/progress.h"
#include "testing/source_folder.h"
#include "testing/temporary_folder.h"

#include <filesystem>
#include <string>

namespace zrktest {

/// A monitor that asks to stop once it has been asked a number of times.
class Impatient final : public zrk::ProgressMonitor {
public:
    explicit Impatient(int patience) : _patience(patience) {}
    void progress(double fraction) override { last = fraction; }
    bool interruptRequested() override { return _patience-- <= 0; }
    double last = -1;

private:
    int _patience;
};

/// A folder of slices, each a copy of a picture that tools/make-fuzz-seeds writes. The pictures have 5 x 3
/// pixels, except for "one_pixel".
class SliceFolder : public TemporaryFolder {
protected:
    std::filesystem::path slice(const std::string& name, const std::string& seed)
    {
        const auto corpus = sourceFolder() / "fuzz/corpus/png_reader";
        std::filesystem::copy_file(corpus / (seed + ".png"), folder / name);
        return folder / name;
    }
};

} // namespace zrktest
