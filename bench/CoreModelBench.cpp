// The switcher's hot paths: the per-key decision on the tap thread, shortcut derivation for
// a session's worth of names, and recency ordering.
#include "core/AppEntry.h"
#include "core/KeyboardGesture.h"
#include "core/RecentApps.h"
#include "platform/VirtualKeys.h"

#include <benchmark/benchmark.h>

#include <random>

namespace {

using hopla::KeyboardGesture;

// One Super+Tab press and release, as the tap sees it: key-down decision, key-up decision.
void BM_KeyDownDecision_SwitchTab(benchmark::State& state) {
    KeyboardGesture gesture;
    const KeyboardGesture::KeyDown down{.code = hopla::keyCode(hopla::VirtualKey::tab),
                                        .switchModifier = true,
                                        .shift = false,
                                        .otherModifier = false,
                                        .repeated = false,
                                        .sessionOpen = false,
                                        .letter = std::nullopt};
    for (auto _ : state) {
        benchmark::DoNotOptimize(gesture.keyDown(down));
        benchmark::DoNotOptimize(gesture.keyUp(hopla::keyCode(hopla::VirtualKey::tab)));
    }
}
BENCHMARK(BM_KeyDownDecision_SwitchTab);

// A letter key passing through while a session is open, and a key the switcher leaves alone.
void BM_KeyDownDecision_LetterAndPass(benchmark::State& state) {
    KeyboardGesture gesture;
    const KeyboardGesture::KeyDown letter{.code = 1,
                                          .switchModifier = true,
                                          .shift = false,
                                          .otherModifier = false,
                                          .repeated = false,
                                          .sessionOpen = true,
                                          .letter = 'S'};
    const KeyboardGesture::KeyDown arrow{.code = 123,
                                         .switchModifier = true,
                                         .shift = false,
                                         .otherModifier = false,
                                         .repeated = false,
                                         .sessionOpen = true,
                                         .letter = std::nullopt};
    for (auto _ : state) {
        benchmark::DoNotOptimize(gesture.keyDown(letter));
        benchmark::DoNotOptimize(gesture.keyDown(arrow));
        benchmark::DoNotOptimize(gesture.keyUp(1));
    }
}
BENCHMARK(BM_KeyDownDecision_LetterAndPass);

// 200 application names in many scripts, all different, as on a crowded desktop.
std::vector<QString> mixedScriptNames() {
    const char* stems[] = {
        "微信",     "网易云音乐", "终端",      "Яндекс",     "Телеграм",    "Ελληνικά",
        "カタカナ", "ひらがな",   "카카오톡",  "Åsa",        "Émile",       "🚀 Rocket",
        "★ Star",   "Firefox",    "3D Viewer", "  42 Tools", "LibreOffice", "Visual Studio Code",
        "עברית",    "Ölçü"};
    std::vector<QString> names;
    for (int i = 0; names.size() < 200; ++i) {
        names.push_back(QString::fromUtf8(stems[i % std::size(stems)]) + QString::number(i));
    }
    return names;
}

void BM_ShortcutsFor200MixedScriptNames(benchmark::State& state) {
    const auto names = mixedScriptNames();
    benchmark::DoNotOptimize(hopla::shortcutForName(names[0])); // creates the transliterator once
    for (auto _ : state) {
        for (const QString& name : names) {
            benchmark::DoNotOptimize(hopla::shortcutForName(name));
        }
    }
}
BENCHMARK(BM_ShortcutsFor200MixedScriptNames)->Unit(benchmark::kMicrosecond);

// 200 running applications, half of them in the recency list in shuffled order.
void BM_RecentAppsOrdered200(benchmark::State& state) {
    std::vector<hopla::AppEntry> entries;
    const auto names = mixedScriptNames();
    for (int i = 0; i < 200; ++i) {
        entries.emplace_back(1000 + i, names[static_cast<std::size_t>(i)]);
    }
    std::vector<hopla::AppHandle> listed;
    for (int i = 0; i < 200; i += 2) {
        listed.push_back(1000 + i);
    }
    std::shuffle(listed.begin(), listed.end(), std::mt19937(7));
    hopla::RecentApps recent;
    for (const auto id : listed) {
        recent.activate(id);
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(recent.ordered(entries));
    }
}
BENCHMARK(BM_RecentAppsOrdered200)->Unit(benchmark::kMicrosecond);

} // namespace
