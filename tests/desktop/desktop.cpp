#include "tests/desktop/desktop.h"

#include "tests/desktop/closerequest.h"
#include "tests/desktop/grab.h"
#include "tests/desktop/waiting.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QPainter>
#include <QRegion>
#include <QRegularExpression>
#include <QtEndian>

#include <algorithm>

namespace {

constexpr int ScreenWidth = 1600;
constexpr int ScreenHeight = 1200;
constexpr int CommandPatience = 30000; // milliseconds
// Two clicks nearer than this, in time and place, are a double click somewhere.
constexpr int DoubleClickTime = 600; // milliseconds
constexpr int LeastDistance = 20;    // pixels

/// The screen as the display server keeps it in memory: a header of 32-bit
/// numbers, most significant byte first, then colours, then the pixels.
QImage readFrameBuffer(const QString &fileName)
{
    enum { HeaderSize = 0, Width = 4, Height = 5, BytesPerLine = 12, Colours = 19, Fields = 25 };
    constexpr int ColourSize = 12;

    QFile file(fileName);
    expect(file.open(QIODevice::ReadOnly), "Cannot read " + fileName);
    const QByteArray bytes = file.readAll();
    expect(bytes.size() >= Fields * 4, "No picture in " + fileName);
    const auto field = [&bytes](int index) {
        return static_cast<int>(qFromBigEndian<quint32>(bytes.constData() + index * 4));
    };
    const int start = field(HeaderSize) + field(Colours) * ColourSize;
    expect(bytes.size() >= start + field(BytesPerLine) * field(Height), "Half a picture");
    return QImage(reinterpret_cast<const uchar *>(bytes.constData()) + start, field(Width),
                  field(Height), field(BytesPerLine), QImage::Format_RGB32)
        .copy();
}

QProcessEnvironment cleanEnvironment()
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QStringList names = environment.keys();
    for (const QString &name : names) {
        if (name.startsWith("QT_") || name.startsWith("XDG_") || name.startsWith("LC_") ||
            name == "WAYLAND_DISPLAY" || name == "LANGUAGE")
            environment.remove(name);
    }
    environment.insert("LANG", "C.UTF-8");
    environment.insert("QT_QPA_PLATFORM", "xcb");
    // No bus: one that nobody named would be started, and stay.
    environment.insert("DBUS_SESSION_BUS_ADDRESS", "disabled:");
    return environment;
}

} // namespace

Desktop::Desktop(const QString &artefacts, const Display &display)
    : m_artefacts(artefacts), m_scale(1), m_frameBuffer(display.frameBuffer), m_name(display.name)
{
    removeEarlierPictures();
    moveMouseAway();
}

Desktop::Desktop(const QString &artefacts, double scale)
    : m_artefacts(artefacts), m_scale(scale), m_frameBuffer(m_folder.path())
{
    removeEarlierPictures();
    expect(m_folder.isValid(), "Cannot make a temporary folder");

    m_display.setProcessEnvironment(cleanEnvironment());
    m_display.setStandardErrorFile(m_folder.filePath("display.log"));
    // On white (-wr): a window that is there but not painted yet shows what is
    // below it, and that must not be taken for writing.
    m_display.start("Xvfb",
                    {"-displayfd", "1", "-screen", "0",
                     QString("%1x%2x24").arg(ScreenWidth).arg(ScreenHeight), "-wr", "-fbdir",
                     m_frameBuffer, "-dpi", "96", "-nolisten", "tcp", "-noreset"});
    expect(m_display.waitForStarted(), "Xvfb cannot be started: " + m_display.errorString());
    QByteArray number;
    waitFor("A virtual display", [&] {
        number += m_display.readAllStandardOutput();
        return number.endsWith('\n') || m_display.state() == QProcess::NotRunning;
    });
    expect(number.endsWith('\n'), "Xvfb ended at once");
    m_name = ":" + QString::fromLatin1(number.trimmed());

    m_windowManager.setProcessEnvironment(environment());
    m_windowManager.setStandardErrorFile(m_folder.filePath("windowmanager.log"));
    m_windowManager.setStandardOutputFile(QProcess::nullDevice());
    // It announces itself before it looks after windows; what it starts last
    // tells that it does.
    const QString ready = m_folder.filePath("windowmanager.ready");
    m_windowManager.start("openbox", {"--sm-disable", "--startup", "touch " + ready});
    expect(m_windowManager.waitForStarted(),
           "openbox cannot be started: " + m_windowManager.errorString());
    waitFor("A window manager", [&ready] { return QFile::exists(ready); });
    moveMouseAway();
}

void Desktop::removeEarlierPictures() const
{
    expect(QDir().mkpath(m_artefacts), "Cannot make " + m_artefacts);
    QDir pictures(m_artefacts);
    const QStringList earlier = pictures.entryList({"[0-9]*-*.png"}, QDir::Files);
    for (const QString &picture : earlier)
        pictures.remove(picture);
}

