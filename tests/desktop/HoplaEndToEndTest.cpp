// Hopla itself, the real program, on a private Xvfb + openbox desktop: keys typed through
// XTEST switch between real windows.
#include "platform/x11/ShortcutHolders.h"
#include "platform/x11/X11Keyboard.h"
#include "platform/x11/XConnection.h"
#include "platform/xfce/XfwmShortcuts.h"
#include "tests/desktop/harness/X11Desktop.h"
#include "tests/services/Processes.h"
#include "tests/support/Files.h"

#include <QImage>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>

#include <algorithm>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;
using hopla::testing::X11Desktop;

constexpr xcb_keycode_t keyM = 50 + 8, keyEscape = 1 + 8;

// One fixture for every way Hopla is met: each test starts the Hoplas it needs, and every
// one of them is stopped after it (one Hopla at a time holds Super+Tab).
struct HoplaEndToEnd : ::testing::Test {
    X11Desktop& desktop = *X11Desktop::instance();
    std::unique_ptr<hopla::x11::XConnection> x = hopla::x11::XConnection::open(nullptr, nullptr);
    hopla::x11::ServerKeyboard keyboard = std::move(*hopla::x11::readServerKeyboard(*x, nullptr));
    QTemporaryDir config;
    std::vector<QProcess*> started;
    QProcess* hopla = nullptr; // the last started, whose log is read
    QString log;
    bool freesSuperTab = true; // as a user who set the window manager up for Hopla

    void SetUp() override {
        qputenv("XDG_CONFIG_HOME", config.path().toUtf8()); // settings of this test's own
        qputenv("QT_QPA_PLATFORM", "xcb"); // the runner may have chosen offscreen for widgets
        if (freesSuperTab) {
            freeSuperTab();
        }
    }
    void TearDown() override {
        for (QProcess* process : started) {
            desktop.stop(process);
        }
    }
    // As started at login unless told otherwise: no settings window to take the focus.
    QProcess* startHopla(const QStringList& arguments = {QStringLiteral("--login-item")}) {
        log.clear();
        hopla = desktop.launch(QStringLiteral(HOPLA_BINARY), arguments, QProcess::SeparateChannels);
        started.push_back(hopla);
        return hopla;
    }
    void startHoplaHoldingSuperTab() {
        startHopla();
        ASSERT_TRUE(desktop.waitFor([&] { return hoplaHoldsSuperTab(); }))
            << "Hopla never took Super+Tab";
    }
    // Whether Hopla's log (the settings card's text, line by line) has said this.
    bool logged(const QString& text) {
        log += QString::fromUtf8(hopla->readAllStandardError());
        return log.contains(text);
    }

    // What a user of this window manager does so Super+Tab reaches Hopla: under xfwm4 the
    // settings card's release (the same call), under IceWM turning Win95Keys off.
    void freeSuperTab() {
        if (desktop.windowManager() == QLatin1String("xfwm4")) {
            ASSERT_EQ(hopla::xfce::releaseXfwmSwitchBinding(QStringLiteral("Super")), std::nullopt);
            ASSERT_TRUE(desktop.waitFor([&] { return !hoplaHoldsSuperTab(); }))
                << "xfwm4 kept Super+Tab";
        } else if (desktop.windowManager() == QLatin1String("icewm")) {
            configureIceWm("Win95Keys=0\n");
        }
    }
    void configureIceWm(const QByteArray& preferences) {
        ASSERT_TRUE(
            hopla::testing::write(desktop.windowManagerConfig() + "/preferences", preferences));
        QString error;
        ASSERT_TRUE(desktop.restartWindowManager(&error)) << error.toStdString();
    }
    void setting(const char* key, const QVariant& value) {
        QSettings stored(config.filePath("Hopla/Hopla.conf"), QSettings::IniFormat);
        stored.setValue(key, value);
    }

    // Another client holding the combination makes our own grab fail (under xfwm4 and IceWM,
    // check that the window manager let go first).
    bool hoplaHolds(std::uint16_t modifier) { return desktop.keyHeldElsewhere(modifier, tab()); }
    bool hoplaHoldsSuperTab() { return hoplaHolds(keyboard.superMask); }

