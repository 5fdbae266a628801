// Opening a switching session over 200 running applications whose icons are already cached,
// from the Tab action to the panel being asked to show.
#include "core/ApplicationSwitcherController.h"
#include "tests/fakes/FakeRunningApps.h"
#include "tests/fakes/FakeWindowSystem.h"
#include "tests/fakes/ManualScheduler.h"

#include <benchmark/benchmark.h>

#include <chrono>

namespace {

// A panel that only notes when it was asked to show.
class TimedPanel final : public hopla::SwitcherPanelInterface {
public:
    hopla::PanelModel& model() override { return model_; }
    void show(const hopla::SwitchSession&, const hopla::IconMap& icons) override {
        shownAt = std::chrono::steady_clock::now();
        iconCount = icons.size();
    }
    void prepare(const hopla::SwitchSession&, const hopla::IconMap&) override {}
    void update(const hopla::SwitchSession&) override {}
    void update(const hopla::IconMap&) override {}
    void hide() override {}

    std::chrono::steady_clock::time_point shownAt;
    std::size_t iconCount = 0;

private:
    hopla::PanelModel model_;
};

void BM_OpenSession200AppsWarmIcons(benchmark::State& state) {
    const char* stems[] = {"微信",     "Терминал", "Files",  "Ελληνικά",
                           "카카오톡", "Åsa",      "Editor", "カタカナ"};
    hopla::fake::ManualScheduler scheduler;
    hopla::fake::FakeRunningApps runningApps(1);
    hopla::fake::FakeWindowSystem windows;
    QImage icon(80, 80, QImage::Format_ARGB32_Premultiplied);
    icon.fill(Qt::darkCyan);
    for (int i = 0; i < 200; ++i) {
        auto app = runningApps.add(100 + i, QString::fromUtf8(stems[i % 8]) + QString::number(i));
        app->ownIcon = icon;
        app->launched = hopla::WallClockTime(std::chrono::seconds(1'700'000'000 + i));
        app->executable = QString("/usr/bin/app%1").arg(i);
    }
    runningApps.bringToFront(150);
    TimedPanel panel;
    hopla::ApplicationSwitcherController controller(panel, runningApps, windows, scheduler);
    controller.route(hopla::GestureAction::tab(false)); // warm the icon cache
    scheduler.runDue();
    controller.route(hopla::GestureAction::cancel());

    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        controller.route(hopla::GestureAction::tab(false));
        state.SetIterationTime(std::chrono::duration<double>(panel.shownAt - start).count());
        controller.route(hopla::GestureAction::cancel());
        scheduler.runDue();
    }
    if (panel.iconCount != 200) {
        state.SkipWithError("icon cache was not warm");
    }
}
BENCHMARK(BM_OpenSession200AppsWarmIcons)->UseManualTime()->Unit(benchmark::kMicrosecond);

} // namespace
