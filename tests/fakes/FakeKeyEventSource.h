#pragma once

#include "platform/KeyEventSource.h"

#include <vector>

namespace hopla::fake {

// A keyboard that a test types on: send() runs the handler like the desktop would, on the
// calling thread, and answers whether the event was taken. Records what it was asked.
class FakeKeyEventSource final : public KeyEventSource {
public:
    // start() fails with this while it is set.
    std::optional<StartFailure> refusal;
    std::vector<bool> sessionKeys; // every setSessionKeys call, in order
    int starts = 0;
    SwitchModifier modifier = SwitchModifier::super;
    // What interceptedBy() answers while running.
    std::optional<ShortcutHolder> interceptor;

    bool start(Handler handler) override {
        ++starts;
        failure_ = refusal;
        if (refusal) {
            return false;
        }
        handler_ = std::move(handler);
        return true;
    }
    void stop() override { handler_ = nullptr; }
    bool running() const override { return static_cast<bool>(handler_); }
    std::optional<StartFailure> lastFailure() const override { return failure_; }
    void setSessionKeys(bool wanted) override { sessionKeys.push_back(wanted); }
    void setSwitchModifier(SwitchModifier m) override { modifier = m; }
    SwitchModifier switchModifier() const override { return modifier; }
    std::optional<ShortcutHolder> interceptedBy() const override { return interceptor; }
    std::optional<std::string> windowKeyTaken() const override { return std::nullopt; }

    // Passes the event to the handler; unhandled (no handler) events pass.
    bool send(const KeyEvent& event) { return handler_ && handler_(event); }

private:
    Handler handler_;
    std::optional<StartFailure> failure_;
};

} // namespace hopla::fake
