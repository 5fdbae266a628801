#pragma once

#include "updater/UpdateFetcher.h"

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

} // namespace hopla::testing