QProcessEnvironment Desktop::environment() const
{
    QProcessEnvironment environment = cleanEnvironment();
    environment.insert("DISPLAY", m_name);
    environment.insert("HOME", m_folder.path());
    environment.insert("XDG_RUNTIME_DIR", m_folder.path());
    if (m_scale != 1)
        environment.insert("QT_SCALE_FACTOR", QString::number(m_scale));
    return environment;
}

QString Desktop::run(const QString &program, const QStringList &arguments) const
{
    QProcess process;
    process.setProcessEnvironment(environment());
    process.start(program, arguments);
    expect(process.waitForFinished(CommandPatience),
           QString("%1 %2: %3").arg(program, arguments.join(' '), process.errorString()));
    return QString::fromUtf8(process.readAllStandardOutput());
}

QString Desktop::xdotool(const QStringList &arguments) const
{
    return run("xdotool", arguments);
}

WindowId Desktop::window(const QString &title) const
{
    // The toolkit of the Windows installer puts a blank behind some titles.
    const QString pattern = "^" + QRegularExpression::escape(title) + " ?$";
    // Listed from the lowest to the topmost.
    return xdotool({"search", "--onlyvisible", "--name", pattern}).trimmed().section('\n', -1);
}

WindowId Desktop::waitForWindow(const QString &title, int timeout) const
{
    WindowId found;
    const bool shown = comesTrue(
        [&] {
            found = window(title);
            return !found.isEmpty();
        },
        timeout);
    expect(shown, QString("No window \"%1\" within %2 ms; there are: %3")
                      .arg(title)
                      .arg(timeout)
                      .arg(visibleTitles().join(" | ")));
    return found;
}

WindowId Desktop::waitForWindow(const QString &title) const
{
    return waitForWindow(title, patience);
}

void Desktop::waitForNoWindow(const QString &title) const
{
    waitFor("The end of the window \"" + title + "\"", [&] { return window(title).isEmpty(); });
}

void Desktop::waitForFocus(const WindowId &window) const
{
    waitFor("The keyboard for window " + window, [&] {
        return xdotool({"getactivewindow"}).trimmed() == window &&
               xdotool({"getwindowfocus"}).trimmed() == window;
    });
}

void Desktop::activate(const WindowId &window) const
{
    xdotool({"windowactivate", window});
    waitForFocus(window);
}

QStringList Desktop::visibleWindows() const
{
    return xdotool({"search", "--onlyvisible", "--class", "."}).split('\n', Qt::SkipEmptyParts);
}

QStringList Desktop::visibleTitles() const
{
    QStringList titles;
    const QStringList windows =
        xdotool({"search", "--onlyvisible", "--name", "."}).split('\n', Qt::SkipEmptyParts);
    for (const WindowId &window : windows)
        titles.append(xdotool({"getwindowname", window}).trimmed());
    return titles;
}

QRect Desktop::geometry(const WindowId &window) const
{
    const std::optional<QRect> found = geometryIfThere(window);
    expect(found.has_value(), "There is no window " + window);
    return *found;
}

std::optional<QRect> Desktop::geometryIfThere(const WindowId &window) const
{
    const QString text = run("xwininfo", {"-id", window});
    if (text.isEmpty())
        return {};
    const auto number = [&text](const char *name) {
        const auto match = QRegularExpression(QString("%1:\\s*(-?\\d+)").arg(name)).match(text);
        expect(match.hasMatch(), QString("No %1 in: %2").arg(name, text));
        return match.captured(1).toInt();
    };
    return QRect(number("Absolute upper-left X"), number("Absolute upper-left Y"), number("Width"),
                 number("Height"));
}

QSize Desktop::size(const WindowId &window) const
{
    return (QSizeF(geometry(window).size()) / m_scale).toSize();
}

QString Desktop::property(const WindowId &window, const QString &name) const
{
    return run("xprop", {"-id", window, name});
}

void Desktop::click(const WindowId &window, QPoint point, const QStringList &how) const
{
    const QPoint place = geometry(window).topLeft() + (QPointF(point) * m_scale).toPoint();
    waitFor("The end of a double click", [&] {
        return std::none_of(m_clicks.begin(), m_clicks.end(), [&place](const Click &click) {
            return !click.since.hasExpired(DoubleClickTime) &&
                   (place - click.place).manhattanLength() < LeastDistance;
        });
    });
    xdotool(
        QStringList{"mousemove", QString::number(place.x()), QString::number(place.y()), "click"} +
        how + QStringList{"1"});
    m_clicks.append({place, QElapsedTimer()});
    m_clicks.last().since.start();
    while (m_clicks.size() > 4)
        m_clicks.removeFirst();
    moveMouseAway();
}

