#include "operators/command.h"

#include "app/operators.h"
#include "app/settings.h"
#include "tests/app/settingsfiles.h"
#include "tests/linux/fulldisk.h"
#include "tests/operators/providersample.h"
#include "tests/support/testsettings.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

class OperatorsCommandTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_store = std::make_unique<TestSettings>();
        m_folder = std::make_unique<QTemporaryDir>();
        TestSettings::write(m_folder->filePath("providers.xml"), sampleXml);
    }

    void listInUse();
    void countries();
    void operatorsOfACountry();
    void wholeCountryIsSet();
    void severalCountriesAndOwnOnes();
    void addedToTheListInUse();
    void addedAnewReplaces();
    void removed();
    void builtInAgain();
    void exportedAndImported();
    void printedCountryCanBeImported();
    void presets();
    void chosenOperatorVanishes();
    void refused_data();
    void refused();
    void failed_data();
    void failed();
    void damagedProviders();
    void emptyProviders();
    void exportToAFullDisk();
    void settingsThatCannotBeWritten();
    void fullDisk();
    void help();
    void programWithoutALanguage();

private:
    int run(const QStringList &arguments)
    {
        QBuffer output;
        QBuffer errors;
        output.open(QIODevice::WriteOnly);
        errors.open(QIODevice::WriteOnly);
        const int result = runOperatorsCommand(
            QStringList{"tolvane-operators", "--providers", m_folder->filePath("providers.xml")} +
                arguments,
            &output, &errors);
        m_output = QString::fromUtf8(output.data());
        m_errors = QString::fromUtf8(errors.data());
        return result;
    }

    std::unique_ptr<TestSettings> m_store;
    std::unique_ptr<QTemporaryDir> m_folder;
    QString m_output;
    QString m_errors;
};

void OperatorsCommandTest::listInUse()
{
    QCOMPARE(run({"--list"}), 0);
    QCOMPARE(m_output, QString("Banglalink = blweb\nGrameenPhone = gpinternet\n"
                               "Robi (Aktel) = internet\nTeletalk = internet\nWarid = internet\n"));
    QCOMPARE(m_errors, QString());
    QVERIFY(!QFile::exists(m_store->userFile()));
}

void OperatorsCommandTest::countries()
{
    QCOMPARE(run({"--countries"}), 0);
    QVERIFY(m_output.contains("at  Austria\nbr  Brazil\nde  Germany\n") ||
            m_output.split('\n').contains("br  Brazil"));
    QCOMPARE(m_output.count('\n'), 3);
}

void OperatorsCommandTest::operatorsOfACountry()
{
    QCOMPARE(run({"--country", "br", "--list"}), 0);
    const QStringList lines = m_output.split('\n');
    QCOMPARE(lines.at(0), QString("# Brazil"));
    QVERIFY(lines.at(1).startsWith("#   contract. The network may ask for the name \"mo\""));
    QCOMPARE(lines.at(2), QString("Mono = mono.br"));
    QVERIFY(lines.at(3).startsWith("# Left out: 1 "));
    QVERIFY(!QFile::exists(m_store->userFile()));
    QCOMPARE(run({"--country", "at", "--list"}), 0);
    QCOMPARE(m_output, QString("# Austria\nMono = mono.at\n")); // nothing left out
}

void OperatorsCommandTest::wholeCountryIsSet()
{
    QCOMPARE(run({"--country", "DE", "--set"}), 0);
    QCOMPARE(m_output + m_errors, QString());
    QCOMPARE(MobileOperatorNames().size(), 6);
    QCOMPARE(MobileOperatorApn("Twelve & Co - Day"), QString("one.de"));
}

void OperatorsCommandTest::severalCountriesAndOwnOnes()
{
    QCOMPARE(run({"--country", "at", "--country", "br", "--set", "--add", "Own = own.net", "--add",
                  "A=B=c"}),
             0);
    QCOMPARE(
        MobileOperatorsMap(),
        QVariantMap(
            {{"A=B", "c"}, {"Mono", "mono.at"}, {"Mono (Brazil)", "mono.br"}, {"Own", "own.net"}}));
}

void OperatorsCommandTest::addedToTheListInUse()
{
    QCOMPARE(run({"--add", "Own=own.net", "--list"}), 0);
    QCOMPARE(MobileOperatorNames().size(), 6);
    QVERIFY(m_output.contains("Own = own.net\n"));
    QCOMPARE(run({"--add", "Own=other.net"}), 0);
    QCOMPARE(MobileOperatorApn("Own"), QString("other.net"));
}

