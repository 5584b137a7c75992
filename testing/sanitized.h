#pragma once

namespace zrktest {

/// True where the address or the thread sanitizer is built in: code takes ten times as long.
constexpr bool isSanitized()
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return true;
#else
    return false;
#endif
}

} // namespace zrktest
