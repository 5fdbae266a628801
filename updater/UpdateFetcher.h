#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QUrl>

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>

namespace hopla {

// How one download may go: where redirects may lead, how much it may bring, how long it
// may take in all, and how fast it must keep coming (a stalled or trickling server is
// cut off: each window must bring at least `minBytesPerWindow`).
struct FetchLimits {
    QSet<QString> allowedHosts; // lower case; every hop, the first included, must be one
    std::int64_t maxBytes = 64 * 1024;
    std::chrono::milliseconds timeout{20000}; // 0: none
    std::chrono::milliseconds progressWindow{15000};
    std::int64_t minBytesPerWindow = 1024;
};

// The body of a successful (2xx) answer, or why there is none, described for the user.
struct FetchResult {
    std::optional<QByteArray> body;
    QString error;
};

// Fetches over HTTPS for the updater. The completion runs once, on the main thread,
// unless the fetcher is destroyed first.
class UpdateFetcher {
public:
    virtual ~UpdateFetcher() = default;
    virtual void get(const QUrl& url, const FetchLimits& limits,
                     std::function<void(FetchResult)> done) = 0;
};

} // namespace hopla