void OperatorsCommandTest::addedAnewReplaces()
{
    QCOMPARE(run({"--set", "--add", "Own=own.net"}), 0);
    QCOMPARE(MobileOperatorsMap(), QVariantMap({{"Own", "own.net"}}));
}

void OperatorsCommandTest::removed()
{
    QCOMPARE(run({"--remove", "Warid", "--remove", "Teletalk"}), 0);
    QCOMPARE(MobileOperatorNames(), QStringList({"Banglalink", "GrameenPhone", "Robi (Aktel)"}));
}

void OperatorsCommandTest::builtInAgain()
{
    QCOMPARE(run({"--set", "--add", "Own=own.net"}), 0);
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Own");
    QCOMPARE(run({"--built-in"}), 0);
    QCOMPARE(m_errors, QString("tolvane-operators: \"Own\" is chosen in the main window, and the "
                               "list will not have it any more. \"Banglalink\" will be chosen "
                               "instead.\n"));
    QVERIFY(!QSettings().contains(settingskeys::MobileOperators));
}

void OperatorsCommandTest::exportedAndImported()
{
    const QString file = m_folder->filePath("list.txt");
    const QString name = QString::fromUtf8("#موبايلي \"1\" = x");
    QSettings().setValue(settingskeys::MobileOperators, QVariantMap{{name, "a"}, {"B", "b"}});
    QCOMPARE(run({"--export", file}), 0);
    QCOMPARE(contentOf(file), QString("\"%1\" = a\nB = b\n").arg(name).toUtf8());
    QCOMPARE(run({"--export", "-"}), 0);
    QCOMPARE(m_output.toUtf8(), contentOf(file));
    QCOMPARE(run({"--export", file, "--list"}), 0);
    QCOMPARE(m_output.toUtf8(), contentOf(file));
    QCOMPARE(run({"--export", "-", "--list"}), 0);
    QCOMPARE(m_output.toUtf8(), contentOf(file) + contentOf(file));
    QCOMPARE(run({"--built-in"}), 0);
    QCOMPARE(run({"--import", file, "--add", "C=c", "--remove", "B"}), 0);
    QCOMPARE(MobileOperatorsMap(), QVariantMap({{name, "a"}, {"C", "c"}}));
}

void OperatorsCommandTest::printedCountryCanBeImported()
{
    QCOMPARE(run({"--country", "de", "--list"}), 0);
    const QString file = m_folder->filePath("germany.txt");
    TestSettings::write(file, m_output.toUtf8());
    QCOMPARE(run({"--import", file}), 0);
    const QVariantMap imported = MobileOperatorsMap();
    QCOMPARE(run({"--country", "de", "--set"}), 0);
    QCOMPARE(imported, MobileOperatorsMap());
}

void OperatorsCommandTest::presets()
{
    QCOMPARE(run({"--system", "--country", "br", "--set"}), 0);
    QVERIFY(QFile::exists(m_store->systemFile()));
    QVERIFY(!QFile::exists(m_store->userFile()));
    QCOMPARE(MobileOperatorNames(), QStringList("Mono"));
    QCOMPARE(run({"--set", "--add", "Own=own"}), 0);
    QCOMPARE(run({"--system", "--list"}), 0);
    QCOMPARE(m_output, QString("Mono = mono.br\n"));
    QCOMPARE(run({"--system", "--built-in"}), 0);
    QCOMPARE(run({"--built-in"}), 0);
    QCOMPARE(MobileOperatorNames().size(), 5);
}

void OperatorsCommandTest::chosenOperatorVanishes()
{
    QSettings().setValue(settingskeys::CurrentMobileOperator, "Warid");
    QCOMPARE(run({"--country", "br", "--set"}), 0);
    QCOMPARE(m_errors, QString("tolvane-operators: \"Warid\" is chosen in the main window, and the "
                               "list will not have it any more. \"%1\" will be chosen instead.\n")
                           .arg(MobileOperatorNames().first()));
    QVERIFY(!QSettings().contains(settingskeys::CurrentMobileOperator));
    QCOMPARE(run({"--built-in"}), 0);
    QCOMPARE(m_errors, QString());
}

