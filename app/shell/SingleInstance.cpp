#include "app/shell/SingleInstance.h"

#include <QDir>
#include <QLocalSocket>
#include <QStandardPaths>

namespace {

constexpr int connectTimeoutMs = 500;
const QByteArray activateMessage = QByteArrayLiteral("show\n");

} // namespace

QString SingleInstance::defaultServerName()
{
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    if (!runtime.isEmpty()) return QDir(runtime).filePath(QStringLiteral("kelvrameters.socket"));
    return QStringLiteral("kelvrameters-") + qEnvironmentVariable("USER", QStringLiteral("user"));
}

SingleInstance::SingleInstance(QString serverName, QObject *parent)
    : QObject(parent), serverName_(std::move(serverName))
{
    connect(&server_, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections);
}

bool SingleInstance::claim()
{
    QLocalSocket probe;
    probe.connectToServer(serverName_);
    if (probe.waitForConnected(connectTimeoutMs)) {
        probe.write(activateMessage);
        probe.waitForBytesWritten(connectTimeoutMs);
        probe.disconnectFromServer();
        return false;
    }
    // Nobody answered: a socket file left by a crashed instance would block listening.
    QLocalServer::removeServer(serverName_);
    server_.setSocketOptions(QLocalServer::UserAccessOption);
    return server_.listen(serverName_);
}

void SingleInstance::acceptConnections()
{
    while (QLocalSocket *socket = server_.nextPendingConnection()) {
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            if (socket->readAll().contains(activateMessage.trimmed())) emit activationRequested();
        });
    }
}