    xcb_window_t client(const QString& name) {
        const xcb_window_t w = desktop.focusedTestClient({"--class", name.toLower() + "," + name});
        EXPECT_TRUE(w != 0 && active() == w) << "new windows get the focus";
        return w;
    }
    xcb_window_t active() { return desktop.activeWindow(); }
    void activate(xcb_window_t w) {
        desktop.activate(w);
        ASSERT_TRUE(desktop.waitFor([&] { return active() == w; }));
    }
    void tabWith(std::uint8_t modifierKey, std::optional<xcb_keycode_t> key = std::nullopt) {
        desktop.key(modifierKey, true);
        desktop.press(key.value_or(tab()));
        desktop.key(modifierKey, false);
    }
    void superTab() { tabWith(super()); }
    bool panelShown() {
        const auto windows = desktop.children(x->root());
        return std::any_of(windows.begin(), windows.end(),
                           [&](std::uint32_t w) { return isHoplas(w) && desktop.viewable(w); });
    }
    bool isHoplas(std::uint32_t window) { return desktop.windowClass(window).contains("Hopla"); }
    std::optional<xcb_window_t> settingsWindow() {
        for (const auto& w : desktop.clientWindows()) {
            if (w.className.contains(QLatin1String("Hopla")) && !w.minimized) {
                return w.id;
            }
        }
        return std::nullopt;
    }
    xcb_keycode_t super() const { return keyboard.superKeys.front(); }
    xcb_keycode_t tab() const { return keyboard.tabKeys.front(); }
    // Lets Hopla see each activation before the next one.
    void settle() {
        desktop.waitFor([] { return false; }, 300ms);
    }
    std::optional<std::int64_t> activePid() {
        const auto w = desktop.clientWindow(active());
        return w && w->pid ? std::optional<std::int64_t>(*w->pid) : std::nullopt;
    }
    xcb_window_t windowOf(std::int64_t pid) {
        for (const auto& w : desktop.clientWindows()) {
            if (w.pid == pid) {
                return w.id;
            }
        }
        return 0;
    }
    // A Debian program, once its window has the focus; its process id.
    std::int64_t run(const char* program) {
        const std::int64_t pid = desktop.launch(QString::fromLatin1(program), {})->processId();
        EXPECT_TRUE(desktop.waitFor([&] { return activePid() == pid; }))
            << program << " never got the focus";
        return pid;
    }
};

TEST_F(HoplaEndToEnd, SuperTabThenReleaseBringsThePreviousApplicationBackRestoringIt) {
    startHoplaHoldingSuperTab();
    EXPECT_FALSE(desktop.waitFor([&] { return settingsWindow().has_value(); }, 1500ms))
        << "a start at login opens no window";
    const xcb_window_t first = client("First");
    client("Second"); // now frontmost; First was used before it
    settle();
    desktop.minimize(first);
    ASSERT_TRUE(desktop.waitFor([&] { return desktop.clientWindow(first).value().minimized; }));
    superTab();
    EXPECT_TRUE(desktop.waitFor([&] { return active() == first; }));
    EXPECT_FALSE(desktop.clientWindow(first).value().minimized);

    // A preview beside the running Hopla saves its panel.
    const QString path = config.filePath("panel.png");
    started.push_back(desktop.launch(HOPLA_BINARY, {"--preview", "--panel-screenshot", path}));
    ASSERT_TRUE(desktop.waitFor([&] { return QImage(path).width() > 0; }, 10s));
    EXPECT_GE(QImage(path).width(), 2 * 112) << "two applications at least";
}

TEST_F(HoplaEndToEnd, TwoXtermsAreOneApplicationAndSuperAboveTabGoesThroughTheirWindows) {
    startHoplaHoldingSuperTab();
    const xcb_window_t other = client("Other");
    const std::int64_t older = run("xterm");
    const std::int64_t newer = run("xterm"); // another process, the same application
    const xcb_window_t newerWindow = active();
    settle();
    superTab(); // one tile for both: the previous application is the other one
    EXPECT_TRUE(desktop.waitFor([&] { return active() == other; }));
    settle();
    superTab(); // back to the xterm used last
    EXPECT_TRUE(desktop.waitFor([&] { return activePid() == newer; }));
    settle();

    const xcb_window_t olderWindow = windowOf(older);
    desktop.minimize(olderWindow);
    ASSERT_TRUE(desktop.waitFor([&] { return desktop.clientWindow(olderWindow)->minimized; }));
    const xcb_keycode_t aboveTab = keyboard.windowKeys.at(0);
    tabWith(super(), aboveTab); // the other window of the application in front, restored
    EXPECT_TRUE(desktop.waitFor([&] { return active() == olderWindow; }));
    EXPECT_FALSE(desktop.clientWindow(olderWindow)->minimized);
    settle();
    tabWith(super(), aboveTab);
    EXPECT_TRUE(desktop.waitFor([&] { return active() == newerWindow; }));
}

