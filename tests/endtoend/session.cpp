#include "tests/endtoend/session.h"

#include "tests/desktop/waiting.h"
#include "tests/desktop/wizardpage.h"

#include <algorithm>

namespace {

// Places in the windows, in their own pixels. The wizard's button row is
// measured from the lower right corner, because the window fits its text.
const QPoint wizardCancel(51, 22);
const QPoint wizardNext(137, 22);
const QPoint wizardBack(223, 22);
constexpr int WizardButtonHeight = 20;

// The dial dialog's buttons, measured as well.
const QPoint dialRedial(130, 21);
const QPoint dialCancel(48, 21);

constexpr int MenuBarHeight = 21;
constexpr int MenuItemHeight = 20;
const QPoint operatorsPlace(100, 101 + MenuBarHeight);
const QRect buttonPlace(250, 80 + MenuBarHeight, 91, 81);
// Frame, focus and shading are not what the button says.
constexpr int ButtonFrame = 10;

QPoint fromLowerRight(QSize size, QPoint distance)
{
    return QPoint(size.width() - distance.x(), size.height() - distance.y());
}

/// Black where there is ink, white elsewhere.
QImage ink(const QImage &picture)
{
    QImage result = picture.convertToFormat(QImage::Format_RGB32);
    for (int y = 0; y < result.height(); ++y) {
        for (int x = 0; x < result.width(); ++x)
            result.setPixel(x, y, isInk(result.pixel(x, y)) ? 0xFF000000 : 0xFFFFFFFF);
    }
    return result;
}

template<typename Predicate> int countPixels(const QImage &picture, Predicate predicate)
{
    int count = 0;
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x)
            count += predicate(picture.pixel(x, y)) ? 1 : 0;
    }
    return count;
}

/// Whether two pictures of ink show the same text. The edges of its letters
/// depend on the ground, and the ground of a button on its having the focus.
bool looksLike(const QImage &seen, const QImage &learnt)
{
    if (seen.size() != learnt.size())
        return false;
    int ink = 0;
    int differences = 0;
    for (int y = 0; y < seen.height(); ++y) {
        for (int x = 0; x < seen.width(); ++x) {
            ink += learnt.pixel(x, y) == 0xFF000000 ? 1 : 0;
            differences += seen.pixel(x, y) != learnt.pixel(x, y) ? 1 : 0;
        }
    }
    return differences * 10 <= ink;
}

} // namespace

Session::Session(const QString &artefacts, double scale)
    : machine(artefacts), desktop(artefacts, scale)
{
}

WindowId Session::wizard() const
{
    const WindowId window = desktop.waitForWindow(WizardTitle);
    desktop.waitForFocus(window);
    return window;
}

void Session::pressNext() const
{
    const WindowId window = wizard();
    desktop.click(window, fromLowerRight(desktop.size(window), wizardNext));
}

void Session::pressBack() const
{
    const WindowId window = wizard();
    desktop.click(window, fromLowerRight(desktop.size(window), wizardBack));
}

void Session::pressCancel() const
{
    const WindowId window = wizard();
    desktop.click(window, fromLowerRight(desktop.size(window), wizardCancel));
    desktop.waitForNoWindow(WizardTitle);
}

bool Session::isRed() const
{
    const WindowId window = wizard();
    const auto red = [](QRgb colour) {
        return qRed(colour) > 180 && qGreen(colour) < 100 && qBlue(colour) < 100;
    };
    return countPixels(desktop.picture(window, wizardPage(desktop, window)), red) > 50;
}

void Session::waitForFailedStep() const
{
    waitFor("Red text in the wizard", [this] { return isRed(); });
}

void Session::pressRetry() const
{
    ::pressRetry(desktop, wizard());
}

void Session::waitForSetup() const
{
    const WindowId window = wizard();
    const QPoint middle = fromLowerRight(desktop.size(window), wizardNext);
    QRect finish(0, 0, 40, WizardButtonHeight - 8);
    finish.moveCenter(middle);
    // A button that cannot be pressed is written in grey.
    waitFor("The end of the set-up", [&] {
        return machine.setting("NoOfDialups").toInt() > 0 &&
               countPixels(desktop.picture(window, finish), isInk) > 0;
    });
}

void Session::goThroughWizard() const
{
    pressNext();
    waitForSetup();
    pressFinish();
    desktop.waitForNoWindow(WizardTitle);
}

WindowId Session::mainWindow() const
{
    const WindowId window = desktop.waitForWindow(MainTitle);
    desktop.waitForFocus(window);
    return window;
}

void Session::pressButton() const
{
    desktop.click(mainWindow(), buttonPlace.center());
}

void Session::doubleClickButton() const
{
    desktop.doubleClick(mainWindow(), buttonPlace.center());
}

void Session::openOperators() const
{
    const QStringList before = desktop.visibleWindows();
    desktop.click(mainWindow(), operatorsPlace);
    waitFor("The operators", [&] { return desktop.visibleWindows().size() > before.size(); });
}

void Session::openHelp() const
{
    expect(!openMenu(mainWindow(), HelpMenu, patience).isEmpty(), "No menu opens");
}

