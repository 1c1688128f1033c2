#include "platform/setupapi.h"
#include "platform/standin/guid.h"
#include "platform/standin/inffile.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QTest>

using namespace platform;

namespace {

const char modemInf[] = "; A modem package\r\n"
                        "[version]\r\n"
                        "SIGNATURE = \"$Windows NT$\" ; with a remark\r\n"
                        "Class=Modem\r\n"
                        "ClassGUID={4D36E96D-E325-11CE-BFC1-08002BE10318}\r\n"
                        "Provider=%Maker%\r\n"
                        "\r\n"
                        "[Manufacturer]\r\n"
                        "%Maker% = Models, NTamd64, NTx86.6.1\r\n"
                        "[Models]\r\n"
                        "%Modem% = Install, plainmodem\r\n"
                        "[Models.NTamd64]\r\n"
                        "%Modem% = Install64, gprsmodem, \\ ; two ids\r\n"
                        "    compatible1\r\n"
                        "\"The \"\"other\"\", 50%% one; really\" = Install64, %Id%\r\n"
                        "[Models.NTx86.6.1]\r\n"
                        "%Unknown% = Install86,x86modem\r\n"
                        "[Strings]\r\n"
                        "maker = \"Maker, Inc.\"\r\n"
                        "MODEM = \"GPRS Modem\"\r\n"
                        "Id=othermodem";

InfFile parsed(const QByteArray &content)
{
    QString error;
    const auto inf = InfFile::parse(content, &error);
    if (!inf)
        qFatal("%s", qPrintable(error));
    return *inf;
}

} // namespace

class InfFileTest : public QObject
{
    Q_OBJECT

private slots:
    void readsTheVersion()
    {
        const InfFile inf = parsed(modemInf);
        QCOMPARE(inf.className(), QString("Modem"));
        QCOMPARE(inf.provider(), QString("Maker, Inc."));
        QVERIFY(inf.classGuid().has_value());
        QCOMPARE(guidText(*inf.classGuid()), QString("{4D36E96D-E325-11CE-BFC1-08002BE10318}"));
    }

    void readsModels()
    {
        const InfFile inf = parsed(modemInf);
        const QList<InfModel> plain = inf.models(QString());
        QCOMPARE(plain.size(), 1);
        QCOMPARE(plain.first().hardwareIds, QStringList("plainmodem"));
        const QList<InfModel> amd64 = inf.models("ntAMD64");
        QCOMPARE(amd64.size(), 2);
        QCOMPARE(amd64.at(0).description, QString("GPRS Modem"));
        QCOMPARE(amd64.at(0).manufacturer, QString("Maker, Inc."));
        QCOMPARE(amd64.at(0).installSection, QString("Install64"));
        QCOMPARE(amd64.at(0).hardwareIds, QStringList({"gprsmodem", "compatible1"}));
        QCOMPARE(amd64.at(1).description, QString("The \"other\", 50% one; really"));
        QCOMPARE(amd64.at(1).hardwareIds, QStringList("othermodem"));
        const QList<InfModel> x86 = inf.models("NTx86");
        QCOMPARE(x86.size(), 1);
        QCOMPARE(x86.at(0).description, QString("%Unknown%"));
        QVERIFY(inf.models("NTia64").isEmpty());
    }

    void aModelWithoutAnIdIsNone()
    {
        const InfFile inf = parsed("[Version]\nSignature=\"$CHICAGO$\"\n"
                                   "[Manufacturer]\nMaker=Models\n"
                                   "[Models]\nOne=Install\nTwo=Install,two\nThree\n");
        QCOMPARE(inf.models(QString()).size(), 1);
        QCOMPARE(inf.models(QString()).first().description, QString("Two"));
    }

    void readsEveryEncoding()
    {
        const QByteArray utf8 = QByteArray(modemInf).replace("GPRS", "Gerät");
        QByteArray utf16 = "\xFF\xFE";
        for (const QChar c : QString::fromUtf8(utf8)) {
            utf16 += char(c.unicode() & 0xFF);
            utf16 += char(c.unicode() >> 8);
        }
        const QByteArray contents[] = {utf8, "\xEF\xBB\xBF" + utf8, utf16,
                                       QString::fromUtf8(utf8).toLatin1()};
        for (const QByteArray &content : contents) {
            const InfFile inf = parsed(content);
            QCOMPARE(inf.models("NTamd64").at(0).description, QString::fromUtf8("Gerät Modem"));
        }
    }

