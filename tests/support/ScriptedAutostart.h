#pragma once

#include "platform/Autostart.h"

#include <vector>

namespace hopla::testing {

// A login service that answers as told and remembers what it was asked.
struct ScriptedAutostart final : Autostart {
    AutostartStatus current = AutostartStatus::notRegistered;
    std::optional<QString> refusal;
    std::vector<bool> requests;
    AutostartStatus status() const override { return current; }
    std::optional<QString> setEnabled(bool on) override {
        requests.push_back(on);
        if (refusal) {
            return refusal;
        }
        current = on ? AutostartStatus::enabled : AutostartStatus::notRegistered;
        return std::nullopt;
    }
};

} // namespace hopla::testing
