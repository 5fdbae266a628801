#pragma once

// The real-desktop fixture shared by the workspace tests: a workspace and window system on
// the test display, and helpers to start clients and wait for X state.
#include "platform/x11/ClientWindows.h"
#include "platform/x11/WindowIcon.h"
#include "platform/x11/X11Trust.h"
#include "platform/x11/X11WindowSystem.h"
#include "platform/x11/X11Workspace.h"
#include "tests/support/X11Desktop.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <gtest/gtest.h>

namespace hopla::testing {

using namespace std::chrono_literals;
using hopla::ProcessId;
using hopla::RunningApplicationPtr;
using hopla::testing::X11Desktop;
using hopla::x11::X11WindowSystem;
using hopla::x11::X11Workspace;

using Client = X11Desktop::TestClient;

struct X11WorkspaceTest : ::testing::Test {
    X11Desktop& desktop = *X11Desktop::instance();
    std::unique_ptr<X11Workspace> workspace;
    std::unique_ptr<X11WindowSystem> windowSystem;

    void SetUp() override {
        std::string error;
        workspace = X11Workspace::open(&error);
        ASSERT_TRUE(workspace) << error;
        windowSystem = X11WindowSystem::open(&error);
        ASSERT_TRUE(windowSystem) << error;
    }

    // Starts the project's test client and waits until its windows are managed.
    Client client(QStringList arguments) {
        const Client c = desktop.startTestClient(arguments);
        EXPECT_FALSE(c.windows.empty()) << "test client did not start";
        EXPECT_TRUE(desktop.waitFor([&] { return managed(c.windows); })) << "windows never managed";
        // openbox focuses a new window a moment after listing it: let that happen first, so
        // it cannot land after a test's own activation.
        const bool focusable = !arguments.contains("--no-input") && !arguments.contains("dock");
        if (focusable && !c.windows.empty()) {
            desktop.waitFor([&] { return desktop.activeWindow() == c.windows.back(); },
                            std::chrono::seconds(2));
        }
        return c;
    }
    bool managed(const std::vector<std::uint32_t>& windows) {
        workspace->refresh();
        for (const auto& app : workspace->runningApplications()) {
            const auto* x = static_cast<const hopla::x11::X11Application*>(app.get());
            for (const auto& w : x->windows()) {
                if (std::find(windows.begin(), windows.end(), w.id) != windows.end()) {
                    return true;
                }
            }
        }
        return false;
    }
    RunningApplicationPtr app(ProcessId pid) { return workspace->application(pid); }
    bool activeIs(ProcessId pid) {
        const auto front = workspace->frontmostApplication();
        return front && front->processId() == pid;
    }
};

} // namespace hopla::testing