TEST_F(HoplaEndToEnd, AUniqueLetterSwitchesAtOnceAndEscapeCancels) {
    startHoplaHoldingSuperTab();
    const xcb_window_t mike = client("Mike");
    client("Kilo");
    client("Lima");
    settle();
    desktop.key(super(), true);
    desktop.press(tab());
    ASSERT_TRUE(desktop.waitFor([&] { return panelShown(); }));
    desktop.press(keyM); // only Mike starts with M
    EXPECT_TRUE(desktop.waitFor([&] { return active() == mike; }))
        << "switched while Super is still held";
    desktop.key(super(), false);
    settle(); // releasing Super while that switch still confirms activates Mike once more

    desktop.key(super(), true);
    desktop.press(tab());
    ASSERT_TRUE(desktop.waitFor([&] { return panelShown(); }));
    desktop.press(keyEscape);
    desktop.key(super(), false);
    EXPECT_FALSE(desktop.waitFor([&] { return active() != mike; }, 600ms))
        << "Escape must switch nothing; active " << active() << ", Mike " << mike;
}

TEST_F(HoplaEndToEnd, APlainLaunchShowsTheSettingsAndALaterOneBringsThemBack) {
    startHopla({});
    ASSERT_TRUE(desktop.waitFor([&] { return settingsWindow().has_value(); }));
    const xcb_window_t settings = *settingsWindow();
    EXPECT_TRUE(desktop.waitFor([&] { return active() == settings; }));
    ASSERT_TRUE(desktop.waitFor([&] { return hoplaHoldsSuperTab(); }));

    // Another launch brings the settings forward, whether behind a window or closed.
    const auto launchAgain = [&] {
        QProcess* again = startHopla({});
        ASSERT_TRUE(again->waitForFinished(10000));
        EXPECT_EQ(again->exitCode(), 0);
        EXPECT_TRUE(again->readAllStandardOutput().contains("already running"));
        EXPECT_TRUE(desktop.waitFor([&] { return active() == settingsWindow(); }));
    };
    client("Other"); // takes the focus from the settings
    launchAgain();
    xcb_ewmh_request_close_window(x->ewmh(), x->screenNumber(), settings, XCB_CURRENT_TIME,
                                  XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    xcb_flush(x->raw());
    ASSERT_TRUE(desktop.waitFor([&] { return !settingsWindow().has_value(); }));
    launchAgain();
}

// Runs Hopla to its end: its exit status and its standard output and error together.
std::pair<int, QString>
check(const QStringList& arguments,
      const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    return hopla::testing::runToEnd(QStringLiteral(HOPLA_BINARY), arguments, environment, 90s);
}

TEST_F(HoplaEndToEnd, ShortcutsPassBesideARunningHoplaAndFailWithoutAWindow) {
    startHoplaHoldingSuperTab();
    const auto [passed, passLines] = check({"--verify-app-shortcuts"});
    EXPECT_EQ(passed, 0) << passLines.toStdString();
    EXPECT_TRUE(passLines.contains("APP SHORTCUT VERIFY PASS: Ctrl+W closes the window without "
                                   "quitting; Ctrl+, opens settings"))
        << passLines.toStdString();

    const auto [failed, failLines] = check({"--verify-app-shortcuts", "--login-item"});
    EXPECT_EQ(failed, 1);
    EXPECT_TRUE(failLines.contains(
        "APP SHORTCUT VERIFY FAIL: settings window was not visible before Ctrl+W"))
        << failLines.toStdString();
    EXPECT_TRUE(hoplaHoldsSuperTab()) << "the running Hopla went on";
}

TEST_F(HoplaEndToEnd, TheAppearanceAuditCapturesEverySceneInEachPhaseAndLeavesTheUserSettings) {
    client("Alpha"); // the switcher scene needs an application to show
    setting("appearance", "dark");
    setting("showsTrayIcon", false);
    const QString userSettings = config.filePath("Hopla/Hopla.conf");
    const QByteArray userBytes = hopla::testing::readAll(userSettings);

    const QString evidence = config.filePath("evidence");
    const auto [status, lines] = check({"--verify-dark-theme", "--evidence-dir", evidence});
    ASSERT_EQ(status, 0) << lines.toStdString();
    const QJsonObject summary =
        QJsonDocument::fromJson(hopla::testing::readAll(evidence + "/summary.json")).object();
    EXPECT_EQ(summary["status"].toString(), "passed");
    EXPECT_EQ(summary["liveAppearanceCycle"].toArray(),
              QJsonArray({"light", "dark", "light-restored"}));
    QStringList names;
    for (const auto& value : summary["captures"].toArray()) {
        const QJsonObject capture = value.toObject();
        const QImage image(capture["screenshot"].toString());
        EXPECT_EQ(image.size(), QSize(capture["width"].toInt(), capture["height"].toInt()))
            << capture["screenshot"].toString().toStdString();
        names << capture["scene"].toString() + "-" + capture["scheme"].toString();
    }
    names.sort();
    EXPECT_EQ(
        names.join(' '),
        "error-dialog-dark error-dialog-light error-dialog-light-restored settings-bottom-dark "
        "settings-bottom-light settings-bottom-light-restored settings-top-dark "
        "settings-top-light settings-top-light-restored status-menu-dark status-menu-light "
        "status-menu-light-restored switcher-dark switcher-light switcher-light-restored");
    // The light and the dark capture of a scene differ.
    EXPECT_NE(QImage(evidence + "/settings-top-light.png"),
              QImage(evidence + "/settings-top-dark.png"));
    EXPECT_EQ(hopla::testing::readAll(userSettings), userBytes) << "the user's settings changed";
}

TEST_F(HoplaEndToEnd, WithoutADisplayHoplaAndTheAuditSayWhyAndEnd) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.remove("DISPLAY");
    environment.remove("QT_QPA_PLATFORM");
    const QString evidence = config.filePath("evidence");
    const auto [status, lines] =
        check({"--verify-dark-theme", "--evidence-dir", evidence}, environment);
    EXPECT_EQ(status, 1);
    EXPECT_TRUE(lines.contains("Appearance audit failed: Window capture requires an X display"))
        << lines.toStdString();
    const auto summary = hopla::testing::readAll(evidence + "/summary.json");
    EXPECT_EQ(QJsonDocument::fromJson(summary).object()["status"].toString(), "failed");

    // A display that no server answers (a stale DISPLAY): Hopla's own words, not Qt's abort.
    environment.insert("DISPLAY", ":4095");
    const auto [unreachable, said] = check({"--login-item"}, environment);
    EXPECT_EQ(unreachable, 1);
    EXPECT_TRUE(said.startsWith("hopla: cannot connect to the X server at :4095"))
        << said.toStdString();
}

