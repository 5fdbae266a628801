#pragma once

#include "core/PanelModel.h"

#include <vector>

namespace hopla::testing {

// A panel that draws nothing and remembers what it was asked, in order.
class RecordingPanel final : public SwitcherPanelInterface {
public:
    PanelModel& model() override { return model_; }
    void show(const SwitchSession& session, const IconMap& icons) override {
        calls.push_back("show");
        model_.setFailedId(std::nullopt);
        model_.setSession(session);
        model_.setIcons(icons);
        shown = true;
    }
    void prepare(const SwitchSession& session, const IconMap&) override {
        prepared.push_back(session);
    }
    void update(const SwitchSession& session) override {
        calls.push_back("update");
        model_.setSession(session);
    }
    void update(const IconMap& icons) override {
        calls.push_back("icons");
        model_.setIcons(icons);
    }
    void hide() override {
        calls.push_back("hide");
        shown = false;
    }

    std::vector<std::string> calls;
    std::vector<SwitchSession> prepared;
    bool shown = false;

private:
    PanelModel model_;
};

} // namespace hopla::testing
