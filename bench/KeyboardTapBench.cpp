// The keyboard tap's decision for one event, as the event source's thread runs it: the
// lock, the gesture machine, the letter table, and for taken keys the hand-off to the main
// queue (which the main thread then drains, outside the timing).
#include "core/KeyboardTap.h"
#include "platform/xkb/KeyboardLayout.h"
#include "tests/fakes/FakeKeyEventSource.h"
#include "tests/fakes/ManualScheduler.h"

#include <benchmark/benchmark.h>

namespace {

using hopla::KeyEvent;

struct Rig {
    hopla::fake::ManualScheduler mainQueue;
    hopla::fake::FakeKeyEventSource source;
    hopla::KeyboardTap tap{source,
                           mainQueue,
                           [] { return hopla::KeyboardLayout::fromNames({})->letters(); },
                           {{}, [] { return true; }}};
    Rig() {
        tap.start();
        source.send({KeyEvent::Type::keyDown, 48, true, false, false, false}); // open a session
        source.send({KeyEvent::Type::keyUp, 48, false, false, false, false});
        mainQueue.runDue();
    }
};

void BM_TapDecision_PassedKey(benchmark::State& state) {
    Rig rig;
    const KeyEvent arrow{KeyEvent::Type::keyDown, 123, true, false, false, false};
    const KeyEvent arrowUp{KeyEvent::Type::keyUp, 123, false, false, false, false};
    for (auto _ : state) {
        benchmark::DoNotOptimize(rig.tap.handle(arrow));
        benchmark::DoNotOptimize(rig.tap.handle(arrowUp));
    }
}
BENCHMARK(BM_TapDecision_PassedKey);

void BM_TapDecision_TakenLetterWithHandOff(benchmark::State& state) {
    Rig rig;
    const KeyEvent letter{KeyEvent::Type::keyDown, 1, true, false, false, false};
    const KeyEvent letterUp{KeyEvent::Type::keyUp, 1, false, false, false, false};
    for (auto _ : state) {
        benchmark::DoNotOptimize(rig.tap.handle(letter));
        benchmark::DoNotOptimize(rig.tap.handle(letterUp));
        state.PauseTiming();
        rig.mainQueue.runDue();
        state.ResumeTiming();
    }
}
BENCHMARK(BM_TapDecision_TakenLetterWithHandOff);

} // namespace