// What a new user meets on each window manager (the tests run under openbox, xfwm4 and
// IceWM, with its default settings): real GTK, Qt and old X programs, and Super+Tab either
// free, or held with the card naming the holder until the user frees it.
struct HoplaFirstRun : HoplaEndToEnd {
    HoplaFirstRun() { freesSuperTab = false; }
};

TEST_F(HoplaFirstRun, TheFirstSwitchGoesToThePreviousApplicationOnceSuperTabIsFree) {
    if (desktop.windowManager() == QLatin1String("xfwm4") && !hoplaHoldsSuperTab()) {
        GTEST_SKIP() << "an earlier test in this process released xfwm4's binding";
    }
    const QString& wm = desktop.windowManager();
    std::int64_t previous = run("galculator");      // GTK 3
    const std::int64_t second = run("speedcrunch"); // Qt 5
    const std::int64_t front = run("xterm");
    if (wm == QLatin1String("fluxbox")) {
        // Used in another order than mapped: fluxbox lists its stacking in mapping order.
        activate(windowOf(previous));
        activate(windowOf(front));
        settle();
    } else {
        previous = second;
    }
    startHopla();
    if (wm == QLatin1String("xfwm4")) {
        ASSERT_TRUE(desktop.waitFor([&] { return logged("Xfwm4 占用了 Super+Tab"); }))
            << log.toStdString();
        // What the card's release button runs.
        ASSERT_EQ(hopla::xfce::releaseXfwmSwitchBinding(QStringLiteral("Super")), std::nullopt);
        ASSERT_TRUE(desktop.waitFor([&] { return logged("准备就绪"); }))
            << "taken at the next refresh, with xfwm4 still running; log: " << log.toStdString();
    } else if (wm == QLatin1String("icewm")) {
        ASSERT_TRUE(desktop.waitFor([&] { return hoplaHoldsSuperTab(); }));
        superTab(); // IceWM takes Super for its menu: the Tab never comes
        ASSERT_TRUE(desktop.waitFor([&] { return logged("IceWM 拦截了 Super 键"); }))
            << "never a false ready; log: " << log.toStdString();
        EXPECT_FALSE(panelShown());
        configureIceWm("Win95Keys=0\n");
        activate(windowOf(previous)); // the restart moved the focus around
        activate(windowOf(front));
        settle();
    } else if (wm == QLatin1String("fluxbox")) {
        // The card shows the line of ~/.fluxbox/keys, and its button takes it out.
        ASSERT_TRUE(desktop.waitFor([&] { return logged("Mod4 Tab :NextTab"); }))
            << log.toStdString();
        ASSERT_EQ(hopla::x11::releaseWindowManagerBinding(QStringLiteral("Super")), std::nullopt);
        ASSERT_TRUE(desktop.waitFor([&] { return logged("准备就绪"); }))
            << "taken at the next refresh, fluxbox reconfigured; log: " << log.toStdString();
    } else {
        ASSERT_TRUE(desktop.waitFor([&] { return hoplaHoldsSuperTab(); }));
    }
    superTab();
    EXPECT_TRUE(desktop.waitFor([&] { return activePid() == previous; }))
        << "the first Super+Tab goes to the previous application; log: " << log.toStdString()
        << " active " << activePid().value_or(0) << " previous " << previous;
    EXPECT_TRUE(desktop.waitFor([&] { return logged("准备就绪"); })) << log.toStdString();
}

