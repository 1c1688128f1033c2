#include "platform/linux/linuxplatform.h"

namespace platform {

LinuxParts::LinuxParts(const SystemPaths &paths)
    : store(paths.state),
      ports(paths, &store),
      processes(&ports),
      installation(&store),
      libraries(&installation),
      remoteAccess(paths, &store)
{
}

LinuxPlatform::LinuxPlatform(const SystemPaths &paths)
    : LinuxParts(paths),
      ComposedPlatform({&ports, &memory, &libraries, &processes, &remoteAccess, &installation,
                        &ports, &installation, &facts})
{
}

} // namespace platform
