#pragma once

#include "tests/fakes/ManualScheduler.h"
#include "updater/SelfUpdater.h"
#include "updater/UpdateFetcher.h"

#include <QTemporaryDir>

#include <deque>

namespace hopla::testing {

// An UpdateFetcher whose requests wait until the test answers them.
class ScriptedFetcher : public UpdateFetcher {
public:
    struct Request {
        QUrl url;
        FetchLimits limits;
        std::function<void(FetchResult)> done;
    };
    std::deque<Request> pending;
    int requests = 0;

    void get(const QUrl& url, const FetchLimits& limits,
             std::function<void(FetchResult)> done) override {
        ++requests;
        pending.push_back({url, limits, std::move(done)});
    }
    // Answers the oldest request.
    void answer(FetchResult result) {
        Request request = std::move(pending.front());
        pending.pop_front();
        request.done(std::move(result));
    }
};

// Everything an updater works with, on the manual scheduler, with what it shows, opens
// and asks recorded, and a clock the test sets.
struct UpdaterHost {
    struct Shown {
        UpdatePrompt prompt;
        UpdateMessageStyle style;
        std::function<void(bool)> choose;
    };
    QTemporaryDir dir;
    QSettings settings{dir.filePath("hopla.ini"), QSettings::IniFormat};
    fake::ManualScheduler scheduler;
    ScriptedFetcher fetcher;
    std::vector<Shown> shown;
    std::vector<QUrl> opened;
    int quits = 0;
    double clock = 1'800'000'000; // seconds since 1970

    // An updater of the build 57 (1.4.1) for get.hopla.test, downloading from cdn.hopla.test.
    std::unique_ptr<SelfUpdater> updater(bool enabled = true) {
        const UpdateConfiguration c{.desktopId = "app.hopla.Hopla",
                                    .manifestURL =
                                        QUrl("https://get.hopla.test/downloads/latest.json"),
                                    .allowedDownloadHosts = {"cdn.hopla.test"},
                                    .isEnabled = enabled};
        const auto alert = [this](const UpdatePrompt& p, UpdateMessageStyle s,
                                  std::function<void(bool)> choose) {
            shown.push_back({p, s, std::move(choose)});
        };
        return std::make_unique<SelfUpdater>(
            c, SelfUpdater::Environment{
                   .scheduler = scheduler,
                   .fetcher = fetcher,
                   .defaults = settings,
                   .promptHistory = settings,
                   .alert = alert,
                   .openURL = [this](const QUrl& url) { opened.push_back(url); },
                   .quit = [this] { ++quits; },
                   .running = {.path = {}, .identifier = {}, .version = "1.4.1", .build = "57"},
                   .secondsSince1970 = [this] { return clock; },
               });
    }
};

} // namespace hopla::testing
