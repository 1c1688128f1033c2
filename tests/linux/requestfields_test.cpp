#include "tests/linux/servicefixture.h"

#include "platform/linux/helper/requests.h"
#include "platform/linux/helper/service.h"
#include "platform/text.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

using namespace platform;
using namespace platform::linuxsystem;

#ifdef __SANITIZE_ADDRESS__
#include <sanitizer/lsan_interface.h>
/// Qt 5's reader of JSON forgets a list or an object that comes twice.
using KnownLeaks = __lsan::ScopedDisabler;
#else
struct KnownLeaks {
    KnownLeaks() {}
};
#endif

namespace {

/// A value's place in a request: names of fields and places in lists.
using Place = QList<QVariant>;

/// The value with another one at that place; taken out of its object or list for an
/// undefined one.
QJsonValue changed(const QJsonValue &value, const Place &place, const QJsonValue &other)
{
    if (place.isEmpty())
        return other;
    const Place rest = place.mid(1);
    const bool isTakenOut = rest.isEmpty() && other.isUndefined();
    if (value.isObject()) {
        QJsonObject object = value.toObject();
        const QString field = place.first().toString();
        if (isTakenOut)
            object.remove(field);
        else
            object.insert(field, changed(object.value(field), rest, other));
        return object;
    }
    QJsonArray array = value.toArray();
    const int index = place.first().toInt();
    if (isTakenOut)
        array.removeAt(index);
    else
        array.replace(index, changed(array.at(index), rest, other));
    return array;
}

/// Calls the function for a value and all that are in it.
void forEach(const QJsonValue &value, const Place &place,
             const std::function<void(const Place &, const QJsonValue &)> &function)
{
    function(place, value);
    const QJsonObject object = value.toObject();
    for (const QString &field : object.keys())
        forEach(object.value(field), place + Place{field}, function);
    const QJsonArray array = value.toArray();
    for (int index = 0; index < array.size(); ++index)
        forEach(array.at(index), place + Place{index}, function);
}

/// What a field of any kind may be instead.
QList<QJsonValue> otherValues()
{
    QList<QJsonValue> values = {
        QJsonValue(),  QJsonValue(QJsonValue::Undefined),
        true,          false,
        QJsonArray(),  QJsonArray{QJsonArray{"a", 1}, QJsonObject()},
        QJsonObject(), QJsonObject{{"devices", QJsonArray{1, 2}}, {"nextDevInst", -5}},
    };
    for (const double number :
         {0.0,          -0.0,         -1.0,         0.5,
          1.0,          2.5,          7.0,          1001.0,
          65536.0,      1000001.0,    2147483647.0, 2147483648.0,
          4294967295.0, 4294967296.0, 4294967298.0, 9007199254740993.0,
          1e19,         -1e19,        1e308,        std::numeric_limits<double>::min()})
        values += number;
    return values;
}

/// Characters that have a meaning somewhere, or are seen as something else.
QStringList specialCharacters()
{
    QStringList characters;
    for (int code = 0; code < 0xA0; ++code) {
        if (code < 0x20 || code >= 0x7F)
            characters += QString(QChar(code));
    }
    for (const char character : {'"', '\'', '\\', '/', ' ', ';', '|', '&', '$', '`', '%', '@', ':',
                                 '=', '#',  '*',  '?', '~', '<', '>', '(', '{', '[', '.', ',', '-'})
        characters += QString(QLatin1Char(character));
    for (const ushort code :
         {0x00A0, 0x00AD, 0x061C, 0x200B, 0x200D, 0x200E, 0x200F, 0x2028, 0x2029,
          0x202A, 0x202B, 0x202C, 0x202D, 0x202E, 0x2060, 0x2066, 0x2067, 0x2068,
          0x2069, 0xFEFF, 0xFFF9, 0xD800, 0xDFFF, 0xFFFF, 0x0661, 0xFF0F})
        characters += QString(QChar(code));
    for (const uint code : {0xE0001U, 0x1D173U, 0x1F4F1U}) {
        characters +=
            QString(QChar(QChar::highSurrogate(code))) + QString(QChar(QChar::lowSurrogate(code)));
    }
    return characters;
}

/// What a text may be instead.
QStringList otherTexts(const QString &text)
{
    QStringList texts = {QString(),
                         " ",
                         ".",
                         "..",
                         "../../../../etc/passwd",
                         "/etc/passwd",
                         "/dev/pts/0",
                         "/dev/../dev/rfcomm7",
                         "a\nplugin /tmp/evil.so\n",
                         "a\r\nconnect /bin/sh",
                         "\"; rm -rf / #",
                         "$(reboot)`reboot`",
                         "%s%n%x",
                         "tolvane-TolvaneModem_1",
                         "tolvane-TolvaneModem_1@1001",
                         "COM999999",
                         "Tolvane GPRS Modem"};
    for (const QString &character : specialCharacters())
        texts += QStringList{character + text,
                             text.left(text.size() / 2) + character + text.mid(text.size() / 2),
                             text + character};
    for (const int length : {1,   2,   31,  32,  80,  81,  128,  129,   190,   200,
                             201, 240, 256, 257, 260, 261, 1000, 65535, 65536, 140000})
        texts +=
            QStringList{QString(length, 'x'), QString(length, '1'), text + QString(length, 'x')};
    return texts;
}

} // namespace

