#pragma once

#include <QByteArray>
#include <QSslCertificate>
#include <QSslConfiguration>
#include <QSslServer>
#include <QString>
#include <QTemporaryDir>

#include <functional>
#include <map>

class QSslSocket;

namespace hopla::testing {

// A certificate authority made for one test (openssl), and a certificate by it for
// localhost and 127.0.0.1. Nothing outside the test trusts it.
struct TestAuthority {
    QTemporaryDir dir;
    QSslCertificate authority;
    QSslCertificate host;
    QByteArray hostKey;
    QString error; // why making them failed, or empty

    TestAuthority();
    QString authorityPath() const { return dir.filePath("ca.pem"); }
    // The default configuration with this authority as the only one trusted.
    QSslConfiguration trusting() const;
};

// An HTTPS server on the loopback interface, answering each path with a handler that
// writes the whole response to the socket.
class LoopbackHttps {
public:
    using Handler = std::function<void(QSslSocket&)>;

    // On `port`, or any free port when it is 0.
    explicit LoopbackHttps(const TestAuthority& authority, quint16 port = 0);
    quint16 port() const { return server_.serverPort(); }
    QString url(const QString& path) const;
    void route(const QByteArray& path, Handler handler) { routes_[path] = std::move(handler); }
    // Writes a complete response, its length announced unless it is chunked, and closes the
    // connection.
    static void reply(QSslSocket& socket, const QByteArray& status, const QByteArray& body = {},
                      QByteArray headers = {});
    // A handler that gives every request the same response.
    static Handler answer(QByteArray status, QByteArray body = {}, QByteArray headers = {}) {
        return [=](QSslSocket& socket) { reply(socket, status, body, headers); };
    }

private:
    QSslServer server_;
    std::map<QByteArray, Handler> routes_;
};

} // namespace hopla::testing