void OperatorsCommandTest::refused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("unknown option") << QStringList("--nothing") << "Unknown option 'nothing'.";
    QTest::newRow("argument") << QStringList({"--list", "de"}) << "\"de\" is no option.";
    QTest::newRow("nothing to do") << QStringList("--system") << "Nothing is to be done.";
    for (const QStringList &two :
         {QStringList({"--set", "--built-in"}), QStringList({"--set", "--import", "file"}),
          QStringList({"--import", "file", "--built-in"})})
        QTest::newRow(qPrintable("two beginnings: " + two.join(' ')))
            << two << "--set, --import and --built-in exclude each other.";
    for (const char *option : {"--add", "--remove"})
        QTest::addRow("built-in and %s", option)
            << QStringList({"--built-in", option, "A=a"})
            << "--built-in removes the list: nothing can be added or removed.";
    QTest::newRow("empty list") << QStringList("--set")
                                << "--set needs --country or --add: the list would be empty.";
    QTest::newRow("country alone")
        << QStringList({"--country", "de"}) << "--country needs --list or --set.";
    for (const QStringList &change :
         {QStringList({"--import", "file"}), QStringList({"--add", "A=a"}),
          QStringList({"--remove", "Warid"}), QStringList("--built-in"),
          QStringList({"--export", "file"})})
        QTest::newRow(qPrintable("country and " + change.first()))
            << QStringList({"--country", "de", "--list"}) + change
            << "--country with --list only prints what can be chosen there.";
    QTest::newRow("unknown country") << QStringList({"--country", "xx", "--set"})
                                     << "No operators of a country \"xx\" are known. --countries "
                                        "prints the countries.";
    QTest::newRow("no form") << QStringList({"--add", "Own"})
                             << "--add \"Own\": It is not of the form NAME = APN.";
    QTest::newRow("comment") << QStringList({"--add", "#Own=a"})
                             << "--add \"#Own=a\": It is not of the form NAME=APN.";
    QTest::newRow("bad access point")
        << QStringList({"--add", "Own=a b"})
        << "--add \"Own=a b\": An access point name has letters, digits, dots and hyphens, 100 at "
           "most, and no blanks.";
}

void OperatorsCommandTest::refused()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, message);
    QCOMPARE(run(arguments), int(CommandWrongUse));
    QCOMPARE(m_errors, "tolvane-operators: " + message + "\nTry \"tolvane-operators --help\".\n");
    QCOMPARE(m_output, QString());
    QVERIFY(!QFile::exists(m_store->userFile()));
}

void OperatorsCommandTest::failed_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("message");
    QTest::newRow("missing file") << QStringList({"--import", "/nowhere/list"})
                                  << "/nowhere/list cannot be read: No such file or directory";
    QTest::newRow("file that is no list")
        << QStringList({"--import", "/proc/version"})
        << "/proc/version is no list of operators. Line 1: It is not of the form NAME = APN.";
    QTest::newRow("empty import") << QStringList({"--import", "/dev/null"})
                                  << "The list would be empty. --built-in brings the built-in "
                                     "one back.";
    QTest::newRow("unknown operator")
        << QStringList({"--remove", "Nobody", "--list"}) << "The list has no operator \"Nobody\".";
    QTest::newRow("all removed") << QStringList({"--set", "--country", "at", "--remove", "Mono"})
                                 << "The list would be empty. --built-in brings the built-in one "
                                    "back.";
    QTest::newRow("export to nowhere") << QStringList({"--export", "/proc/list", "--list"})
                                       << "/proc/list cannot be written: No such file or directory";
    const QStringList none{"--providers", "/nowhere/providers"};
    const char noProviders[] = "The list of mobile operators cannot be read: /nowhere/providers";
    QTest::newRow("no providers, countries") << (none + QStringList{"--countries"}) << noProviders;
    QTest::newRow("no providers, list")
        << (none + QStringList{"--country", "at", "--list"}) << noProviders;
    QTest::newRow("no providers, set")
        << (none + QStringList{"--country", "at", "--set"}) << noProviders;
}

void OperatorsCommandTest::failed()
{
    QFETCH(const QStringList, arguments);
    QFETCH(const QString, message);
    QCOMPARE(run(arguments), int(CommandFailed));
    QCOMPARE(m_errors, "tolvane-operators: " + message + '\n');
    QCOMPARE(m_output, QString());
    QVERIFY(!QFile::exists(m_store->userFile()));
}

void OperatorsCommandTest::damagedProviders()
{
    TestSettings::write(m_folder->filePath("providers.xml"),
                        sampleXml.left(sampleXml.indexOf("<country code=\"at\">")));
    QCOMPARE(run({"--country", "br", "--set"}), 0);
    QVERIFY2(m_errors.startsWith("tolvane-operators: The list of mobile operators is damaged"),
             qPrintable(m_errors));
    QCOMPARE(MobileOperatorNames(), QStringList("Mono"));
    QFile::remove(m_folder->filePath("providers.xml"));
    QCOMPARE(run({"--country", "br", "--set"}), int(CommandFailed));
    QVERIFY(m_errors.startsWith("tolvane-operators: The list of mobile operators cannot be read"));
    // What needs no providers works all the same.
    QCOMPARE(run({"--add", "Own=own"}), 0);
}

