// From SwitcherPanel::show to the end of the first completed paint of the view, with 30
// candidates and their icons, on Qt's offscreen platform (real widgets and painting). The
// window is exposed and painted by the event loop, as on a desktop.
#include "core/panel/SwitcherPanel.h"
#include "platform/fake/ManualScheduler.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <chrono>
#include <optional>

namespace {

void BM_ShowToFirstPaint30(benchmark::State& state) {
    hopla::fake::ManualScheduler scheduler;
    QImage fallback(80, 80, QImage::Format_ARGB32_Premultiplied);
    fallback.fill(Qt::gray);
    hopla::SwitcherPanel panel(
        "Hopla", [] { return QColor(10, 132, 255); }, false, [](const QString& s) { return s; },
        fallback, {&scheduler, nullptr, [] { return false; }, {}, {}, {}});
    std::vector<hopla::AppEntry> apps;
    hopla::IconMap icons;
    for (int i = 0; i < 30; ++i) {
        apps.emplace_back(100 + i, QStringLiteral("Application %1").arg(i));
        QImage icon(128, 128, QImage::Format_ARGB32_Premultiplied); // scaled to 80 when drawn
        icon.fill(QColor::fromHsv(i * 12, 200, 220));
        icons.emplace(100 + i, icon);
    }
    const hopla::SwitchSession session(apps, false);
    std::optional<std::chrono::steady_clock::time_point> paintedAt;
    QObject::connect(&panel.view(), &hopla::SwitcherView::painted, [&] {
        if (!paintedAt) {
            paintedAt = std::chrono::steady_clock::now();
        }
    });
    for (auto _ : state) {
        paintedAt.reset();
        const auto start = std::chrono::steady_clock::now();
        panel.show(session, icons);
        while (!paintedAt) {
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
        state.SetIterationTime(std::chrono::duration<double>(*paintedAt - start).count());
        panel.hide();
        scheduler.advance(std::chrono::seconds(1));
        QCoreApplication::processEvents(); // the window's remaining events, outside the timing
    }
}
BENCHMARK(BM_ShowToFirstPaint30)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(500);

// The view drawn into an image the size of the panel, as the first frame is: the drawing
// alone, without the event loop or the window system.
void BM_RenderPanel30(benchmark::State& state) {
    hopla::fake::ManualScheduler scheduler;
    QImage fallback(80, 80, QImage::Format_ARGB32_Premultiplied);
    fallback.fill(Qt::gray);
    hopla::SwitcherPanel panel(
        "Hopla", [] { return QColor(10, 132, 255); }, false, [](const QString& s) { return s; },
        fallback, {&scheduler, nullptr, [] { return false; }, {}, {}, {}});
    std::vector<hopla::AppEntry> apps;
    hopla::IconMap icons;
    for (int i = 0; i < 30; ++i) {
        apps.emplace_back(100 + i, QStringLiteral("Application with a long name %1").arg(i));
        QImage icon(128, 128, QImage::Format_ARGB32_Premultiplied);
        icon.fill(QColor::fromHsv(i * 12, 200, 220));
        icons.emplace(100 + i, icon);
    }
    panel.show(hopla::SwitchSession(apps, false), icons);
    panel.hide();
    QCoreApplication::processEvents();
    QImage frame(panel.window().size(), QImage::Format_RGB32);
    for (auto _ : state) {
        panel.view().render(&frame);
        benchmark::DoNotOptimize(frame.constBits());
    }
}
BENCHMARK(BM_RenderPanel30)->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
