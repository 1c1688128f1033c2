#pragma once

#include <ctime>

// The sanitizers make everything several times slower.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr double Slowness = 10;
#else
inline constexpr double Slowness = 1;
#endif

/// Of this process, in milliseconds: what runs beside does not count.
inline double processorTime()
{
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}
