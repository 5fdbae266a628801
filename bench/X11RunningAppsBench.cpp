// On a private Xvfb + openbox display: listing 50 running applications with their windows,
// and the activation round trip from the _NET_ACTIVE_WINDOW request to the property change.
#include "platform/x11/ClientWindows.h"
#include "platform/x11/X11RunningApps.h"
#include "platform/x11/XConnection.h"
#include "tests/desktop/harness/X11Desktop.h"

#include <QCoreApplication>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdio>

namespace {

using hopla::testing::X11Desktop;

std::vector<QProcess*>& clients() {
    static std::vector<QProcess*> started;
    return started;
}

std::unique_ptr<hopla::x11::X11RunningApps>& runningApps() {
    static std::unique_ptr<hopla::x11::X11RunningApps> instance;
    return instance;
}

void startClients(X11Desktop& desktop, int count) {
    for (int i = 0; i < count; ++i) {
        clients().push_back(
            desktop.launch(hopla::testing::testClientPath(),
                           {"--class", QString("bench%1,Bench%1").arg(i), "--icon", "64"}));
    }
    desktop.waitFor(
        [&] { return runningApps()->runningApplications().size() >= std::size_t(count); },
        std::chrono::seconds(60));
}

void BM_ListRunningApplications50(benchmark::State& state) {
    for (auto _ : state) {
        const auto apps = runningApps()->runningApplications();
        benchmark::DoNotOptimize(apps.data());
        if (apps.size() < 50) {
            state.SkipWithError("fewer than 50 applications");
            break;
        }
    }
}
BENCHMARK(BM_ListRunningApplications50)->Unit(benchmark::kMillisecond);

// Alternates between two applications; each iteration is one request and the wait until
// _NET_ACTIVE_WINDOW names the target. Reported per switch.
void BM_ActivationRoundTrip(benchmark::State& state) {
    auto apps = runningApps()->runningApplications();
    auto x = hopla::x11::XConnection::open(nullptr, nullptr);
    std::size_t turn = 0;
    for (auto _ : state) {
        const auto& target = apps[turn++ % 2];
        const auto window =
            static_cast<const hopla::x11::X11Application&>(*target).clientWindows().front().id;
        const auto start = std::chrono::steady_clock::now();
        target->activate();
        while (hopla::x11::readActiveWindow(*x) != window) {
        }
        state.SetIterationTime(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
}
BENCHMARK(BM_ActivationRoundTrip)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(200);

} // namespace

int main(int argc, char** argv) {
    QCoreApplication application(argc, argv);
    QString error;
    X11Desktop* desktop = X11Desktop::start(&error);
    if (!desktop) {
        std::fprintf(stderr, "cannot start the benchmark desktop: %s\n", qPrintable(error));
        return 1;
    }
    std::string openError;
    runningApps() = hopla::x11::X11RunningApps::open(&openError);
    if (!runningApps()) {
        std::fprintf(stderr, "%s\n", openError.c_str());
        return 1;
    }
    startClients(*desktop, 50);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    runningApps().reset();
    X11Desktop::shutdown();
    return 0;
}
