#include "app/formfont.h"
#include "tests/support/markingtranslator.h"
#include "ui_mainwindow.h"

#include <QComboBox>
#include <QFontInfo>
#include <QFontMetrics>
#include <QTemporaryDir>
#include <QTest>
#include <QTextDocument>

namespace {

struct TextRow {
    const char *object;
    const char *property;
    const char *text;
};

const TextRow texts[] = {
    {"MainWindow", "windowTitle", "Tolvane Modem Connector"},
    {"action_Connect", "text", "&Connect Now"},
    {"actionCreate_New_Connection", "text", "Create &New Connection"},
    {"actionExit", "text", "E&xit"},
    {"actionAbout", "text", "About"},
    {"actionCredits", "text", "Credits"},
    {"action_2", "text", "Disconnect"},
    {"action_Disconnect", "text", "&Disconnect"},
    {"connectButton", "text", "Connect\nNow"},
    {"disconnectButton", "text", "Disconnect"},
    {"pleaseWaitbutton", "text", "Please\nWait"},
    {"autoConnectLabel", "text", "Auto connecting in 10 seconds"},
    {"portCheckButton", "text", "Please Check\nMobile Connection"},
    {"menu_File", "title", "&File"},
    {"menuHelp", "title", "Help"},
};

struct ShortcutRow {
    const char *action;
    const char *shortcut;
};

const ShortcutRow shortcuts[] = {
    {"action_Connect", "Ctrl+C"},
    {"actionCreate_New_Connection", "Ctrl+N"},
    {"actionExit", ""},
    {"actionAbout", ""},
    {"actionCredits", ""},
    {"action_2", ""},
    {"action_Disconnect", "Ctrl+D"},
};

QStringList namedChildren(const QObject &parent)
{
    QStringList names;
    for (const QObject *child : parent.children()) {
        const QString name = child->objectName();
        // The toolkit's own helpers.
        if (!name.isEmpty() && !name.startsWith("qt_") && !name.startsWith('_'))
            names.append(name);
    }
    return names;
}

} // namespace

/// Stands in for the window's class: the form's own state, and what its
/// connections call.
class FormWindow : public QMainWindow
{
    Q_OBJECT

public:
    FormWindow() { ui.setupUi(this); }

    QObject *object(const char *name)
    {
        return objectName() == name ? this : findChild<QObject *>(name);
    }

    Ui::MainWindow ui;
    QStringList called;

public slots:
    void ShowCreateNewConnectionWizard() { called.append("ShowCreateNewConnectionWizard"); }
    void StartDialling() { called.append("StartDialling"); }
    void StopDialling() { called.append("StopDialling"); }
    void UpdateProgressBar() { called.append("UpdateProgressBar"); }
    void CheckDialupConnectionStatus() { called.append("CheckDialupConnectionStatus"); }
    void CheckPortAvailability() { called.append("CheckPortAvailability"); }
    void ShowCreditDialog() { called.append("ShowCreditDialog"); }
    void ShowAboutDialog() { called.append("ShowAboutDialog"); }

protected:
    void closeEvent(QCloseEvent *event) override
    {
        called.append("close");
        QMainWindow::closeEvent(event);
    }
};

class MainWindowFormTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase() { useFormFont(); }

    void members_data()
    {
        QTest::addColumn<QString>("className");
        QTest::addColumn<QString>("parent");
        QTest::addColumn<QRect>("geometry");
        const auto row = [](const char *name, const char *className, const char *parent,
                            const QRect &geometry = QRect()) {
            QTest::newRow(name) << QString(className) << QString(parent) << geometry;
        };
        for (const char *action : {"action_Connect", "actionCreate_New_Connection", "actionExit",
                                   "actionAbout", "actionCredits", "action_2", "action_Disconnect"})
            row(action, "QAction", "MainWindow");
        row("centralwidget", "QWidget", "MainWindow");
        row("connectionProgressBar", "QProgressBar", "centralwidget", {10, 130, 221, 23});
        row("connectButton", "QPushButton", "centralwidget", {250, 80, 91, 81});
        row("operatorComboBox", "QComboBox", "centralwidget", {10, 90, 221, 22});
        row("disconnectButton", "QPushButton", "centralwidget", {250, 80, 91, 81});
        row("pleaseWaitbutton", "QPushButton", "centralwidget", {250, 80, 91, 81});
        row("autoConnectLabel", "QLabel", "centralwidget", {40, 130, 151, 20});
        row("portCheckButton", "QPushButton", "centralwidget", {250, 80, 171, 81});
        row("label", "QLabel", "centralwidget", {20, 230, 301, 20});
        row("menuBar", "QMenuBar", "MainWindow", {0, 0, 522, 21});
        row("menu_File", "QMenu", "menuBar");
        row("menuHelp", "QMenu", "menuBar");
    }

    void members()
    {
        QFETCH(QString, className);
        QFETCH(QString, parent);
        QFETCH(QRect, geometry);
        FormWindow window;
        QObject *object = window.object(QTest::currentDataTag());
        QVERIFY(object);
        QCOMPARE(QString(object->metaObject()->className()), className);
        QCOMPARE(object->parent()->objectName(), parent);
        if (geometry.isValid())
            QCOMPARE(qobject_cast<QWidget *>(object)->geometry(), geometry);
        if (const auto *widget = qobject_cast<QWidget *>(object))
            QVERIFY(!widget->layout());
    }

    void orderOfCreation()
    {
        FormWindow window;
        QCOMPARE(namedChildren(window),
                 QStringList({"action_Connect", "actionCreate_New_Connection", "actionExit",
                              "actionAbout", "actionCredits", "action_2", "action_Disconnect",
                              "centralwidget", "menuBar"}));
        QCOMPARE(namedChildren(*window.ui.centralwidget),
                 QStringList({"connectionProgressBar", "connectButton", "operatorComboBox",
                              "disconnectButton", "pleaseWaitbutton", "autoConnectLabel",
                              "portCheckButton", "label"}));
        QCOMPARE(namedChildren(*window.ui.menuBar), QStringList({"menu_File", "menuHelp"}));
    }

    void windowProperties()
    {
        FormWindow window;
        QCOMPARE(window.objectName(), QString("MainWindow"));
        QCOMPARE(window.size(), QSize(522, 288));
        QCOMPARE(window.styleSheet(), QString(""));
        QCOMPARE(window.centralWidget(), window.ui.centralwidget);
        QCOMPARE(window.menuBar(), window.ui.menuBar);
    }

    void otherProperties()
    {
        FormWindow window;
        const QProgressBar *bar = window.ui.connectionProgressBar;
        QVERIFY(!bar->isTextVisible());
        QCOMPARE(bar->minimum(), 0);
        QCOMPARE(bar->maximum(), 100);
        QCOMPARE(bar->value(), -1);
        QCOMPARE(window.ui.operatorComboBox->count(), 0);
        QVERIFY(window.ui.label->openExternalLinks());
        for (const QPushButton *button : {window.ui.connectButton, window.ui.disconnectButton,
                                          window.ui.pleaseWaitbutton, window.ui.portCheckButton})
            QCOMPARE(button->styleSheet(), QString("font: 75 12pt \"MS Shell Dlg 2\";\n"));
        QCOMPARE(window.ui.autoConnectLabel->styleSheet(),
                 QString("body {font-family:'MS Shell Dlg 2'; font-size:8.25pt; font-weight:400; "
                         "font-style:normal;}\n"
                         "p{margin-top:0px; margin-bottom:0px; margin-left:0px; margin-right:0px; "
                         "-qt-block-indent:0; text-indent:0px;}\n"
                         "span{font-size:10pt; font-weight:600;}"));
    }

    void menus()
    {
        FormWindow window;
        const Ui::MainWindow &ui = window.ui;
        QCOMPARE(ui.menuBar->actions(),
                 QList<QAction *>({ui.menu_File->menuAction(), ui.menuHelp->menuAction()}));
        QCOMPARE(ui.menu_File->actions(),
                 QList<QAction *>({ui.action_Connect, ui.action_Disconnect,
                                   ui.actionCreate_New_Connection, ui.actionExit}));
        const QList<QAction *> help = ui.menuHelp->actions();
        QCOMPARE(help.size(), 3);
        QVERIFY(help.at(0)->isSeparator());
        QCOMPARE(help.mid(1), QList<QAction *>({ui.actionAbout, ui.actionCredits}));
    }

    void textRows()
    {
        FormWindow window;
        for (const TextRow &row : texts)
            QCOMPARE(window.object(row.object)->property(row.property).toString(),
                     QString(row.text));
        for (const ShortcutRow &row : shortcuts)
            QCOMPARE(window.findChild<QAction *>(row.action)->shortcut(),
                     QKeySequence(QString(row.shortcut)));
    }

    void retranslation()
    {
        FormWindow window;
        window.ui.autoConnectLabel->setText("Auto connecting in <b>3</b> seconds");
        MarkingTranslator translator;
        QCoreApplication::installTranslator(&translator);
        window.ui.retranslateUi(&window);
        QCoreApplication::removeTranslator(&translator);
        for (const TextRow &row : texts)
            QCOMPARE(window.object(row.object)->property(row.property).toString(),
                     QString("[MainWindow]") + row.text);
        QVERIFY(window.ui.label->text().startsWith("[MainWindow]"));
        for (const ShortcutRow &row : shortcuts)
            QCOMPARE(window.findChild<QAction *>(row.action)->shortcut(),
                     QKeySequence(QString(row.shortcut).replace("Ctrl", "Alt")));
        QCOMPARE(window.object("MainWindow")->metaObject()->className(), "FormWindow");
    }

    void footer()
    {
        FormWindow window;
        const QString html = window.ui.label->text();
        QVERIFY(html.startsWith("<!DOCTYPE HTML PUBLIC \"-//W3C//DTD HTML 4.0//EN\""));
        QVERIFY(html.contains("<meta name=\"qrichtext\" content=\"1\" />"));
        QVERIFY(html.contains("font-family:'MS Shell Dlg 2'; font-size:8.25pt; font-weight:400;"));
        QVERIFY(html.contains("font-size:8pt; font-style:italic;\">Developed by </span>"));
        QVERIFY(html.contains("<a href=\"https://www.brantiq.example/\"><span style=\" "
                              "font-size:8pt; text-decoration: underline; color:#0000ff;\">"
                              "Brantiq Developer Network</span></a>"));
        QVERIFY(html.contains("<span style=\" font-size:8pt;\"> for </span>"));
        QVERIFY(html.contains("<a href=\"https://www.tolvane.example/\"><span style=\" "
                              "text-decoration: underline; color:#0000ff;\">Tolvane</span></a>"));
        QTextDocument document;
        document.setHtml(html);
        QCOMPARE(document.blockCount(), 1);
        QCOMPARE(document.toPlainText(), QString("Developed by Brantiq Developer Network for "
                                                 "Tolvane"));
    }

    void connections_data()
    {
        QTest::addColumn<QString>("slot");
        QTest::newRow("connectButton") << "StartDialling";
        QTest::newRow("disconnectButton") << "StopDialling";
        QTest::newRow("action_Connect") << "StartDialling";
        QTest::newRow("action_Disconnect") << "StopDialling";
        QTest::newRow("actionCreate_New_Connection") << "ShowCreateNewConnectionWizard";
        QTest::newRow("portCheckButton") << "CheckPortAvailability";
        QTest::newRow("actionExit") << "close";
        QTest::newRow("actionCredits") << "ShowCreditDialog";
        QTest::newRow("actionAbout") << "ShowAboutDialog";
        QTest::newRow("pleaseWaitbutton") << "";
        QTest::newRow("action_2") << "";
    }

    void connections()
    {
        QFETCH(QString, slot);
        FormWindow window;
        window.show();
        QObject *sender = window.object(QTest::currentDataTag());
        if (auto *button = qobject_cast<QPushButton *>(sender)) {
            QVERIFY(button->isEnabled());
            button->click();
        } else {
            qobject_cast<QAction *>(sender)->trigger();
        }
        QCOMPARE(window.called, slot.isEmpty() ? QStringList() : QStringList(slot));
    }

    void everythingIsVisibleAtFirst()
    {
        FormWindow window;
        for (const QWidget *widget : window.ui.centralwidget->findChildren<QWidget *>()) {
            if (!widget->objectName().isEmpty() && !widget->objectName().startsWith("qt_") &&
                widget->parentWidget() == window.ui.centralwidget)
                QVERIFY2(!widget->isHidden(), qPrintable(widget->objectName()));
        }
        for (const ShortcutRow &row : shortcuts)
            QVERIFY(window.findChild<QAction *>(row.action)->isVisible());
        window.show();
        for (const QPushButton *button : {window.ui.connectButton, window.ui.disconnectButton,
                                          window.ui.pleaseWaitbutton, window.ui.portCheckButton})
            QVERIFY(button->isVisible());
    }

    /// The form names its icon relative to the working directory; a missing
    /// file is no error.
    void icon()
    {
        const QString before = QDir::currentPath();
        QTemporaryDir dir;
        QDir::setCurrent(dir.path());
        {
            FormWindow window;
            QVERIFY(window.windowIcon().availableSizes().isEmpty());
        }
        QVERIFY(QFile::copy(QString(ICON_FILE), dir.filePath("48x48.ico")));
        {
            FormWindow window;
            const QList<QSize> sizes = window.windowIcon().availableSizes();
            for (const int size : {16, 24, 32, 48})
                QVERIFY(sizes.contains(QSize(size, size)));
            QCOMPARE(sizes.size(), 4);
        }
        QDir::setCurrent(before);
    }

    void tabOrderAndNames()
    {
        FormWindow window;
        const QStringList expected{"operatorComboBox", "connectButton",   "disconnectButton",
                                   "pleaseWaitbutton", "portCheckButton", "label"};
        QStringList order;
        const QWidget *widget = window.ui.operatorComboBox;
        do {
            if (expected.contains(widget->objectName()))
                order.append(widget->objectName());
            widget = widget->nextInFocusChain();
        } while (widget != window.ui.operatorComboBox);
        QCOMPARE(order, expected);
        for (const QWidget *control : std::initializer_list<const QWidget *>{
                 window.ui.operatorComboBox, window.ui.connectButton, window.ui.disconnectButton,
                 window.ui.pleaseWaitbutton, window.ui.portCheckButton,
                 window.ui.connectionProgressBar})
            QVERIFY2(!control->accessibleName().isEmpty(), qPrintable(control->objectName()));
        QVERIFY(window.ui.label->focusPolicy() & Qt::TabFocus);
    }

    /// The geometry is fixed, so the font has to be narrow enough.
    void textsFit()
    {
        const QString family =
            QString(" is cut in %1. Is the font that the package depends on missing?")
                .arg(QFontInfo(QFont("MS Shell Dlg 2")).family());
        const auto cut = [&family](const QString &text) { return text + family; };
        FormWindow window;
        window.show();
        for (const QString &text : {QString("Auto connecting in 10 seconds"),
                                    QString("Auto connecting in <b>10</b> seconds"),
                                    QString("Auto connecting in <b>8</b> seconds")}) {
            window.ui.autoConnectLabel->setText(text);
            QVERIFY2(window.ui.autoConnectLabel->sizeHint().width() <= 151, qPrintable(cut(text)));
            QVERIFY(window.ui.autoConnectLabel->sizeHint().height() <= 20);
        }
        QVERIFY2(window.ui.label->sizeHint().width() <= 301, qPrintable(cut("The footer")));
        QVERIFY(window.ui.label->sizeHint().height() <= 20);
        for (const QPushButton *button : {window.ui.connectButton, window.ui.disconnectButton,
                                          window.ui.pleaseWaitbutton, window.ui.portCheckButton}) {
            const QSize text =
                QFontMetrics(button->font()).size(Qt::TextShowMnemonic, button->text());
            QVERIFY2(text.width() + 6 <= button->width(), qPrintable(cut(button->text())));
            QVERIFY2(text.height() + 6 <= button->height(), qPrintable(cut(button->text())));
        }
        window.ui.operatorComboBox->addItem("GrameenPhone");
        QVERIFY(window.ui.operatorComboBox->sizeHint().width() <= 221);
    }
};

QTEST_MAIN(MainWindowFormTest)
#include "mainwindow_form_test.moc"