TEST_F(HoplaEndToEnd, AltTabSwitchesWhereTheWindowManagerLeavesItFreeAndIsNamedWhereNot) {
    setting("switchModifier", "alt");
    const QString& wm = desktop.windowManager();
    if (wm != QLatin1String("icewm")) {
        startHopla();
        const QString holder = wm == QLatin1String("xfwm4") ? "Xfwm4" : "Openbox";
        EXPECT_TRUE(desktop.waitFor([&] { return logged(holder + " 占用了 Alt+Tab"); }))
            << log.toStdString();
        return;
    }
    // IceWM lets its own Alt+Tab go when its keys are set to nothing.
    configureIceWm("Win95Keys=0\nKeySysSwitchNext=\"\"\nKeySysSwitchLast=\"\"\n");
    const xcb_window_t first = client("First");
    client("Second");
    startHopla();
    ASSERT_TRUE(desktop.waitFor([&] { return hoplaHolds(keyboard.altMask); })) << log.toStdString();
    settle();
    tabWith(keyboard.altKeys.front());
    EXPECT_TRUE(desktop.waitFor([&] { return active() == first; }));
}

TEST_F(HoplaEndToEnd, WithoutAKeyOnTheSuperModifierNoTabIsGrabbed) {
    // Take Super off Mod4, as a remapped keyboard does.
    const hopla::x11::Reply<xcb_get_modifier_mapping_reply_t> mapping(
        xcb_get_modifier_mapping_reply(x->raw(), xcb_get_modifier_mapping(x->raw()), nullptr));
    ASSERT_TRUE(mapping);
    const int perModifier = mapping->keycodes_per_modifier;
    const xcb_keycode_t* codes = xcb_get_modifier_mapping_keycodes(mapping.get());
    std::vector<xcb_keycode_t> without(codes, codes + 8 * perModifier);
    std::fill_n(without.begin() + 6 * perModifier, perModifier, 0); // Mod4's row
    const auto remap = [&](const xcb_keycode_t* rows) {
        return hopla::x11::Reply<xcb_set_modifier_mapping_reply_t>(xcb_set_modifier_mapping_reply(
            x->raw(),
            xcb_set_modifier_mapping(x->raw(), static_cast<std::uint8_t>(perModifier), rows),
            nullptr));
    };
    const auto set = remap(without.data());
    ASSERT_TRUE(set && set->status == XCB_MAPPING_STATUS_SUCCESS);

    startHopla();
    EXPECT_TRUE(desktop.waitFor([&] { return logged("Super 修饰键"); })) << log.toStdString();
    EXPECT_FALSE(hoplaHolds(0)) << "the bare Tab stays with the applications";
    remap(codes);
}

