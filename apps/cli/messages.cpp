#include "apps/cli/messages.h"

#include <cerrno>
#include <cstddef>
#include <fcntl.h>
#include <unistd.h>

namespace zrkcli {

void openStandardStreams() noexcept
{
    // The lowest number that is free is the next to be opened.
    int opened = 0;
    do {
        opened = open("/dev/null", O_RDONLY);
    } while (opened >= 0 && opened <= STDERR_FILENO);
    if (opened >= 0) {
        close(opened);
    }
}

void tellText(std::string_view text) noexcept
{
    while (!text.empty()) {
        const ssize_t written = ::write(STDERR_FILENO, text.data(), text.size());
        if (written > 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno != EINTR) {
            return;
        }
    }
}

} // namespace zrkcli
