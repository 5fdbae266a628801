#include "tests/services/LoopbackHttps.h"
#include "tests/support/Files.h"

#include <QProcess>
#include <QSslKey>
#include <QSslSocket>

namespace hopla::testing {

TestAuthority::TestAuthority() {
    const auto openssl = [this](const QStringList& arguments) {
        QProcess run;
        run.setWorkingDirectory(dir.path());
        run.start(QStringLiteral("openssl"), arguments);
        if (!run.waitForFinished(60000) || run.exitCode() != 0) {
            error = QStringLiteral("openssl %1: %2")
                        .arg(arguments.first(), QString::fromLocal8Bit(run.readAllStandardError()));
        }
        return error.isEmpty();
    };
    write(dir.filePath("san.ext"), "subjectAltName=DNS:localhost,IP:127.0.0.1\n");
    const bool made =
        openssl({"req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "1", "-subj",
                 "/CN=Hopla test authority", "-keyout", "ca.key", "-out", "ca.pem"}) &&
        openssl({"req", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost", "-keyout",
                 "host.key", "-out", "host.csr"}) &&
        openssl({"x509", "-req", "-in", "host.csr", "-CA", "ca.pem", "-CAkey", "ca.key",
                 "-CAcreateserial", "-days", "1", "-extfile", "san.ext", "-out", "host.pem"});
    if (!made) {
        return;
    }
    authority = QSslCertificate::fromPath(authorityPath()).value(0);
    host = QSslCertificate::fromPath(dir.filePath("host.pem")).value(0);
    hostKey = readAll(dir.filePath("host.key"));
}

QSslConfiguration TestAuthority::trusting() const {
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setCaCertificates({authority});
    return configuration;
}

LoopbackHttps::LoopbackHttps(const TestAuthority& authority, quint16 port) {
    QSslConfiguration configuration = QSslConfiguration::defaultConfiguration();
    configuration.setLocalCertificate(authority.host);
    configuration.setPrivateKey(QSslKey(authority.hostKey, QSsl::Rsa));
    server_.setSslConfiguration(configuration);
    QObject::connect(&server_, &QTcpServer::pendingConnectionAvailable, &server_, [this] {
        while (auto* socket = qobject_cast<QSslSocket*>(server_.nextPendingConnection())) {
            QObject::connect(socket, &QSslSocket::disconnected, socket, &QObject::deleteLater);
            QObject::connect(socket, &QSslSocket::readyRead, socket, [this, socket] {
                QByteArray request = socket->property("request").toByteArray() + socket->readAll();
                socket->setProperty("request", request);
                if (!request.contains("\r\n\r\n")) {
                    return;
                }
                const auto route = routes_.find(request.split(' ').value(1));
                if (route == routes_.end()) {
                    reply(*socket, "404 Not Found");
                } else {
                    route->second(*socket);
                }
            });
        }
    });
    server_.listen(QHostAddress::LocalHost, port);
}

QString LoopbackHttps::url(const QString& path) const {
    return QStringLiteral("https://localhost:%1%2").arg(port()).arg(path);
}

void LoopbackHttps::reply(QSslSocket& socket, const QByteArray& status, const QByteArray& body,
                          QByteArray headers) {
    if (!headers.contains("Transfer-Encoding")) {
        headers += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    }
    socket.write("HTTP/1.1 " + status + "\r\nConnection: close\r\n" + headers + "\r\n" + body);
    socket.disconnectFromHost();
}

} // namespace hopla::testing
