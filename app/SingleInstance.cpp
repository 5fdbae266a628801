#include "app/SingleInstance.h"

#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

namespace hopla {

namespace {

constexpr int waitMs = 1000;
const QByteArray reopenRequest = QByteArrayLiteral("reopen\n");
constexpr qsizetype longestRequest = 16;

} // namespace

SingleInstance::SingleInstance(QString name)
    : name_(std::move(name)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultName(const QString& display) {
    QString screen = display;
    screen.replace(QLatin1Char('/'), QLatin1Char('_'));
    // The user's runtime folder is private to them; the temporary folder is the fallback.
    const QString runtime = QStandardPaths::writableLocation(QStandardPaths::RuntimeLocation);
    const QString name = QStringLiteral("hopla-%1-%2").arg(::getuid()).arg(screen);
    return runtime.isEmpty() ? name : runtime + QLatin1Char('/') + name;
}

SingleInstance::Claim SingleInstance::claim() {
    if (tellRunningInstance()) {
        return Claim::another;
    }
    server_ = std::make_unique<QLocalServer>();
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(name_)) {
        // Taken since we asked: a launch at the same moment (autostart and a click) got
        // there first, and answers now. Else what is there was left by one that died.
        if (tellRunningInstance()) {
            server_.reset();
            return Claim::another;
        }
        QLocalServer::removeServer(name_);
        if (!server_->listen(name_)) {
            error_ = server_->errorString();
            server_.reset();
            return Claim::failed;
        }
    }
    connect(server_.get(), &QLocalServer::newConnection, this, &SingleInstance::accept);
    return Claim::first;
}

bool SingleInstance::isSwitchAction(const QString& action) {
    static const QStringList actions{"switch", "switch-back", "windows", "windows-back"};
    return actions.contains(action);
}

bool SingleInstance::sendSwitch(const QString& name, const QString& action) {
    return isSwitchAction(action) && send(name, action.toLatin1() + '\n');
}

bool SingleInstance::tellRunningInstance() {
    return send(name_, reopenRequest);
}

bool SingleInstance::send(const QString& name, const QByteArray& line) {
    QLocalSocket socket;
    socket.connectToServer(name);
    if (!socket.waitForConnected(waitMs)) {
        return false;
    }
    socket.write(line);
    const bool sent = socket.waitForBytesWritten(waitMs);
    socket.disconnectFromServer();
    return sent;
}

void SingleInstance::accept() {
    while (QLocalSocket* socket = server_->nextPendingConnection()) {
        socket->setParent(this);
        connect(socket, &QLocalSocket::disconnected, socket, &QObject::deleteLater);
        connect(socket, &QLocalSocket::readyRead, this, [this, socket] {
            while (socket->canReadLine()) {
                const QByteArray line = socket->readLine();
                if (line == reopenRequest) {
                    emit reopenRequested();
                } else if (const QString action = QString::fromLatin1(line.chopped(1));
                           isSwitchAction(action)) {
                    emit switchRequested(action);
                }
            }
            if (socket->bytesAvailable() > longestRequest) {
                socket->abort(); // not one of ours
            }
        });
    }
}

} // namespace hopla
