#include "testing/source_folder.h"

namespace zrktest {

std::filesystem::path sourceFolder() { return ZRK_SOURCE_DIR; }

} // namespace zrktest
