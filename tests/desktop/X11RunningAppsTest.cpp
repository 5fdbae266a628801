#include "core/ApplicationSwitcherController.h"
#include "platform/qt/QtScheduler.h"
#include "platform/xdg/LoginSession.h"
#include "tests/desktop/X11RunningAppsFixture.h"
#include "tests/support/RecordingPanel.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

namespace {

using namespace hopla::testing;

// Opens through the runningApps and waits for its answer (given on another thread; one that
// comes after the wait has given up lands in state this call no longer needs, not on its stack).
std::optional<QString> open(X11Desktop& desktop, hopla::x11::X11RunningApps& runningApps,
                            const QString& location, std::optional<AppHandle> running) {
    const auto answer = std::make_shared<std::optional<std::optional<QString>>>();
    runningApps.openApplication(location, running, [answer](std::optional<QString> error) {
        QMetaObject::invokeMethod(qApp, [answer, error] { *answer = error; });
    });
    EXPECT_TRUE(desktop.waitFor([&] { return answer->has_value(); })) << "no answer";
    return answer->value_or(QStringLiteral("no answer"));
}

TEST_F(X11RunningAppsTest, GroupsWindowsByIdentityAcrossProcessesMostRecentFirst) {
    const Client two = client({"--windows", "2", "--class", "two,Two"});
    const Client again = client({"--class", "two,Two"});   // another process, same class
    const Client other = client({"--class", "two,Other"}); // same instance, another class
    client({"--no-pid", "--class", "nopid,NoPid"});        // found through the server's own record

    const auto grouped = app(two.pid());
    ASSERT_TRUE(grouped);
    EXPECT_EQ(grouped, app(again.pid()));
    EXPECT_NE(grouped, app(other.pid()));
    ASSERT_EQ(grouped->windows().size(), 3u);
    EXPECT_EQ(grouped->windows().front().ref, static_cast<hopla::WindowRef>(again.windows[0]));
    EXPECT_EQ(grouped->taskbarPolicy(), hopla::TaskbarPolicy::regular);
    EXPECT_EQ(grouped->executableLocation(),
              QFileInfo(hopla::testing::testClientPath()).canonicalFilePath());
    EXPECT_LT(std::chrono::abs(grouped->launchDate().value() - std::chrono::system_clock::now()),
              60s);

    // Activating the application brings its most recently used window forward.
    desktop.activate(two.windows[0]);
    ASSERT_TRUE(desktop.waitFor([&] {
        return grouped->windows().front().ref == static_cast<hopla::WindowRef>(two.windows[0]);
    }));
    app(other.pid())->activate();
    ASSERT_TRUE(desktop.waitFor([&] { return activeIs(other.pid()); }));
    grouped->activate();
    EXPECT_TRUE(desktop.waitFor([&] { return desktop.activeWindow() == two.windows[0]; }));
}

TEST_F(X11RunningAppsTest, TheLastCandidateQuittingUnderTheOpenPanelClosesItSafely) {
    // Reading the list reports the termination at once, which closes the session in the
    // middle of the panel's own refresh.
    hopla::QtScheduler scheduler;
    hopla::testing::RecordingPanel panel;
    hopla::ApplicationSwitcherController controller(panel, *runningApps, *windowSystem, scheduler);
    controller.start();
    const Client only = client({"--class", "only,Only"});
    ASSERT_TRUE(controller.route(hopla::GestureAction::tab(false)));
    desktop.stop(only.process);
    EXPECT_TRUE(desktop.waitFor([&] { return !controller.session() && !panel.shown; }));
}

TEST_F(X11RunningAppsTest, AWindowManagerSlowToAnswerStillRestoresAMinimizedWindow) {
    const Client c = client({"--class", "slow,Slow"});
    const auto window = c.windows.front();
    desktop.minimize(window);
    ASSERT_TRUE(desktop.waitFor([&] { return desktop.clientWindow(window)->minimized; }));
    const auto access = windowSystem->windowsOf(app(c.pid())->handle());
    // The window manager stops answering for 300 ms, as a busy or animating one does.
    const auto wm = static_cast<pid_t>(desktop.windowManagerPid());
    ASSERT_EQ(::kill(wm, SIGSTOP), 0);
    std::thread resume([wm] {
        std::this_thread::sleep_for(300ms);
        ::kill(wm, SIGCONT);
    });
    EXPECT_TRUE(access->unminimize(static_cast<hopla::WindowRef>(window),
                                   hopla::ApplicationWindowRestorer::unminimizeLimit));
    resume.join();
}

TEST_F(X11RunningAppsTest, DocksAndTaskbarSkippersAreNotRegularApplications) {
    const Client dock = client({"--type", "dock", "--class", "dock,Dock"});
    const Client skipper = client({"--skip-taskbar", "--class", "skip,Skip"});
    const Client dialog = client({"--type", "dialog", "--class", "dlg,Dlg"});
    EXPECT_EQ(app(dock.pid())->taskbarPolicy(), hopla::TaskbarPolicy::accessory);
    EXPECT_EQ(app(skipper.pid())->taskbarPolicy(), hopla::TaskbarPolicy::accessory);
    EXPECT_EQ(app(dialog.pid())->taskbarPolicy(), hopla::TaskbarPolicy::regular);
}

TEST_F(X11RunningAppsTest, NamesComeFromDesktopEntriesThenClassThenTitle) {
    const Client chinese = client({"--class", "hopla-chinese,HoplaChinese"});
    const auto named = app(chinese.pid());
    ASSERT_TRUE(named);
    EXPECT_EQ(named->localizedName(), QString::fromUtf8("测试终端"));
    EXPECT_EQ(named->desktopId(), "hopla-chinese.desktop");
    EXPECT_TRUE(named->launchPath()->endsWith("applications/hopla-chinese.desktop"));

    const Client plain = client({"--class", "plainthing,PlainThing"});
    EXPECT_EQ(app(plain.pid())->localizedName(), "PlainThing");
    EXPECT_EQ(app(plain.pid())->launchPath(), app(plain.pid())->executableLocation());

    // No class at all, a COMPOUND_TEXT title: ESC - A "Caf\xe9", then GB 2312 "中".
    const Client old = client({"--class", ",", "--compound-title", "1b2d41436166e9201b242941d6d0"});
    EXPECT_EQ(app(old.pid())->localizedName(), QString::fromUtf8("Café 中"));

    QProcess* xterm = desktop.launch(QStringLiteral("xterm"), {});
    const auto xtermPid = xterm->processId();
    ASSERT_TRUE(desktop.waitFor([&] { return app(xtermPid) != nullptr; }));
    EXPECT_EQ(app(xtermPid)->desktopId(), "debian-xterm.desktop");
    // GTK 4 names its windows' class after the program; its application id finds the entry.
    const auto calculator = desktop.launch(QStringLiteral("gnome-calculator"), {})->processId();
    ASSERT_TRUE(desktop.waitFor([&] { return app(calculator) != nullptr; }, 20s));
    EXPECT_EQ(app(calculator)->localizedName(), QString::fromUtf8("计算器"));

    // Same instance ("xterm"), another class: the entry that claims the class wins.
    const Client classed = client({"--class", "xterm,HoplaTerm"});
    EXPECT_EQ(app(classed.pid())->localizedName(), "Hopla Terminal");
}

TEST_F(X11RunningAppsTest,
       ActivationSwitchesToTheDesktopOfTheWindowAndIsRefusedWithoutFocusableOnes) {
    int spaceChanges = 0;
    const auto subscription = runningApps->observe({.activated = nullptr,
                                                    .terminated = nullptr,
                                                    .sessionResignedActive = nullptr,
                                                    .activeSpaceChanged = [&] { ++spaceChanges; }});
    const Client away = client({"--class", "away,Away"});
    const Client here = client({"--class", "here,Here"});
    ASSERT_GE(
        x->cardinal(x->root(), x->ewmh()->_NET_NUMBER_OF_DESKTOPS, XCB_ATOM_CARDINAL).value_or(1),
        2u);
    xcb_ewmh_request_change_wm_desktop(x->ewmh(), x->screenNumber(), away.windows.front(), 1,
                                       XCB_EWMH_CLIENT_SOURCE_TYPE_OTHER);
    xcb_flush(x->raw());
    ASSERT_TRUE(desktop.waitFor(
        [&] { return desktop.clientWindow(away.windows.front()).value().desktop == 1u; }));
    const auto currentDesktop = [&] {
        return x->cardinal(x->root(), x->ewmh()->_NET_CURRENT_DESKTOP, XCB_ATOM_CARDINAL)
            .value_or(99);
    };
    ASSERT_EQ(currentDesktop(), 0u);

    ASSERT_TRUE(app(away.pid())->activate());
    EXPECT_TRUE(desktop.waitFor([&] { return currentDesktop() == 1u && activeIs(away.pid()); }));
    EXPECT_TRUE(desktop.waitFor([&] { return spaceChanges >= 1; }));
    EXPECT_TRUE(app(away.pid())->isActive());
    EXPECT_FALSE(app(here.pid())->isActive());

    const Client stubborn = client({"--no-input", "--class", "stubborn,Stubborn"});
    EXPECT_FALSE(app(stubborn.pid())->activate());
}

TEST_F(X11RunningAppsTest, ObserversHearOfActivationsAndTerminations) {
    std::vector<AppHandle> activated, terminated;
    const auto subscription = runningApps->observe({
        .activated = [&](const ApplicationPtr& a) { activated.push_back(a->handle()); },
        .terminated = [&](const ApplicationPtr& a) { terminated.push_back(a->handle()); },
        .sessionResignedActive = nullptr,
        .activeSpaceChanged = nullptr,
    });
    const Client a = client({"--class", "obs,Obs"});
    ASSERT_TRUE(app(a.pid()));
    const AppHandle handle = app(a.pid())->handle();
    app(a.pid())->activate();
    const auto once = [&](const std::vector<AppHandle>& heard) {
        return desktop.waitFor([&] { return std::count(heard.begin(), heard.end(), handle) == 1; });
    };
    EXPECT_TRUE(once(activated)) << ::testing::PrintToString(activated) << ", app " << handle;
    desktop.stop(a.process);
    EXPECT_TRUE(once(terminated)) << ::testing::PrintToString(terminated) << ", app " << handle;
}

TEST_F(X11RunningAppsTest, OpensAnApplicationFromItsDesktopEntry) {
    const auto entry =
        QStandardPaths::locate(QStandardPaths::ApplicationsLocation, "hopla-chinese.desktop");
    ASSERT_FALSE(entry.isEmpty());
    EXPECT_EQ(open(desktop, *runningApps, entry, std::nullopt), std::nullopt);
    EXPECT_TRUE(desktop.waitFor([&] {
        const auto all = runningApps->runningApplications();
        return std::any_of(all.begin(), all.end(), [](const ApplicationPtr& a) {
            return a->localizedName() == QString::fromUtf8("测试终端");
        });
    }));
    EXPECT_TRUE(open(desktop, *runningApps, "/nonexistent/thing.desktop", std::nullopt));
}

TEST_F(X11RunningAppsTest, OpeningARunningApplicationBringsItForwardAndStartsNoCopy) {
    const Client a = client({"--class", "a,A"});
    const Client b = client({"--class", "b,B"});
    const auto order = runningApps->recencyOrder(); // B was mapped and focused last
    ASSERT_GE(order.size(), 2u);
    EXPECT_EQ(order[0], app(b.pid())->handle());
    EXPECT_EQ(order[1], app(a.pid())->handle());

    desktop.minimize(a.windows.front());
    const auto minimized = [&] {
        const auto windows = app(a.pid())->windows();
        return !windows.empty() && windows.front().minimized;
    };
    // B was active already: wait for the window manager to have minimized A.
    ASSERT_TRUE(desktop.waitFor([&] { return minimized() && activeIs(b.pid()); }));
    const auto countCopies = [&] {
        const auto all = runningApps->runningApplications();
        return std::count_if(all.begin(), all.end(), [&](const ApplicationPtr& r) {
            return r->launchPath() == app(a.pid())->launchPath();
        });
    };
    const auto before = countCopies();
    EXPECT_EQ(open(desktop, *runningApps, *app(a.pid())->launchPath(), app(a.pid())->handle()),
              std::nullopt);
    EXPECT_TRUE(desktop.waitFor([&] { return activeIs(a.pid()); }));
    EXPECT_FALSE(minimized());
    desktop.waitFor([] { return false; }, 300ms); // a launched copy would show up by now
    EXPECT_EQ(countCopies(), before);
}

TEST_F(X11RunningAppsTest, IconsComeFromTheWindowAnOldClientsMaskedPixmapOrTheEntry) {
    const Client good = client({"--icon", "96", "--class", "good,Good"});
    EXPECT_EQ(app(good.pid())->icon().width(), 96);
    const Client old = client({"--pixmap-icon", "--class", "oldicon,OldIcon"});
    const QImage pixmap = hopla::x11::readPixmapIcon(*x, old.windows.front());
    ASSERT_EQ(pixmap.size(), QSize(16, 16));
    EXPECT_EQ(pixmap.pixelColor(12, 8), QColor(255, 0, 0));
    EXPECT_EQ(pixmap.pixelColor(3, 8).alpha(), 0);
    const Client none = client({"--class", "noicon,NoIcon"});
    EXPECT_TRUE(hopla::x11::readPixmapIcon(*x, none.windows.front()).isNull());
    // xterm's entry names an SVG in hicolor, SpeedCrunch's a file in the pixmaps folder (its
    // window sets no icon), galculator's a themed PNG.
    std::vector<QImage> icons;
    for (const char* program : {"xterm", "speedcrunch", "galculator"}) {
        QProcess* process = desktop.launch(QString::fromLatin1(program), {});
        const auto pid = process->processId();
        ASSERT_TRUE(desktop.waitFor([&] { return app(pid) != nullptr; })) << program;
        const QImage icon = app(pid)->icon();
        ASSERT_FALSE(icon.isNull()) << program << " shows no icon of its own";
        EXPECT_GE(icon.width(), 32) << program;
        for (const QImage& other : icons) {
            EXPECT_NE(icon, other) << program << " shows another application's icon";
        }
        icons.push_back(icon);
    }
}

TEST_F(X11RunningAppsTest, TheListKeptFromNotificationsMatchesAFreshReadThroughEveryChange) {
    // One row a window, sorted: what the runningApps holds, against what the server says now.
    const auto row = [](const auto& w) {
        return QString("%1 %2 %3 %4")
            .arg(w.id)
            .arg(w.title)
            .arg(w.minimized)
            .arg(w.pid.value_or(0));
    };
    const auto kept = [&] {
        QStringList seen;
        for (const auto& a : runningApps->runningApplications()) {
            for (const auto& w :
                 static_cast<const hopla::x11::X11Application&>(*a).clientWindows()) {
                seen << row(w);
            }
        }
        seen.sort();
        return seen;
    };
    const auto fresh = [&] {
        QStringList seen;
        for (const auto& w : desktop.clientWindows()) {
            if (w.pid != static_cast<AppHandle>(QCoreApplication::applicationPid())) {
                seen << row(w);
            }
        }
        seen.sort();
        return seen;
    };
    const auto agree = [&] { return desktop.waitFor([&] { return kept() == fresh(); }); };
    const Client a = client({"--class", "a,A", "--title", "first"});
    const Client b = client({"--class", "b,B"});
    ASSERT_TRUE(agree()) << "created";
    const QByteArray renamed = "renamed";
    xcb_change_property(x->raw(), XCB_PROP_MODE_REPLACE, a.windows.front(), x->ewmh()->_NET_WM_NAME,
                        x->utf8String, 8, renamed.size(), renamed.constData());
    xcb_flush(x->raw());
    // The fresh read goes through another connection, which the server may answer before it
    // has read the change: wait for the new title, then for both to agree.
    ASSERT_TRUE(desktop.waitFor([&] { return kept().join(' ').contains("renamed"); }));
    ASSERT_TRUE(agree()) << "renamed";
    desktop.minimize(b.windows.front());
    ASSERT_TRUE(agree()) << "minimized";
    xcb_unmap_window(x->raw(), a.windows.front()); // withdrawn: no longer managed
    xcb_flush(x->raw());
    ASSERT_TRUE(agree()) << "unmapped";
    desktop.stop(b.process);
    ASSERT_TRUE(agree()) << "destroyed";
    const Client c = client({"--class", "c,C"});
    QString error;
    ASSERT_TRUE(desktop.restartWindowManager(&error)) << error.toStdString();
    EXPECT_TRUE(agree()) << "after the window manager restarted";
    EXPECT_TRUE(app(c.pid()));
}

TEST_F(X11RunningAppsTest, BadPropertiesAndVanishedWindowsAreSkipped) {
    const Client bad = client({"--bad-icon", "--class", "bad,Bad"});
    const QImage fallback = app(bad.pid())->icon(); // ignored: at most the WM's own default
    EXPECT_TRUE(fallback.isNull() || (fallback.width() <= 1024 && fallback.height() <= 1024));
    const Client gone = client({"--class", "gone,Gone"});
    const auto window = gone.windows.front();
    const auto pid = gone.pid();
    desktop.stop(gone.process);
    EXPECT_TRUE(desktop.waitFor([&] { return !desktop.clientWindow(window).has_value(); }));
    EXPECT_TRUE(desktop.waitFor([&] { return app(pid) == nullptr; }));
}

TEST_F(X11RunningAppsTest, ReadinessNeedsAnX11ServerWithXInputAndXTest) {
    EXPECT_TRUE(hopla::x11::checkReadiness("xcb").ready)
        << hopla::x11::checkReadiness("xcb").reason.toStdString();
    const auto wayland = hopla::x11::checkReadiness("wayland");
    EXPECT_FALSE(wayland.ready);
    EXPECT_TRUE(wayland.reason.contains("wayland")) << wayland.reason.toStdString();
    const QByteArray display = qgetenv("DISPLAY");
    qunsetenv("DISPLAY");
    const auto headless = hopla::x11::checkReadiness("xcb");
    qputenv("DISPLAY", display);
    EXPECT_FALSE(headless.ready);
    EXPECT_TRUE(headless.reason.contains("DISPLAY")) << headless.reason.toStdString();
}

TEST(LoginSession, ReportsLosingTheSessionOnlyForInactiveOrLockedChanges) {
    int resigned = 0;
    hopla::xdg::LoginSession session([&] { ++resigned; }); // no logind here: it stays silent
    const QString iface = "org.freedesktop.login1.Session";
    session.propertiesChanged(iface, {{"Active", true}}, {});
    session.propertiesChanged(iface, {{"IdleHint", true}}, {});
    session.propertiesChanged("org.example.Other", {{"Active", false}}, {});
    EXPECT_EQ(resigned, 0);
    session.propertiesChanged(iface, {{"Active", false}}, {});
    session.propertiesChanged(iface, {{"LockedHint", true}}, {});
    session.locked();
    EXPECT_EQ(resigned, 3);
}

} // namespace
