#include "appearance/AppearanceAudit.h"

#include "appearance/DrawnMenu.h"
#include "appearance/MenuStyle.h"
#include "platform/FileSystem.h"

#include <QApplication>
#include <QBuffer>
#include <QDir>
#include <QEventLoop>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>
#include <QLayout>
#include <QMessageBox>
#include <QPointer>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>
#include <QTimer>
#include <QWindow>

#include <chrono>
#include <cstdio>
#include <cstdlib>

namespace hopla::AppearanceAudit {

namespace {

using namespace std::chrono_literals;

const QString switchName = QStringLiteral("--verify-dark-theme");
constexpr auto settleTime = 200ms;   // for a change of colours to reach every window
constexpr auto menuTime = 300ms;     // for the menu to open and draw
constexpr auto exposeLimit = 3000ms; // for a shown window to be on the screen

struct Phase {
    const char* name;
    bool dark;
};
constexpr Phase phases[] = {{"light", false}, {"dark", true}, {"light-restored", false}};

// A check that did not hold: ends the run with its description.
struct Failure {
    QString message;
};

void settle(std::chrono::milliseconds time) {
    QEventLoop loop;
    QTimer::singleShot(time, &loop, &QEventLoop::quit);
    loop.exec();
}

bool settleUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    for (auto waited = 0ms; !condition(); waited += 20ms) {
        if (waited >= limit) {
            return false;
        }
        settle(20ms);
    }
    return true;
}

QString throwawayPath() {
    return QDir::temp().filePath(
        QStringLiteral("appearance-audit-%1.ini").arg(QCoreApplication::applicationPid()));
}

// Colours drawn from a dark palette have a dark window background.
bool drawsDark(const QWidget& window) {
    return window.palette().color(QPalette::Window).lightness() < 128;
}

void hide(const std::vector<QPointer<QWidget>>& windows) {
    for (const auto& window : windows) {
        if (window) {
            window->hide();
        }
    }
}

class Recorder {
public:
    explicit Recorder(QString dir)
        : dir_(std::move(dir)) {}

    void capture(QWidget& window, const QString& scene, const QString& phase) {
        // A window the server does not show cannot be what the user sees.
        if (!settleUntil(
                [&window] { return window.windowHandle() && window.windowHandle()->isExposed(); },
                exposeLimit)) {
            throw Failure{QStringLiteral("Window is not on the screen: ") + scene};
        }
        const QImage image = window.grab().toImage();
        QByteArray png;
        QBuffer buffer(&png);
        buffer.open(QIODevice::WriteOnly);
        if (image.isNull() || !image.save(&buffer, "PNG") || png.isEmpty()) {
            throw Failure{QStringLiteral("PNG encoding failed")};
        }
        const QString path = QDir(dir_).filePath(scene + QLatin1Char('-') + phase + ".png");
        if (const auto failed = saveFile(path, png)) {
            throw Failure{QStringLiteral("cannot write %1: %2").arg(path, *failed)};
        }
        captures_.push_back({scene, phase, path, image.width(), image.height()});
    }
    std::vector<Capture>& captures() { return captures_; }

private:
    QString dir_;
    std::vector<Capture> captures_;
};

// Opens the tray's drawn menu at a small anchor in the window, captures it, and closes it
// with Escape as a user would.
void checkStatusMenu(QWidget& window, const QString& phase, Recorder& recorder) {
    // A popup opened while the window manager is still handing the focus to the window
    // would be closed by that change.
    settleUntil([&window] { return window.isActiveWindow(); }, exposeLimit);
    auto anchor = std::make_unique<QWidget>(&window);
    anchor->setGeometry(20, 20, 24, 24);
    anchor->show();
    const bool presented = TrayMenu::presentForAudit(*anchor);
    settle(menuTime);
    DrawnMenu& menu = DrawnMenu::shared();
    if (!presented || !menu.isOpen() || !menu.contentView()) {
        throw Failure{QStringLiteral("Custom status menu did not open")};
    }
    recorder.capture(*menu.popup(), QStringLiteral("status-menu"), phase);
    QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
    QApplication::sendEvent(menu.contentView(), &escape);
    settle(20ms);
    if (menu.isOpen()) {
        throw Failure{QStringLiteral("Escape did not close menu")};
    }
}

[[noreturn]] void finishFailed(const Result& result, const QString& dir) {
    QString ignored;
    writeSummary(result, dir, &ignored);
    std::fprintf(stderr, "Appearance audit failed: %s\n", qPrintable(result.error));
    std::fflush(stderr);
    QFile::remove(throwawayPath());
    std::_Exit(1);
}

} // namespace

Defaults::Defaults(const QStringList& arguments) {
    if (requested(arguments)) {
        throwaway_ = throwawayPath();
        QFile::remove(throwaway_);
        settings_ = std::make_unique<QSettings>(throwaway_, QSettings::IniFormat);
    } else {
        settings_ = std::make_unique<QSettings>();
    }
}

Defaults::~Defaults() {
    settings_.reset(); // writes its last changes first
    if (!throwaway_.isEmpty()) {
        QFile::remove(throwaway_);
    }
}

