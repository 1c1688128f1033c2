#pragma once

#include "platform/linux/notices.h"

#include <atomic>
#include <memory>

namespace platform::linuxsystem {

/// The notices as boxes, each beside the program's windows and keeping none of
/// them from working. They come when the program is back in its event loop; a
/// newer one takes the place of one that is still open. Without windows they are
/// not shown.
class MessageNotices : public Notices
{
public:
    void portInUse(const QString &program) override;
    void portKept() override;
    void portForbidden() override;
    void stateDamaged(const QString &file, const std::function<bool()> &putAside) override;
    void stateForbidden(const QString &file) override;

private:
    std::shared_ptr<std::atomic<bool>> m_isDamageTold = std::make_shared<std::atomic<bool>>(false);
    std::atomic<bool> m_isForbiddenTold{false};
};

} // namespace platform::linuxsystem
