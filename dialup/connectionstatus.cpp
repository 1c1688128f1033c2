#include "dialup/connectionstatus.h"

#include "app/diagnostics.h"
#include "platform/platform.h"
#include "platform/text.h"

#include <functional>

using namespace platform;

namespace {

// With more active connections than this, listing them fails.
constexpr int MaximumConnections = 100;

/// Calls `action` with the handle of the first active connection of that name
/// and returns its result; false when there is none. The query and the hang-up
/// log the same lines here, with the query's function name.
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
    // Do not trust the count beyond the array.
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