    void joinsSectionsOfOneName()
    {
        const InfFile inf = parsed("[Version]\nSignature=\"$CHICAGO$\"\n[ VERSION ]\nClass=Ports");
        QCOMPARE(inf.className(), QString("Ports"));
        QVERIFY(!inf.classGuid().has_value());
        QVERIFY(inf.models(QString()).isEmpty());
    }

    void refusesWhatIsNoInf_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("reason");
        QTest::newRow("empty") << QByteArray() << "Signature";
        QTest::newRow("prose") << QByteArray("Dear reader,\nthis is a letter.") << "line 1";
        QTest::newRow("binary") << QByteArray("\x7F"
                                              "ELF\x02\x01\x00\x00",
                                              8)
                                << "binary";
        QTest::newRow("zeros") << QByteArray(1000, '\0') << "binary";
        QTest::newRow("open section") << QByteArray("[Version]\n[Models\nx=y") << "line 2";
        QTest::newRow("no signature") << QByteArray("[Version]\nClass=Modem\n") << "Signature";
        QTest::newRow("foreign ini")
            << QByteArray("[Version]\nSignature=\"something\"\n") << "Signature";
        QTest::newRow("open quote") << QByteArray("[Version]\nSignature=\"$Windows NT$\n") << "";
        QTest::newRow("continued to the end") << QByteArray("[Version]\nSignature=\\") << "Sign";
        QTest::newRow("half a character") << QByteArray("\xFF\xFE[") << "Signature";
    }

    void refusesWhatIsNoInf()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, reason);
        QString error;
        const auto inf = InfFile::parse(content, &error);
        // A quote that is never closed ends with its line, as on Windows.
        QCOMPARE(inf.has_value(), reason.isEmpty());
        QVERIFY2(error.contains(reason), qPrintable(error));
    }

    void survivesRandomBytes()
    {
        QRandomGenerator random(20240229);
        for (int round = 0; round < 300; ++round) {
            QByteArray content = round % 2 ? QByteArray(modemInf) : QByteArray();
            for (int i = 0; i < 60; ++i) {
                const int at = content.isEmpty() ? 0 : random.bounded(content.size());
                content.insert(at, char(random.bounded(1, 256)));
            }
            QString error;
            const auto inf = InfFile::parse(content, &error);
            QVERIFY(inf.has_value() || !error.isEmpty());
            if (inf)
                inf->models("NTamd64");
        }
    }

    void namesTheFileInErrors()
    {
        QTemporaryDir dir;
        QString error;
        const QString missing = dir.filePath("missing.inf");
        QVERIFY(!InfFile::read(missing, &error).has_value());
        QVERIFY(error.startsWith(missing));
        QFile file(dir.filePath("bad.inf"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("nonsense");
        file.close();
        QVERIFY(!InfFile::read(file.fileName(), &error).has_value());
        QVERIFY(error.startsWith(file.fileName()));
        QVERIFY(file.resize(5 * 1024 * 1024));
        QVERIFY(!InfFile::read(file.fileName(), &error).has_value());
        QVERIFY(error.contains("too large"));
    }

    void writesAndReadsGuids()
    {
        QCOMPARE(guidText(PortsClassGuid), QString("{4D36E978-E325-11CE-BFC1-08002BE10318}"));
        const auto guid = guidFromText("{4d36e978-e325-11ce-bfc1-08002be10318}");
        QVERIFY(guid.has_value());
        QVERIFY(*guid == PortsClassGuid);
        QVERIFY(!guidFromText(QString()).has_value());
        QVERIFY(!guidFromText("{4d36e978-e325-11ce-bfc1}").has_value());
        QVERIFY(!guidFromText("4d36e978-e325-11ce-bfc1-08002be10318").has_value());
    }
};

QTEST_GUILESS_MAIN(InfFileTest)
#include "inffile_test.moc"
