#include "updater/HttpsFetcher.h"

#include "updater/UpdaterText.h"

#include <QNetworkReply>
#include <QPointer>
#include <QTimer>

#include <memory>

namespace hopla {

namespace {

bool allowed(const QUrl& url, const FetchLimits& limits) {
    return url.scheme() == QLatin1String("https") &&
           limits.allowedHosts.contains(url.host().toLower());
}

} // namespace

HttpsFetcher::HttpsFetcher(std::optional<QSslConfiguration> tls)
    : tls_(std::move(tls)) {}

QNetworkAccessManager& HttpsFetcher::network() {
    if (!network_) {
        network_ = std::make_unique<QNetworkAccessManager>();
        network_->setRedirectPolicy(QNetworkRequest::UserVerifiedRedirectPolicy);
        if (!tls_) {
            tls_ = QSslConfiguration::defaultConfiguration();
        }
    }
    return *network_;
}

void HttpsFetcher::get(const QUrl& url, const FetchLimits& limits,
                       std::function<void(FetchResult)> done) {
    if (!allowed(url, limits)) {
        QTimer::singleShot(0, [done = std::move(done), url] {
            done(
                {std::nullopt, updaterCopy("%1 不是允许的 HTTPS 地址").arg(url.toDisplayString())});
        });
        return;
    }
    QNetworkAccessManager& network = this->network();
    QNetworkRequest request(url);
    request.setSslConfiguration(*tls_);
    request.setAttribute(QNetworkRequest::CacheLoadControlAttribute,
                         QNetworkRequest::AlwaysNetwork);
    request.setAttribute(QNetworkRequest::CacheSaveControlAttribute, false);
    request.setMaximumRedirectsAllowed(10);
    QNetworkReply* reply = network.get(request);

    // The first reason to stop wins; the reply's own error is used when there is none.
    auto refusal = std::make_shared<QString>();
    const auto stop = [reply, refusal](const QString& why) {
        if (refusal->isEmpty()) {
            *refusal = why;
        }
        reply->abort();
    };
    QObject::connect(reply, &QNetworkReply::redirected, reply,
                     [reply, limits, stop](const QUrl& to) {
                         if (allowed(to, limits)) {
                             emit reply->redirectAllowed();
                         } else {
                             stop(updaterCopy("被重定向到 %1，这不是允许的 HTTPS 地址")
                                      .arg(to.toDisplayString()));
                         }
                     });
    QObject::connect(reply, &QNetworkReply::metaDataChanged, reply, [reply, limits, stop] {
        bool known = false;
        const qint64 length =
            reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(&known);
        if (known && length > limits.maxBytes) {
            stop(updaterCopy("服务器提供 %1 字节，超过上限 %2").arg(length).arg(limits.maxBytes));
        }
    });
    auto received = std::make_shared<qint64>(0);
    QObject::connect(reply, &QNetworkReply::downloadProgress, reply,
                     [limits, stop, received](qint64 bytes, qint64) {
                         *received = bytes;
                         if (bytes > limits.maxBytes) {
                             stop(updaterCopy("回应超过 %1 字节").arg(limits.maxBytes));
                         }
                     });
    auto* progress = new QTimer(reply);
    QObject::connect(progress, &QTimer::timeout, reply,
                     [stop, limits, received, before = std::make_shared<qint64>(0)] {
                         if (*received - *before < limits.minBytesPerWindow) {
                             stop(updaterCopy("服务器发送了 %1 字节，用时 %2 秒，速度太慢，已停止")
                                      .arg(*received - *before)
                                      .arg(limits.progressWindow.count() / 1000.0));
                         }
                         *before = *received;
                     });
    progress->start(limits.progressWindow);
    if (limits.timeout.count() > 0) {
        auto* whole = new QTimer(reply);
        whole->setSingleShot(true);
        QObject::connect(whole, &QTimer::timeout, reply, [stop, limits] {
            stop(updaterCopy("%1 秒内没有完整的回应").arg(limits.timeout.count() / 1000.0));
        });
        whole->start(limits.timeout);
    }
    QObject::connect(
        reply, &QNetworkReply::finished, reply, [reply, refusal, done = std::move(done)] {
            reply->deleteLater();
            if (!refusal->isEmpty()) {
                done({std::nullopt, *refusal});
                return;
            }
            if (reply->error() != QNetworkReply::NoError) {
                done({std::nullopt, reply->errorString()});
                return;
            }
            const int status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
            if (status < 200 || status > 299) {
                done({std::nullopt, updaterCopy("服务器返回 HTTP %1").arg(status)});
                return;
            }
            done({reply->readAll(), QString()});
        });
}

} // namespace hopla
