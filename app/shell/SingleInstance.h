#pragma once

#include <QLocalServer>
#include <QObject>
#include <QString>

// Keeps one running copy per user: the first instance listens on a local socket; a
// later one finds it there, asks it to show its windows and ends.
class SingleInstance final : public QObject {
    Q_OBJECT

public:
    // In the user's runtime directory, so every user has their own.
    static QString defaultServerName();

    explicit SingleInstance(QString serverName = defaultServerName(), QObject *parent = nullptr);

    // True when this process is now the one instance. False when another instance
    // answered; it has been asked to show itself.
    bool claim();

    QString serverName() const { return serverName_; }

signals:
    // A later start asked this instance to show its windows.
    void activationRequested();

private:
    void acceptConnections();

    QString serverName_;   // socket name or path
    QLocalServer server_;  // listening while this is the instance
};