/// Every field of every request with every kind of value. Whatever is refused must
/// have changed nothing, and whatever is done must leave the machine as the program
/// itself could have made it. Run under umockdev-wrapper.
class RequestFieldsTest : public QObject, private ServiceFixture
{
    Q_OBJECT

private slots:
    void init()
    {
        prepare();
        put("drivers/InstallDriver", "#!/bin/sh\n"); // changes nothing later on
    }
    void cleanup() { endMachine(); }

    void theRequestsAreGood();
    void eachRoleMayOnlyItsOwn();
    void eachFieldIsChecked_data();
    void eachFieldIsChecked();
    void eachFieldIsNeededAndNoOther_data() { eachFieldIsChecked_data(); }
    void eachFieldIsNeededAndNoOther();
    void fieldsThatComeTwice_data() { eachFieldIsChecked_data(); }
    void fieldsThatComeTwice();
    void otherFormsOfARequestAreNone_data();
    void otherFormsOfARequestAreNone();
    void aPartOfARequestIsNone();
    void eachPartOfARecordIsChecked();
    void requestsChangedAtRandom();

private:
    /// Asks in every role; what is wrong with the outcome.
    QString outcome(const ServiceFixture::Good &good, const QJsonObject &request);
    static bool isOwnDial(const QJsonObject &request)
    {
        static const QRegularExpression number("\\A[0-9*#+,A-DPTWa-dptw]{1,80}\\z");
        return request.value("entry") == ownEntry && request.value("device") == line &&
               number.match(request.value("number").toString()).hasMatch();
    }
    int m_refused = 0;
    int m_done = 0;
};

QString RequestFieldsTest::outcome(const ServiceFixture::Good &good, const QJsonObject &request)
{
    const QMap<QString, QByteArray> before = files();
    for (const Role role : {Role::SetUp, Role::Connect, Role::EndOthers}) {
        const DWORD code = answer(role, request);
        if (code == Success && role != good.role)
            return "done for a role that may not";
        m_refused += code == Success ? 0 : 1;
        if (code != Success && files() != before)
            return QString("refused with %1, and yet something has changed").arg(code);
        if (code != Success)
            continue;
        ++m_done;
        if (Service::isDial(request) && !isOwnDial(request))
            return "dialled something else, or on another line";
        const QString what = harm();
        if (!what.isEmpty())
            return what;
        restore(before);
        if (files() != before)
            return "the machine cannot be made as it was";
    }
    return {};
}

void RequestFieldsTest::theRequestsAreGood()
{
    const QMap<QString, QByteArray> before = files();
    for (const Good &good : goodRequests()) {
        const DWORD code = answer(good.role, good.request);
        const bool isHangUp = good.request.value("do") == "hang-up"; // of no link
        QCOMPARE(code, isHangUp ? DWORD(ErrorInvalidHandle) : DWORD(Success));
        QCOMPARE(harm(), QString());
        restore(before);
    }
}

void RequestFieldsTest::eachRoleMayOnlyItsOwn()
{
    QList<Good> all = goodRequests();
    all += Good{Role::SetUp, rescanRequest()};
    const QMap<QString, QByteArray> before = files();
    for (const Good &good : all) {
        for (const Role role : {Role::SetUp, Role::Connect, Role::EndOthers}) {
            const bool isItsOwn = std::any_of(all.begin(), all.end(), [&](const Good &each) {
                return each.role == role && each.request == good.request;
            });
            if (!isItsOwn)
                QCOMPARE(answer(role, good.request), DWORD(ErrorAccessDenied));
        }
    }
    QVERIFY(files() == before);
}

