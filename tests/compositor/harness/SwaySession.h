#pragma once

#include <QImage>
#include <QJsonObject>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace hopla::testing {

// A headless sway of the test's own, and every program started in it. sway refuses to run
// as root: run as root (as CI is), the session and its clients belong to a system user made
// for the tests, with a runtime folder of their own.
class SwaySession {
public:
    // Starts sway; nothing, with the reason, when it does not come up.
    static std::unique_ptr<SwaySession> start(QString* error);
    ~SwaySession();

    // Starts a program in the session, as its user; it is stopped with the session.
    // `unset` names variables of the session the program does not get.
    QProcess* launch(const QString& program, const QStringList& arguments,
                     QProcess::ProcessChannelMode channels = QProcess::SeparateChannels,
                     const QStringList& unset = {});
    // Runs swaymsg with the arguments and gives what it printed.
    QString message(const QStringList& arguments);
    // The focused window's app id (an Xwayland window's class); empty when none has focus.
    QString focusedApp();
    QString focusedTitle();
    // How many windows the app id (or Xwayland class) has.
    int windowCount(const QString& app);
    // Checks the condition every 25 ms until it holds or the limit passes.
    static bool waitFor(const std::function<bool()>& condition,
                        std::chrono::milliseconds limit = std::chrono::seconds(10));
    // Starts a program through sway (as its bindings would) and waits for its window to
    // take the focus; empty when it did, else what happened.
    std::string open(const QString& command, const QString& app);
    // The output's pixels, through grim; a null image when that fails.
    QImage screenshot(const QString& output = QStringLiteral("HEADLESS-1"));

    // A keyboard a person would type on: keys stay down between steps.
    class Keyboard {
    public:
        // Each line one command of the test keyboard ("press LEFTMETA", "tap TAB"); false
        // when it was refused or not done in time.
        bool type(const QStringList& lines);

    private:
        friend class SwaySession;
        QProcess* process_ = nullptr;
    };
    Keyboard keyboard();

private:
    SwaySession() = default;
    QProcessEnvironment environment() const;
    QJsonObject tree();

    QTemporaryDir runtime_;
    QString user_; // empty when the tests run as a user already
    QString waylandDisplay_;
    QString socket_;
    std::vector<std::unique_ptr<QProcess>> processes_; // sway first
};

} // namespace hopla::testing
