#include "app/formfont.h"

#include <QApplication>
#include <QFont>
#include <QFontDatabase>
#include <QStringList>

namespace {

const char formFamily[] = "MS Shell Dlg 2";
constexpr double FormPointSize = 8.25;

QStringList installedFamilies()
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return QFontDatabase().families();
#else
    return QFontDatabase::families();
#endif
}

} // namespace

void useFormFont()
{
    const QStringList installed = installedFamilies();
    if (!installed.contains(formFamily)) {
        for (const char *family : {"Tahoma", "Liberation Sans", "Arial", "Nimbus Sans", "FreeSans",
                                   "DejaVu Sans Condensed"}) {
            if (installed.contains(family)) {
                QFont::insertSubstitution(formFamily, family);
                break;
            }
        }
    }
    QFont font(formFamily);
    font.setPointSizeF(FormPointSize);
    QApplication::setFont(font);
}
