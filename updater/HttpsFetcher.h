#pragma once

#include "updater/UpdateFetcher.h"

#include <QNetworkAccessManager>
#include <QSslConfiguration>

#include <memory>
#include <optional>

namespace hopla {

// UpdateFetcher over Qt's network access: HTTPS only, certificates always verified
// (against the system's authorities, or those of `tls` when given), redirects followed
// only to allowed hosts over HTTPS, the size checked against the announced length and
// against what arrives, the whole and the silence each timed. No cache.
class HttpsFetcher : public UpdateFetcher {
public:
    // Nothing of the network or TLS stack is loaded before the first get(): a build that never
    // checks for updates never pays for it. Without `tls`, the system's authorities.
    explicit HttpsFetcher(std::optional<QSslConfiguration> tls = std::nullopt);
    void get(const QUrl& url, const FetchLimits& limits,
             std::function<void(FetchResult)> done) override;

private:
    QNetworkAccessManager& network();

    std::unique_ptr<QNetworkAccessManager> network_;
    std::optional<QSslConfiguration> tls_;
};

} // namespace hopla