void Desktop::click(const WindowId &window, QPoint point) const
{
    click(window, point, {});
}

void Desktop::doubleClick(const WindowId &window, QPoint point) const
{
    click(window, point, {"--repeat", "2", "--delay", "120"});
}

bool Desktop::canGrabInput() const
{
    return ::canGrabInput(m_name);
}

void Desktop::moveMouseAway() const
{
    xdotool({"mousemove", QString::number(ScreenWidth - 1), QString::number(ScreenHeight - 1)});
}

void Desktop::press(const QStringList &keys) const
{
    xdotool(QStringList{"key"} + keys);
}

void Desktop::hold(const QString &key) const
{
    xdotool({"keydown", key, "sleep", "2", "keyup", key});
}

void Desktop::pressIn(const WindowId &window, const QStringList &keys) const
{
    activate(window);
    press(keys);
}

void Desktop::repeatUntil(const QString &what, const std::function<void()> &act,
                          const std::function<bool()> &done) const
{
    constexpr int Tries = 5;
    constexpr int Pause = 4000; // milliseconds
    for (int i = 0; i < Tries; ++i) {
        act();
        if (comesTrue(done, Pause))
            return;
    }
    expect(false, QString("%1: not after %2 tries").arg(what).arg(Tries));
}

void Desktop::pressUntil(const WindowId &window, const QString &key, const QString &what,
                         const std::function<bool()> &done) const
{
    repeatUntil(
        what, [&] { pressIn(window, key); }, done);
}

void Desktop::minimise(const WindowId &window) const
{
    xdotool({"windowminimize", window});
    waitFor("A minimised window", [&] { return !visibleWindows().contains(window); });
}

void Desktop::askToClose(const WindowId &window) const
{
    requestClose(m_name, window);
}

void Desktop::close(const WindowId &window) const
{
    // One that has only just appeared may still be shown anew, and not listen.
    activate(window);
    repeatUntil(
        "The window is gone", [&] { askToClose(window); },
        [&] { return !visibleWindows().contains(window); });
}

QImage Desktop::screen() const
{
    return readFrameBuffer(m_frameBuffer + "/Xvfb_screen0");
}

QImage Desktop::picture(const WindowId &window) const
{
    return screen().copy(geometry(window));
}

QImage Desktop::picture(const WindowId &window, const QRect &part) const
{
    const QRect scaled = QRectF(part.x() * m_scale, part.y() * m_scale, part.width() * m_scale,
                                part.height() * m_scale)
                             .toRect();
    return screen().copy(scaled.translated(geometry(window).topLeft()));
}

QRect Desktop::frame(const WindowId &window) const
{
    static const QRegularExpression pattern("= (\\d+), (\\d+), (\\d+), (\\d+)");
    // A dialog may close while the windows are looked at.
    const QRect inside = geometryIfThere(window).value_or(QRect());
    // Left, right, top, bottom; menus and lists have none.
    const auto match = pattern.match(property(window, "_NET_FRAME_EXTENTS"));
    if (!match.hasMatch())
        return inside;
    const auto width = [&match](int side) { return match.captured(side).toInt(); };
    return inside.adjusted(-width(1), -width(3), width(2), width(4));
}

QImage Desktop::stillScreen() const
{
    constexpr int Longest = 1000; // a countdown never stands still for long
    QImage still = screen();
    QElapsedTimer unchanged;
    unchanged.start();
    comesTrue(
        [&] {
            const QImage now = screen();
            if (now == still)
                return unchanged.elapsed() >= m_stillness;
            still = now;
            unchanged.start();
            return false;
        },
        Longest + m_stillness);
    return still;
}

QString Desktop::keepPicture(const QString &what)
{
    QImage now = stillScreen();
    QRegion shown;
    const QStringList windows = visibleWindows();
    for (const WindowId &window : windows) {
        const QRect place = frame(window);
        // The window manager's own helpers lie outside or are a pixel wide.
        if (place.width() > 1 && place.size() != now.size())
            shown += place & now.rect();
    }
    if (!shown.isEmpty()) {
        // What the display leaves in the unused byte would be read as transparency.
        now = now.convertToFormat(QImage::Format_ARGB32);
        QImage cut(shown.boundingRect().size(), QImage::Format_ARGB32);
        cut.fill(Qt::transparent);
        QPainter painter(&cut);
        for (const QRect &part : shown)
            painter.drawImage(part.topLeft() - shown.boundingRect().topLeft(), now, part);
        painter.end();
        now = cut;
    }
    const QString name = QString("%1/%2-%3.png")
                             .arg(m_artefacts)
                             .arg(++m_pictures, 2, 10, QChar('0'))
                             .arg(QString(what).replace(' ', '-'));
    expect(now.save(name), "Cannot write " + name);
    return name;
}
