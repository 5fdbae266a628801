#pragma once

#include "updater/UpdateFetcher.h"

#include <QNetworkAccessManager>
#include <QSslConfiguration>

namespace hopla {

// UpdateFetcher over Qt's network access: HTTPS only, certificates always verified
// (against the system's authorities, or those of `tls` when given), redirects followed
// only to allowed hosts over HTTPS, the size checked against the announced length and
// against what arrives, the whole and the silence each timed. No cache.
class HttpsFetcher : public UpdateFetcher {
public:
    explicit HttpsFetcher(QSslConfiguration tls = QSslConfiguration::defaultConfiguration());
    void get(const QUrl& url, const FetchLimits& limits,
             std::function<void(FetchResult)> done) override;

private:
    QNetworkAccessManager network_;
    QSslConfiguration tls_;
};

} // namespace hopla
