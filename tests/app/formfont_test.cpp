#include "app/formfont.h"

#include <QTest>

namespace {

const char formFamily[] = "MS Shell Dlg 2";
constexpr int NotStretched = QFont::AnyStretch;
constexpr int Narrower = 84;

} // namespace

class FormFontTest : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { QFont::removeSubstitutions(formFamily); }

    void familyAndSize();
    void substitute_data();
    void substitute();
};

void FormFontTest::familyAndSize()
{
    const QFont font = formFont({});
    QCOMPARE(font.family(), QString(formFamily));
    QCOMPARE(font.pointSizeF(), 8.25);
}

void FormFontTest::substitute_data()
{
    QTest::addColumn<QStringList>("installed");
    QTest::addColumn<QString>("substitute"); // empty when there is none
    QTest::addColumn<int>("stretch");        // percent
    const auto row = [](const char *name, const QStringList &installed, const QString &substitute,
                        int stretch) { QTest::newRow(name) << installed << substitute << stretch; };
    row("the font itself", {"Tahoma", formFamily}, {}, NotStretched);
    row("nothing", {}, {}, Narrower);
    row("only wide ones", {"DejaVu Sans", "Noto Sans"}, {}, Narrower);
    for (const char *family :
         {"Tahoma", "Liberation Sans", "Arial", "FreeSans", "Nimbus Sans", "DejaVu Sans Condensed"})
        row(family, {"DejaVu Sans", family}, family, NotStretched);
    row("all, in another order",
        {"Arial", "DejaVu Sans Condensed", "FreeSans", "Liberation Sans", "Nimbus Sans", "Tahoma"},
        "Tahoma", NotStretched);
    row("all but the first", {"Arial", "DejaVu Sans Condensed", "Liberation Sans"},
        "Liberation Sans", NotStretched);
    row("all but the first two", {"FreeSans", "Arial", "Nimbus Sans"}, "Arial", NotStretched);
    row("all but the first three", {"Nimbus Sans", "FreeSans"}, "FreeSans", NotStretched);
    row("the last two", {"DejaVu Sans Condensed", "Nimbus Sans"}, "Nimbus Sans", NotStretched);
    row("two makers' fonts", {"Nimbus Sans [UKWN]", "Nimbus Sans [URW ]"}, "Nimbus Sans",
        NotStretched);
    row("the font itself, of a maker", {"MS Shell Dlg 2 [Adobe]", "Arial"}, {}, NotStretched);
    row("names that only begin so", {"Nimbus Sans Narrow", "Arial Black"}, {}, Narrower);
    row("another case", {"tahoma"}, {}, Narrower);
}

void FormFontTest::substitute()
{
    QFETCH(const QStringList, installed);
    QFETCH(const QString, substitute);
    QFETCH(const int, stretch);
    const QFont font = formFont(installed);
    QCOMPARE(QFont::substitutes(formFamily).join(", ").toLower(), substitute.toLower());
    QCOMPARE(font.stretch(), stretch);
}

QTEST_MAIN(FormFontTest)
#include "formfont_test.moc"
