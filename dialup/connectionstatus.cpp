#include "dialup/connectionstatus.h"

#include "app/diagnostics.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <functional>

using namespace platform;

namespace {

// More active connections than these make the enumeration fail.
constexpr int MaximumConnections = 100;

/// Hands the handle of the first active connection of that name to `action`
/// and returns its answer; false when there is none. Query and hang-up share
/// the log texts of this scan, function name included.
bool withConnection(const QString &connName, const std::function<bool(RasConnectionHandle)> &action)
{
    qDebug() << "in isDialupConnectionConnected, connName: " << Quoted(connName);
    RasConnection connections[MaximumConnections] = {};
    static_assert(sizeof connections == 136000, "size of the connection list");
    connections[0].dwSize = RasConnectionSize;
    DWORD size = sizeof connections;
    DWORD count = 0;
    if (current().RasEnumConnectionsW(connections, &size, &count) != Success)
        return false;

    logMessage("isDialupConnectionConnected", QString("No of Connections = %1").arg(count));
    qDebug() << "The following RAS connections are currently active:" << Qt::endl;
    // The count is the system's word; the records are only these.
    for (DWORD i = 0; i < count && i < MaximumConnections; ++i) {
        const QString entryName = fromField(connections[i].szEntryName);
        qDebug() << Quoted(entryName);
        if (entryName == connName) {
            qDebug() << " == " << Quoted(connName) << Qt::endl;
            return action(connections[i].hrasconn);
        }
        qDebug() << " != " << Quoted(connName) << Qt::endl;
    }
    return false;
}

} // namespace

bool isDialupConnectionConnected(QString connName)
{
    return withConnection(connName, [](RasConnectionHandle) { return true; });
}

bool hangUpDialupConnection(QString connName)
{
    return withConnection(connName, [](RasConnectionHandle connection) {
        return current().RasHangUpW(connection) == Success;
    });
}
