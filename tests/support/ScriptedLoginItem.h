#pragma once

#include "platform/LoginItem.h"

#include <vector>

namespace hopla::testing {

// A login service that answers as told and remembers what it was asked.
struct ScriptedLoginItem final : LoginItem {
    LoginItemStatus current = LoginItemStatus::notRegistered;
    std::optional<QString> refusal;
    std::vector<bool> requests;
    LoginItemStatus status() const override { return current; }
    std::optional<QString> setEnabled(bool on) override {
        requests.push_back(on);
        if (refusal) {
            return refusal;
        }
        current = on ? LoginItemStatus::enabled : LoginItemStatus::notRegistered;
        return std::nullopt;
    }
};

} // namespace hopla::testing