bool requested(const QStringList& arguments) {
    return arguments.contains(switchName);
}

QString evidenceDir(const QStringList& arguments) {
    const auto at = arguments.indexOf(QStringLiteral("--evidence-dir"));
    if (at >= 0 && at + 1 < arguments.size()) {
        return arguments[at + 1];
    }
    return QStringLiteral("/tmp/native-appearance-audit-%1")
        .arg(QCoreApplication::applicationPid());
}

Result run(const std::vector<Scene>& scenes, const Appearance& appearance, const QString& dir) {
    const QPalette remembered = QApplication::palette();
    Recorder recorder(dir);
    std::vector<QPointer<QWidget>> shown; // every scene's window, hidden before the next
    try {
        if (const auto failed = makeFolder(dir)) {
            throw Failure{QStringLiteral("cannot create the evidence folder ") + *failed};
        }
        for (const Phase& phase : phases) {
            appearance.force(phase.dark);
            settle(settleTime);
            bool first = true;
            for (const Scene& scene : scenes) {
                hide(shown);
                QString error;
                QPointer<QWidget> window = scene.show(error);
                if (!window) {
                    throw Failure{error};
                }
                shown.push_back(window);
                if (drawsDark(*window) != phase.dark) {
                    throw Failure{QStringLiteral("Appearance did not update: ") +
                                  QLatin1String(phase.name)};
                }
                recorder.capture(*window, scene.name, QLatin1String(phase.name));
                if (first) {
                    checkStatusMenu(*window, QLatin1String(phase.name), recorder);
                    first = false;
                }
            }
        }
        hide(shown);
        appearance.force(std::nullopt);
        settle(settleTime);
        if (!appearance.followsDesktop()) {
            throw Failure{QStringLiteral("System appearance was not restored")};
        }
    } catch (const Failure& failure) {
        QApplication::setPalette(remembered);
        return {false, std::move(recorder.captures()), failure.message};
    }
    return {true, std::move(recorder.captures()), {}};
}

bool writeSummary(const Result& result, const QString& dir, QString* error) {
    QJsonArray captures;
    for (const Capture& capture : result.captures) {
        captures.append(QJsonObject{{"scene", capture.scene},
                                    {"scheme", capture.scheme},
                                    {"screenshot", capture.screenshot},
                                    {"width", capture.width},
                                    {"height", capture.height}});
    }
    QJsonArray cycle;
    for (const Phase& phase : phases) {
        cycle.append(QLatin1String(phase.name));
    }
    // QJsonObject keeps its keys sorted.
    const QJsonObject summary{{"status", result.passed ? "passed" : "failed"},
                              {"environment", "native-x11"},
                              {"systemAppearanceChanged", false},
                              {"liveAppearanceCycle", cycle},
                              {"captures", captures},
                              {"error", result.error}};
    const QString path = QDir(dir).filePath(QStringLiteral("summary.json"));
    auto failed = makeFolder(dir);
    if (!failed) {
        failed = saveFile(path, QJsonDocument(summary).toJson(QJsonDocument::Indented));
    }
    if (failed) {
        *error = QStringLiteral("cannot write %1: %2").arg(path, *failed);
    }
    return !failed;
}

bool runIfRequested(const QStringList& arguments, std::vector<Scene> scenes,
                    Appearance appearance) {
    if (!requested(arguments)) {
        return false;
    }
    if (QGuiApplication::platformName() != QLatin1String("xcb")) {
        failAtOnce(arguments, QStringLiteral("Window capture requires an X display"));
    }
    const QString dir = evidenceDir(arguments);
    QTimer::singleShot(0, qApp, [dir, scenes = std::move(scenes), appearance] {
        Result result = run(scenes, appearance, dir);
        QString error;
        if (result.passed && !writeSummary(result, dir, &error)) {
            result = {false, std::move(result.captures), error};
        }
        if (!result.passed) {
            finishFailed(result, dir);
        }
        QCoreApplication::quit();
    });
    return true;
}

void failAtOnce(const QStringList& arguments, const QString& message) {
    finishFailed({false, {}, message}, evidenceDir(arguments));
}

Scene errorScene() {
    auto box = std::make_shared<std::unique_ptr<QMessageBox>>();
    return {QStringLiteral("error-dialog"), [box](QString&) -> QWidget* {
                if (!*box) {
                    *box = std::make_unique<QMessageBox>(
                        QMessageBox::Warning, QStringLiteral("Hopla"),
                        QStringLiteral("这是隔离验收中的错误提示，请重试。"), QMessageBox::Ok);
                }
                (*box)->show();
                (*box)->raise();
                return box->get();
            }};
}

void scroll(QWidget& window, bool toBottom) {
    auto* area = window.findChild<QScrollArea*>();
    if (!area) {
        return;
    }
    window.ensurePolished();
    if (auto* layout = window.layout()) {
        layout->activate();
    }
    QScrollBar* bar = area->verticalScrollBar();
    bar->setValue(toBottom ? bar->maximum() : bar->minimum());
}

} // namespace hopla::AppearanceAudit
