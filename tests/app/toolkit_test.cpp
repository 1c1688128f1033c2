// What the toolkit is told before the application object is made.

#include "app/toolkit.h"

#include <QGuiApplication>
#include <QTest>

class ToolkitTest : public QObject
{
    Q_OBJECT

private slots:
    void openGlIsNotLoaded();
    void aUsersOwnChoiceStays();
    void formsGrow();
};

void ToolkitTest::openGlIsNotLoaded()
{
    qunsetenv("QT_XCB_GL_INTEGRATION");
    prepareToolkit();
    QCOMPARE(qgetenv("QT_XCB_GL_INTEGRATION"), QByteArray("none"));
}

void ToolkitTest::aUsersOwnChoiceStays()
{
    qputenv("QT_XCB_GL_INTEGRATION", "xcb_egl");
    prepareToolkit();
    QCOMPARE(qgetenv("QT_XCB_GL_INTEGRATION"), QByteArray("xcb_egl"));
}

void ToolkitTest::formsGrow()
{
    prepareToolkit();
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    QVERIFY(QCoreApplication::testAttribute(Qt::AA_EnableHighDpiScaling));
    QVERIFY(QCoreApplication::testAttribute(Qt::AA_UseHighDpiPixmaps));
    QVERIFY(QCoreApplication::testAttribute(Qt::AA_DisableWindowContextHelpButton));
#endif
    QCOMPARE(int(QGuiApplication::highDpiScaleFactorRoundingPolicy()),
             int(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough));
}

QTEST_APPLESS_MAIN(ToolkitTest)
#include "toolkit_test.moc"