void RequestFieldsTest::eachFieldIsChecked_data()
{
    QTest::addColumn<int>("number");
    const QList<Good> all = goodRequests();
    for (int number = 0; number < all.size(); ++number) {
        const QString name = all.at(number).request.value("do").toString();
        QTest::newRow(qPrintable(name + ' ' + wordOf(all.at(number).role))) << number;
    }
}

void RequestFieldsTest::eachFieldIsChecked()
{
    QFETCH(int, number);
    const Good good = goodRequests().at(number);
    m_refused = 0;
    int tried = 0;
    QString wrong;
    forEach(good.request, {}, [&](const Place &place, const QJsonValue &value) {
        QList<QJsonValue> others = otherValues();
        if (value.isString()) {
            for (const QString &text : otherTexts(value.toString()))
                others += text;
        }
        for (const QJsonValue &other : std::as_const(others)) {
            if (!wrong.isEmpty() || place.isEmpty())
                return;
            const QJsonObject request = changed(good.request, place, other).toObject();
            const QString what = outcome(good, request);
            ++tried;
            if (!what.isEmpty()) {
                wrong =
                    what + ": " + QJsonDocument(request).toJson(QJsonDocument::Compact).left(1000);
            }
        }
    });
    QVERIFY2(wrong.isEmpty(), qPrintable(wrong));
    // A field of its own that takes most of it is none that is checked.
    QVERIFY2(tried >= otherValues().size() && m_refused > 2 * tried,
             qPrintable(QString("%1 of %2").arg(m_refused).arg(tried)));
}

void RequestFieldsTest::eachFieldIsNeededAndNoOther()
{
    QFETCH(int, number);
    const Good good = goodRequests().at(number);
    const QMap<QString, QByteArray> before = files();
    QList<QJsonObject> requests;
    forEach(good.request, {}, [&](const Place &place, const QJsonValue &value) {
        // A driver key need not be there, and has any values.
        const bool isField = !place.isEmpty() && place.last().userType() == QMetaType::QString;
        if (isField && place.last() != "driverKey" && place.value(place.size() - 2) != "driverKey")
            requests += changed(good.request, place, QJsonValue::Undefined).toObject();
        if (value.isObject() && (place.isEmpty() || place.last() != "driverKey"))
            requests += changed(good.request, place + Place{"more"}, "x").toObject();
    });
    QVERIFY(!requests.isEmpty());
    for (const QJsonObject &request : std::as_const(requests)) {
        const QByteArray text = QJsonDocument(request).toJson(QJsonDocument::Compact);
        QVERIFY2(answer(good.role, request) == ErrorInvalidParameter, text.constData());
        QVERIFY2(files() == before, text.constData());
    }
}

/// Which one of two counts is nobody's choice.
void RequestFieldsTest::fieldsThatComeTwice()
{
    QFETCH(int, number);
    const Good good = goodRequests().at(number);
    const QByteArray text = toLine(good.request).trimmed();
    QCOMPARE(requestFromLine(text).value_or(QJsonObject()), good.request);
    for (const QString &field : good.request.keys()) {
        for (const QJsonValue &other : {QJsonValue("/etc/passwd"), QJsonValue(-1),
                                        QJsonValue(QJsonArray()), good.request.value(field)}) {
            const QByteArray more = toLine({{field, other}}).trimmed();
            const KnownLeaks ofTheReader;
            QVERIFY(!requestFromLine(more.left(more.size() - 1) + ',' + text.mid(1)));
            QVERIFY(!requestFromLine(text.left(text.size() - 1) + ',' + more.mid(1)));
        }
    }
}

/// One request has one form.
void RequestFieldsTest::otherFormsOfARequestAreNone_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::newRow("blanks") << QByteArray("{\"do\":\"hang-up\", \"process\":1}");
    QTest::newRow("blank at the end") << QByteArray("{\"do\":\"hang-up\",\"process\":1} ");
    QTest::newRow("return") << QByteArray("{\"do\":\"hang-up\",\"process\":1}\r");
    QTest::newRow("order") << QByteArray("{\"process\":1,\"do\":\"hang-up\"}");
    QTest::newRow("fraction") << QByteArray("{\"do\":\"hang-up\",\"process\":1.0}");
    QTest::newRow("exponent") << QByteArray("{\"do\":\"hang-up\",\"process\":1e0}");
    QTest::newRow("rounded") << QByteArray(
        "{\"do\":\"hang-up\",\"process\":1.00000000000000000001}");
    QTest::newRow("escape") << QByteArray("{\"do\":\"hang\\u002dup\",\"process\":1}");
    QTest::newRow("two") << QByteArray("{\"do\":\"hang-up\",\"process\":1}{}");
}

