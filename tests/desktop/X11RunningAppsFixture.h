#pragma once

// The real-desktop fixture shared by the runningApps tests: a runningApps, window system and
// connection of their own on the test display, and helpers to start clients.
#include "platform/x11/ClientWindows.h"
#include "platform/x11/WindowIcon.h"
#include "platform/x11/X11Readiness.h"
#include "platform/x11/X11RunningApps.h"
#include "platform/x11/X11WindowSystem.h"
#include "platform/x11/XConnection.h"
#include "tests/desktop/harness/X11Desktop.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace hopla::testing {

using namespace std::chrono_literals;
using hopla::AppHandle;
using hopla::ApplicationPtr;
using hopla::x11::X11RunningApps;
using hopla::x11::X11WindowSystem;

using Client = X11Desktop::TestClient;

struct X11RunningAppsTest : ::testing::Test {
    X11Desktop& desktop = *X11Desktop::instance();
    std::unique_ptr<X11RunningApps> runningApps;
    std::unique_ptr<X11WindowSystem> windowSystem;
    std::unique_ptr<hopla::x11::XConnection> x = hopla::x11::XConnection::open(nullptr, nullptr);

    void SetUp() override {
        std::string error;
        runningApps = X11RunningApps::open(&error);
        ASSERT_TRUE(runningApps) << error;
        windowSystem = X11WindowSystem::open(runningApps->owners(), &error);
        ASSERT_TRUE(windowSystem) << error;
    }

    // Starts the project's test client and waits until its windows are managed.
    Client client(QStringList arguments) {
        const Client c = desktop.startTestClient(arguments);
        EXPECT_FALSE(c.windows.empty()) << "test client did not start";
        EXPECT_TRUE(desktop.waitFor([&] {
            runningApps->refresh();
            return app(c.pid()) != nullptr;
        })) << "windows never managed";
        // openbox focuses a new window a moment after listing it: let that happen first, so
        // it cannot land after a test's own activation.
        const bool focusable = !arguments.contains("--no-input") && !arguments.contains("dock");
        if (focusable && !c.windows.empty()) {
            desktop.waitFor([&] { return desktop.activeWindow() == c.windows.back(); },
                            std::chrono::seconds(2));
        }
        return c;
    }
    // The application a window of this process belongs to.
    std::shared_ptr<hopla::x11::X11Application> app(std::int64_t pid) {
        for (const auto& a : runningApps->runningApplications()) {
            auto candidate = std::static_pointer_cast<hopla::x11::X11Application>(a);
            const auto& windows = candidate->clientWindows();
            if (std::any_of(windows.begin(), windows.end(),
                            [pid](const auto& w) { return w.pid == pid; })) {
                return candidate;
            }
        }
        return nullptr;
    }
    bool activeIs(std::int64_t pid) {
        const auto front = runningApps->activeApplication();
        return front && front == app(pid);
    }
};

} // namespace hopla::testing
