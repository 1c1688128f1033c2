#include "virtualphone/openingwatch.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace virtualphone;

/// A plain file stands for the device node: the file system tells the same of it.
class OpeningWatchTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void closedAndOpenedAgain();
    void askedBetweenTheOpeningAndItsNews();
    void askedBetweenTheClosingAndItsEnd();
    void openedDuringAnOwnOpening();
    void oneOfTwoIsClosed();
    void oneOfTwoIsClosedAfterAnOwnOpening();

private:
    std::unique_ptr<QFile> openNode(QIODevice::OpenMode mode = QIODevice::ReadWrite);
    bool seesReopening(std::unique_ptr<QFile> node);
    void openOneself(const std::function<void()> &meanwhile = [] {});

    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<OpeningWatch> m_watch;
    bool m_isOpen = false; // what the master would see
};

void OpeningWatchTest::init()
{
    m_directory = std::make_unique<QTemporaryDir>();
    QFile node(m_directory->filePath("node"));
    QVERIFY(node.open(QIODevice::WriteOnly));
    node.close();
    m_isOpen = false;
    m_watch = std::make_unique<OpeningWatch>([this] { return m_isOpen; });
    QVERIFY(m_watch->start(node.fileName()));
    openOneself();
}

std::unique_ptr<QFile> OpeningWatchTest::openNode(QIODevice::OpenMode mode)
{
    auto node = std::make_unique<QFile>(m_directory->filePath("node"));
    if (!node->open(mode | QIODevice::Unbuffered))
        qFatal("cannot open the node");
    return node;
}

void OpeningWatchTest::openOneself(const std::function<void()> &meanwhile)
{
    m_watch->beginOwnOpening();
    auto own = openNode(QIODevice::ReadOnly);
    meanwhile();
    own.reset();
    m_watch->endOwnOpening();
}

/// Whether it is seen that the node is closed and at once opened again.
bool OpeningWatchTest::seesReopening(std::unique_ptr<QFile> node)
{
    node.reset();
    node = openNode();
    m_watch->update();
    return m_watch->wasClosed();
}

void OpeningWatchTest::closedAndOpenedAgain()
{
    m_isOpen = true;
    auto node = openNode();
    m_watch->update();
    QVERIFY(!m_watch->wasClosed());
    node.reset();
    node = openNode();
    m_watch->update();
    QVERIFY(m_watch->wasClosed());
    m_watch->forgetClosing();
    node.reset();
    m_isOpen = false;
    m_watch->update();
    QVERIFY(m_watch->wasClosed());
}

// The terminal is open a moment before the file system says so.
void OpeningWatchTest::askedBetweenTheOpeningAndItsNews()
{
    m_isOpen = true;
    m_watch->update();
    auto node = openNode();
    m_watch->update();
    QVERIFY(!m_watch->wasClosed());
    QVERIFY(seesReopening(std::move(node)));
}

// The terminal is still open a moment after the file system says otherwise.
void OpeningWatchTest::askedBetweenTheClosingAndItsEnd()
{
    m_isOpen = true;
    auto node = openNode();
    node.reset();
    m_watch->update();
    QVERIFY(m_watch->wasClosed());
    m_watch->forgetClosing();
    openOneself();
    m_isOpen = false;
    m_watch->update();
    QVERIFY(!m_watch->wasClosed());
    m_isOpen = true;
    node = openNode();
    m_watch->update();
    QVERIFY(!m_watch->wasClosed());
}

// Both openings are told as one.
void OpeningWatchTest::openedDuringAnOwnOpening()
{
    std::unique_ptr<QFile> node;
    openOneself([&] {
        m_isOpen = true;
        node = openNode();
    });
    QVERIFY(!m_watch->wasClosed());
    QVERIFY(seesReopening(std::move(node)));
}

void OpeningWatchTest::oneOfTwoIsClosed()
{
    m_isOpen = true;
    auto first = openNode();
    m_watch->update();
    auto second = openNode();
    m_watch->update();
    first.reset();
    m_watch->update();
    QVERIFY(!m_watch->wasClosed());
    second.reset();
    m_isOpen = false;
    m_watch->update();
    QVERIFY(m_watch->wasClosed());
}

// As when the program that dials hands the port over to the system, just after the port was
// closed: the first opening is never told by itself, and the second one is not its news.
void OpeningWatchTest::oneOfTwoIsClosedAfterAnOwnOpening()
{
    std::unique_ptr<QFile> first;
    openOneself([&] {
        m_isOpen = true;
        first = openNode();
    });
    m_watch->updateAfterBytes();
    auto second = openNode();
    m_watch->update();
    first.reset();
    m_watch->update();
    QVERIFY(!m_watch->wasClosed());
    QVERIFY(seesReopening(std::move(second)));
}

QTEST_GUILESS_MAIN(OpeningWatchTest)
#include "openingwatch_test.moc"