void RequestFieldsTest::otherFormsOfARequestAreNone()
{
    QFETCH(QByteArray, text);
    QVERIFY(requestFromLine(toLine(hangUpRequest(1)).trimmed()));
    QVERIFY(!requestFromLine(text));
}

void RequestFieldsTest::aPartOfARequestIsNone()
{
    for (const Good &good : goodRequests()) {
        const QByteArray text = toLine(good.request).trimmed();
        QVERIFY(requestFromLine(text));
        for (int length = 0; length < text.size(); ++length) {
            QVERIFY2(!requestFromLine(text.left(length)), text.left(length).constData());
            if (length > 0)
                QVERIFY2(!requestFromLine(text.mid(length)), text.mid(length).constData());
        }
    }
}

/// The record comes as bytes: its texts may hold anything, and have no end.
void RequestFieldsTest::eachPartOfARecordIsChecked()
{
    const Good good{Role::SetUp, writeEntryRequest("TolvaneModem 2", entryRecord())};
    const auto tryRecord = [&](const RasEntry &entry) {
        const QByteArray bytes(reinterpret_cast<const char *>(&entry), sizeof entry);
        return outcome(good, with(good.request, "record", QString::fromLatin1(bytes.toBase64())));
    };
    m_refused = 0;
    m_done = 0;
    for (const ushort code :
         {0x0A, 0x0D, 0x20, 0x22, 0x27, 0x5C, 0x24, 0x3B, 0x202E, 0x0661, 0xD800, 0x0131}) {
        for (const int at : {0, 1, 3, 79, 127, 128}) {
            RasEntry entry = entryRecord();
            std::fill(std::begin(entry.szLocalPhoneNumber),
                      std::begin(entry.szLocalPhoneNumber) + at, WCHAR{'1'});
            entry.szLocalPhoneNumber[at] = code;
            QCOMPARE(tryRecord(entry), QString());
            entry = entryRecord();
            entry.szDeviceName[at] = code;
            QCOMPARE(tryRecord(entry), QString());
        }
    }
    RasEntry endless = entryRecord();
    std::fill(std::begin(endless.szLocalPhoneNumber), std::end(endless.szLocalPhoneNumber),
              WCHAR{'1'});
    QCOMPARE(tryRecord(endless), QString());
    QVERIFY2(m_refused > 3 * 100 && m_done < 40, qPrintable(QString::number(m_done)));
    for (std::size_t at = 0; at < sizeof(RasEntry); at += 64) {
        RasEntry entry = entryRecord();
        std::memset(reinterpret_cast<char *>(&entry) + at, 0xFF,
                    std::min<std::size_t>(64, sizeof entry - at));
        QCOMPARE(tryRecord(entry), QString());
    }
}

/// The same changes every time.
void RequestFieldsTest::requestsChangedAtRandom()
{
    std::mt19937 random(20261122);
    const auto below = [&random](int limit) { return int(random() % unsigned(limit)); };
    const QList<Good> all = goodRequests();
    m_refused = 0;
    for (int round = 0; round < 3000; ++round) {
        const Good good = all.at(below(int(all.size())));
        QByteArray text = toLine(good.request);
        for (int change = 0; change <= below(4); ++change) {
            const int place = below(int(text.size()));
            switch (below(4)) {
            case 0:
                text[place] = char(below(256));
                break;
            case 1:
                text.insert(place, char(below(256)));
                break;
            case 2:
                text.remove(place, 1 + below(20));
                break;
            default:
                text.insert(place, text.mid(below(int(text.size())), below(40)));
            }
            if (text.isEmpty())
                text = "{";
        }
        const QString what = outcome(good, fromLine(text).value_or(QJsonObject()));
        QVERIFY2(what.isEmpty(), qPrintable(what + ": " + text));
    }
    QVERIFY2(m_refused > 8000, qPrintable(QString::number(m_refused)));
}

QTEST_APPLESS_MAIN(RequestFieldsTest)
#include "requestfields_test.moc"