// The window of Hopla's that sits inside another client's window: the tray icon that a
// tray (IceWM's taskbar has its own) embedded.
std::optional<std::uint32_t> embeddedIn(X11Desktop& desktop, std::uint32_t window, int depth) {
    if (depth > 6) {
        return std::nullopt;
    }
    for (const std::uint32_t child : desktop.children(window)) {
        if (depth > 1 && desktop.windowClass(child).contains("opla")) {
            return child;
        }
        if (const auto inside = embeddedIn(desktop, child, depth + 1)) {
            return inside;
        }
    }
    return std::nullopt;
}

// The rabbit docks in a real tray unless the user hid it; a click on it opens the menu Hopla
// draws itself, at the icon.
TEST_F(HoplaEndToEnd, TheRabbitDocksUnlessHiddenAndAClickOpensTheDrawnMenuAtIt) {
    if (desktop.windowManager() != QLatin1String("icewm")) { // IceWM's taskbar is a tray
        desktop.launch(QStringLiteral("trayer"),
                       {"--edge", "top", "--align", "right", "--widthtype", "pixel", "--width",
                        "120", "--height", "24", "--SetDockType", "true"});
    }
    setting("showsMenuBarIcon", false); // as an earlier version stored it
    startHoplaHoldingSuperTab();
    EXPECT_FALSE(
        desktop.waitFor([&] { return embeddedIn(desktop, x->root(), 0).has_value(); }, 1500ms))
        << "docked although hidden";
    desktop.stop(hopla);
    setting("showsTrayIcon", true);
    startHopla();
    std::optional<xcb_window_t> icon;
    ASSERT_TRUE(
        desktop.waitFor([&] { return (icon = embeddedIn(desktop, x->root(), 0)).has_value(); }));
    // Where the icon's middle is on the screen now (the tray may still be placing it).
    const auto iconCentre = [&]() -> std::optional<QPoint> {
        const auto at = desktop.geometry(*icon);
        return at ? std::optional(at->center()) : std::nullopt;
    };
    // The drawn menu: a viewable top-level window of Hopla's, 240 or more wide, by the icon.
    const auto menuGeometry = [&]() -> std::optional<QRect> {
        for (const std::uint32_t w : desktop.children(x->root())) {
            const auto g = desktop.geometry(w);
            if (g && g->width() >= 240 && desktop.viewable(w) && desktop.overrideRedirect(w) &&
                isHoplas(w)) {
                return g;
            }
        }
        return std::nullopt;
    };
    // The icon is clicked once it stands still; a busy tray may still move it, so a click
    // that found it elsewhere is made again where it is now.
    std::optional<QPoint> at;
    for (int attempt = 0; attempt < 3 && !menuGeometry(); ++attempt) {
        std::optional<QPoint> before;
        desktop.waitFor(
            [&] {
                const auto now = iconCentre();
                const bool still = now && now == before;
                before = now;
                return still;
            },
            2s);
        ASSERT_TRUE((at = iconCentre()));
        desktop.click(*at);
        desktop.waitFor([&] { return menuGeometry().has_value(); }, 3s);
    }
    ASSERT_TRUE(menuGeometry().has_value()) << "no drawn menu after a click on the tray icon";
    const QRect menu = *menuGeometry();
    EXPECT_LT(std::abs(menu.center().x() - at->x()), menu.width()) << "the menu opens at the icon";
    // Escape, again while the menu stays: a window manager busy with the click may hand the
    // keyboard to the menu a moment after it shows (it asks again for up to a second).
    EXPECT_TRUE(desktop.waitFor(
        [&] {
            desktop.press(keyEscape);
            return !menuGeometry().has_value();
        },
        3s));
}

} // namespace
