// The switcher panel with 30 candidates and their icons, on Qt's offscreen platform (real
// widgets and painting): from SwitcherPanel::show to the end of the view's first completed
// paint, the window exposed and painted by the event loop as on a desktop; and the drawing
// alone, into an image the size of the panel, as the window system is handed it.
#include "core/panel/SwitcherPanel.h"
#include "tests/fakes/ManualScheduler.h"

#include <QApplication>

#include <benchmark/benchmark.h>

#include <chrono>
#include <optional>

namespace {

struct ThirtyCandidates {
    hopla::fake::ManualScheduler scheduler;
    hopla::SwitcherPanel panel{
        "Hopla",  [] { return QColor(10, 132, 255); },
        false,    [](const QString& s) { return s; },
        grey(80), {&scheduler, nullptr, [] { return false; }, {}, {}, {}, {}, {}}};
    std::vector<hopla::AppEntry> apps;
    hopla::IconMap icons;

    ThirtyCandidates() {
        for (int i = 0; i < 30; ++i) {
            apps.emplace_back(100 + i, QStringLiteral("Application with a long name %1").arg(i));
            QImage icon = grey(128); // scaled to 80 when drawn
            icon.fill(QColor::fromHsv(i * 12, 200, 220));
            icons.emplace(100 + i, icon);
        }
    }
    static QImage grey(int size) {
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::gray);
        return image;
    }
    hopla::SwitchSession session() const { return hopla::SwitchSession(apps, false); }
};

void BM_ShowToFirstPaint30(benchmark::State& state) {
    ThirtyCandidates c;
    const hopla::SwitchSession session = c.session();
    std::optional<std::chrono::steady_clock::time_point> paintedAt;
    QObject::connect(&c.panel.view(), &hopla::SwitcherView::painted, [&] {
        if (!paintedAt) {
            paintedAt = std::chrono::steady_clock::now();
        }
    });
    for (auto _ : state) {
        paintedAt.reset();
        const auto start = std::chrono::steady_clock::now();
        c.panel.show(session, c.icons);
        while (!paintedAt) {
            QCoreApplication::processEvents(QEventLoop::AllEvents);
        }
        state.SetIterationTime(std::chrono::duration<double>(*paintedAt - start).count());
        c.panel.hide();
        c.scheduler.advance(std::chrono::seconds(1));
        QCoreApplication::processEvents(); // the window's remaining events, outside the timing
    }
}
BENCHMARK(BM_ShowToFirstPaint30)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(500);

void BM_RenderPanel30(benchmark::State& state) {
    ThirtyCandidates c;
    c.panel.show(c.session(), c.icons);
    c.panel.hide();
    QCoreApplication::processEvents();
    QImage frame(c.panel.window().size(), QImage::Format_RGB32);
    for (auto _ : state) {
        c.panel.view().render(&frame);
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
