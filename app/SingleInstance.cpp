#include "app/SingleInstance.h"

#include <QLocalSocket>
#include <QStandardPaths>

#include <unistd.h>

namespace hopla {

namespace {

constexpr int waitMs = 1000;
const QByteArray reopenRequest = QByteArrayLiteral("reopen\n");

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

bool SingleInstance::tellRunningInstance() {
    QLocalSocket socket;
    socket.connectToServer(name_);
    if (!socket.waitForConnected(waitMs)) {
        return false;
    }
    socket.write(reopenRequest);
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
                if (socket->readLine() == reopenRequest) {
                    emit reopenRequested();
                }
            }
            if (socket->bytesAvailable() > reopenRequest.size()) {
                socket->abort(); // not one of ours
            }
        });
    }
}

} // namespace hopla
