#pragma once

#include "platform/linux/ownership.h"

#include <sys/stat.h>
#include <unistd.h>

/// Lets what a test has made at these places pass for root's own.
inline platform::linuxsystem::TrustedPlaces testPlaces(const QStringList &places)
{
    ::umask(022); // a developer's may leave to his group what he makes
    return {::geteuid(), places};
}
