#include "tests/desktop/wizardpage.h"

#include "tests/desktop/waiting.h"

namespace {

constexpr int WizardRuler = 48;   // above the lower edge
constexpr int WizardHeading = 45; // below the upper edge

} // namespace

bool isInk(QRgb colour)
{
    return qGray(colour) < 100;
}

QRect wizardPage(const Desktop &desktop, const WindowId &window)
{
    return QRect(QPoint(0, 0), desktop.size(window))
        .adjusted(0, WizardHeading, 0, -WizardRuler - 2);
}

void pressRetry(const Desktop &desktop, const WindowId &window)
{
    // The lowest black text on the page is Retry's; it lies in the middle.
    const QRect page = wizardPage(desktop, window);
    const QRect column(page.center().x() - 30, page.top(), 60, page.height());
    int lowest = -1;
    waitFor("Retry", [&] {
        const QImage picture = desktop.picture(window, column);
        for (int y = picture.height() - 1; y >= 0 && lowest < 0; --y) {
            for (int x = 0; x < picture.width(); ++x) {
                if (isInk(picture.pixel(x, y)))
                    lowest = y;
            }
        }
        return lowest >= 0;
    });
    const int y = column.top() + static_cast<int>(lowest / desktop.scale()) - 3;
    desktop.click(window, QPoint(column.center().x(), y));
}
