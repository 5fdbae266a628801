#pragma once

#include "platform/KeyEventSource.h"

#include <vector>

namespace hopla::fake {

// A keyboard that a test types on: send() runs the handler like the desktop would, on the
// calling thread, and answers whether the event was taken. Records what it was asked.
class FakeKeyEventSource final : public KeyEventSource {
public:
    bool refuses = false;
    std::vector<bool> sessionKeys; // every setSessionKeys call, in order
    int starts = 0;

    bool start(Handler handler) override {
        ++starts;
        if (refuses) {
            return false;
        }
        handler_ = std::move(handler);
        return true;
    }
    void stop() override { handler_ = nullptr; }
    bool running() const override { return static_cast<bool>(handler_); }
    void setSessionKeys(bool wanted) override { sessionKeys.push_back(wanted); }

    // Passes the event to the handler; unhandled (no handler) events pass.
    bool send(const KeyEvent& event) { return handler_ && handler_(event); }

private:
    Handler handler_;
};

} // namespace hopla::fake
