#include "tests/linux/desktop/desktopsystem.h"

#include "tests/desktop/waiting.h"
#include "tests/linux/guest/guestsystem.h"

#include <QDir>
#include <QFile>

#include <cstdio>

namespace {

const char namedPage[] = "http://page.phone.example/";

void writeNetworkFile(const QString &name, const QByteArray &content)
{
    QFile file("/etc/netns/network/ppp/" + name);
    expect(file.open(QIODevice::WriteOnly) && file.write(content) == content.size(),
           "Cannot write " + name);
}

} // namespace

void note(const QString &text)
{
    std::fputs(qPrintable("note: " + text + '\n'), stdout);
    std::fflush(stdout);
}

bool isInstalled()
{
    return QFile::exists("/usr/bin/tolvane-dialler");
}

QString must(const QString &program, const QStringList &arguments)
{
    int status = 0;
    const QString output = runInGuest(program, arguments, &status);
    expect(status == 0, QString("%1 %2: %3").arg(program, arguments.join(' '), output));
    return output;
}

void installPackage(Installation how)
{
    if (how == Installation::IfMissing && isInstalled())
        return;
    const QStringList packages = QDir("/share").entryList({"tolvane-modem-connector_*.deb"});
    expect(packages.size() == 1, "There is no package");
    must("dpkg", {"--install", "/share/" + packages.first()});
}

bool isNamedPageFetched()
{
    int status = 0;
    runInGuest("curl", {"--silent", "--show-error", "--max-time", "20", namedPage}, &status);
    return status == 0;
}

void setNetwork(const QByteArray &options, const QByteArray &users)
{
    writeNetworkFile("options", options);
    writeNetworkFile("chap-secrets", users);
}

void resetNetwork()
{
    setNetwork(QByteArray("noauth\n") + networkNameServer + networkAddresses);
}

QString modems()
{
    return runInGuest("mmcli", {"--list-modems"});
}