void OperatorsCommandTest::emptyProviders()
{
    TestSettings::write(m_folder->filePath("providers.xml"), "<serviceproviders format=\"2.0\"/>");
    QCOMPARE(run({"--countries"}), int(CommandFailed));
    QCOMPARE(m_errors, QString("tolvane-operators: The list of mobile operators is empty.\n"));
}

void OperatorsCommandTest::exportToAFullDisk()
{
    const QString file = m_folder->filePath("list");
    TestSettings::write(file, "Old = old\n");
    {
        const FullDisk fullDisk;
        QCOMPARE(run({"--export", file}), int(CommandFailed));
    }
    QVERIFY2(m_errors.startsWith("tolvane-operators: " + file + " cannot be written: "),
             qPrintable(m_errors));
    QCOMPARE(contentOf(file), QByteArray("Old = old\n"));
}

void OperatorsCommandTest::settingsThatCannotBeWritten()
{
    QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, "/proc/settings");
    for (const QStringList &change : {QStringList({"--add", "A=a"}), QStringList("--built-in")}) {
        QCOMPARE(run(QStringList("--system") + change), int(CommandFailed));
        QVERIFY2(m_errors.startsWith("tolvane-operators: The settings cannot be written: /proc/"),
                 qPrintable(m_errors));
    }
}

/// The folder may be written, and nothing fits in it.
void OperatorsCommandTest::fullDisk()
{
    QProcess program;
    QProcessEnvironment environment;
    environment.insert("HOME", m_folder->path());
    // A program that counts its lines must not cut off what others have counted.
    environment.insert("GCOV_PREFIX", m_folder->path());
    program.setProcessEnvironment(environment);
    program.start("/bin/sh", {"-c", "trap '' XFSZ; ulimit -f 0; exec \"$0\" --set --add A=a",
                              QCoreApplication::applicationDirPath() + "/TolvaneOperators"});
    QVERIFY(program.waitForFinished());
    const QByteArray problem = program.readAllStandardError();
    QVERIFY2(problem.startsWith("tolvane-operators: The settings cannot be written: "),
             problem.constData());
    QCOMPARE(program.exitCode(), int(CommandFailed));
}

void OperatorsCommandTest::help()
{
    QCOMPARE(run({"--help"}), 0);
    QCOMPARE(m_output.section('\n', 1).simplified(), QString(R"(
Changes the list of mobile operators of Tolvane Modem Connector. Without options the
window "Tolvane Mobile Operators" opens.
Options:
--countries Print the codes and names of the countries.
--country <code> A country, by its two letters. May be given several times.
--list Print the list; with --country, the operators that can be chosen there.
--set Begin a new list; with --country, of all operators there.
--import <file> Take the list from a text file; "-" is the standard input.
--add <name=apn> Add an operator, or give it another access point.
--remove <name> Remove an operator.
--built-in Remove the list, so that the built-in one is in use again.
--export <file> Write the list to a text file; "-" is the standard output.
--system Work on the presets for everyone on this computer.
--providers <file> Read the world's operators from this file.
-h, --help Print this help.
--version Print the version.)")
                                                         .simplified());
    const QString help = m_output;
    QCOMPARE(run({"-h"}), 0);
    QCOMPARE(m_output, help);
    QCOMPARE(run({"--version"}), 0);
    QCOMPARE(m_output, "tolvane-operators " + QCoreApplication::applicationVersion() + '\n');
}

/// As a script that runs at night starts it: no language, no display.
void OperatorsCommandTest::programWithoutALanguage()
{
    QProcess program;
    QProcessEnvironment environment;
    environment.insert("LC_ALL", "C");
    environment.insert("HOME", m_folder->path());
    program.setProcessEnvironment(environment);
    const QString path = QCoreApplication::applicationDirPath() + "/TolvaneOperators";
    program.start(path, {"--set", "--add", QString::fromUtf8("Café موبايلي=apn"), "--list"});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.readAllStandardError(), QByteArray());
    QCOMPARE(program.exitCode(), 0);
    QCOMPARE(program.readAllStandardOutput(), QByteArray("Café موبايلي = apn\n"));
    program.start(path, {"--nothing"});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 2);
    program.start(path, {"--import", "-"});
    program.write("A = a\n");
    program.closeWriteChannel();
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.exitCode(), 0);
    program.start(path, {"--list"});
    QVERIFY(program.waitForFinished());
    QCOMPARE(program.readAllStandardOutput(), QByteArray("A = a\n"));
}

QTEST_GUILESS_MAIN(OperatorsCommandTest)
#include "operatorscommand_test.moc"
