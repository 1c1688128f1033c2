#include "app/formfont.h"

#include <QApplication>
#include <QFontDatabase>

#include <algorithm>

namespace {

const char formFamily[] = "MS Shell Dlg 2";
constexpr double FormPointSize = 8.25;
constexpr int WideFontStretch = 84; // percent; the usual face of Linux is that much too wide

QStringList installedFamilies()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return QFontDatabase().families();
#else
    return QFontDatabase::families();
#endif
}

/// Where two makers' fonts have the same name, the list names the makers:
/// "Nimbus Sans [URW ]".
bool isAmong(const QStringList &families, const QString &family)
{
    return std::any_of(families.begin(), families.end(), [&family](const QString &each) {
        return each == family || each.startsWith(family + " [");
    });
}

} // namespace

QFont formFont(const QStringList &installed)
{
    QFont font(formFamily);
    font.setPointSizeF(FormPointSize);
    if (isAmong(installed, formFamily))
        return font;
    // The last two are a little too wide, but less so than what the system would choose.
    for (const char *family : {"Tahoma", "Liberation Sans", "Arial", "FreeSans", "Nimbus Sans",
                               "DejaVu Sans Condensed"}) {
        if (isAmong(installed, family)) {
            QFont::insertSubstitution(formFamily, family);
            return font;
        }
    }
    font.setStretch(WideFontStretch);
    return font;
}

void useFormFont()
{
    QApplication::setFont(formFont(installedFamilies()));
}