WindowId Session::openMenu(const WindowId &window, int titleMiddle, int timeout) const
{
    const QStringList before = desktop.visibleWindows();
    WindowId menu;
    desktop.click(window, QPoint(titleMiddle, MenuBarHeight / 2));
    comesTrue(
        [&] {
            const QStringList now = desktop.visibleWindows();
            const auto added = std::find_if(now.begin(), now.end(), [&](const WindowId &each) {
                return !before.contains(each);
            });
            menu = added == now.end() ? WindowId() : *added;
            return !menu.isEmpty();
        },
        timeout);
    return menu;
}

void Session::chooseFromMenu(int titleMiddle, int item) const
{
    const WindowId menu = openMenu(mainWindow(), titleMiddle, patience);
    expect(!menu.isEmpty(), "No menu opens");
    desktop.click(menu, QPoint(40, 1 + item * MenuItemHeight + MenuItemHeight / 2));
}

bool Session::helpMenuOpens(int timeout) const
{
    const WindowId window = desktop.waitForWindow(MainTitle);
    const WindowId menu = openMenu(window, HelpMenu, timeout);
    if (menu.isEmpty())
        return false;
    desktop.press("Escape");
    waitFor("The menu's end", [&] { return !desktop.visibleWindows().contains(menu); });
    return true;
}

void Session::chooseOperator(int index) const
{
    // Opened, the list takes the keys.
    const QStringList before = desktop.visibleWindows();
    openOperators();
    QStringList keys{"Home"};
    for (int i = 0; i < index; ++i)
        keys.append("Down");
    desktop.press(keys + QStringList{"Return"});
    waitFor("The operator", [&] { return desktop.visibleWindows().size() == before.size(); });
}

QImage Session::face() const
{
    const WindowId window = desktop.waitForWindow(MainTitle);
    const QRect inside = buttonPlace.adjusted(ButtonFrame, ButtonFrame, -ButtonFrame, -ButtonFrame);
    return ink(desktop.picture(window, inside));
}

void Session::learnFace(Face which)
{
    QImage seen;
    waitFor("A new text on the button", [&] {
        seen = face();
        const bool known = std::any_of(m_faces.cbegin(), m_faces.cend(),
                                       [&seen](const QImage &one) { return looksLike(seen, one); });
        // Writing leaves most of its ground free; a window without its first
        // painting need not.
        const int ink = countPixels(seen, isInk);
        const bool written = ink > 0 && ink * 2 < seen.width() * seen.height();
        return written && !known && face() == seen;
    });
    m_faces.insert(which, seen);
}

bool Session::shows(Face which) const
{
    expect(m_faces.contains(which), "This face was not learnt");
    return looksLike(face(), m_faces.value(which));
}

void Session::waitForFace(Face which, int timeout) const
{
    static const QMap<Face, QString> texts = {{Face::ConnectNow, "Connect Now"},
                                              {Face::Disconnect, "Disconnect"},
                                              {Face::PleaseWait, "Please Wait"},
                                              {Face::CheckConnection, "Please Check"}};
    waitFor(
        '"' + texts.value(which) + "\" on the button", [&] { return shows(which); }, timeout);
}

void Session::waitForFace(Face which) const
{
    waitForFace(which, patience);
}

void Session::blockWindow() const
{
    machine.phone("set silent on");
    pressButton();
    waitFor("AT", [this] { return machine.heard() == "AT\\r"; });
}

WindowId Session::dialDialog() const
{
    const WindowId window = desktop.waitForWindow(DialTitle);
    desktop.waitForFocus(window);
    return window;
}

void Session::waitForConnection() const
{
    waitFor("The connection", [this] { return machine.connectionCount() == 1; });
    desktop.waitForNoWindow(DialTitle);
}

void Session::waitUntilConnected() const
{
    waitForConnection();
    waitForFace(Face::Disconnect);
}

void Session::waitForDialError() const
{
    const WindowId window = dialDialog();
    QRect redial(0, 0, 40, 12);
    redial.moveCenter(fromLowerRight(desktop.size(window), dialRedial));
    waitFor("Redial", [&] { return countPixels(desktop.picture(window, redial), isInk) > 0; });
}

void Session::pressRedial() const
{
    const WindowId window = dialDialog();
    desktop.click(window, fromLowerRight(desktop.size(window), dialRedial));
}

void Session::cancelDial() const
{
    const WindowId window = desktop.waitForWindow(DialTitle);
    desktop.activate(window);
    desktop.click(window, fromLowerRight(desktop.size(window), dialCancel));
    desktop.waitForNoWindow(DialTitle);
}

void Session::slowPhone()
{
    m_heardBeforeDial = static_cast<int>(machine.heard().size());
    machine.phone("set delay 1500");
}

WindowId Session::holdDial() const
{
    // Slower still, so that a busy machine, too, has the time.
    waitFor("The APN",
            [this] { return machine.heard().indexOf("AT+CGDCONT", m_heardBeforeDial) >= 0; });
    machine.phone("set delay 4000");
    waitFor("The number", [this] { return machine.heard().endsWith("ATD*99#\\r"); });
    machine.phone("set silent on");
    return dialDialog();
}

void Session::letDialGoOn() const
{
    machine.phone("set delay 5");
    machine.phone("set silent off");
}

void Session::acknowledge(const QString &title) const
{
    const WindowId window = desktop.waitForWindow(title);
    desktop.waitForFocus(window);
    desktop.press("Return");
    desktop.waitForNoWindow(title);
}
