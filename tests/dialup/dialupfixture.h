#pragma once

#include <QString>

// What the tests of dialup/ share.

/// An allocation of that many bytes with HEAP_ZERO_MEMORY.
inline QString zeroed(int bytes)
{
    return QString("HeapAlloc(0x1, 8, %1)").arg(bytes);
}
