#include "tests/compositor/harness/SwaySession.h"

#include <QCoreApplication>
#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QThread>

#include <csignal>
#include <pwd.h>
#include <unistd.h>

namespace hopla::testing {

namespace {

const QString testUser = QStringLiteral("hopla-sway");

// The tests' own user, made once; empty with the reason in `error` when it cannot be.
bool ensureUser(QString* error) {
    if (getpwnam(testUser.toUtf8().constData())) {
        return true;
    }
    const int status = QProcess::execute(
        QStringLiteral("useradd"),
        {"--system", "--user-group", "--no-create-home", "--shell", "/usr/sbin/nologin", testUser});
    if (status != 0 && !getpwnam(testUser.toUtf8().constData())) {
        *error = QStringLiteral("useradd %1 failed (%2)").arg(testUser).arg(status);
        return false;
    }
    return true;
}

template <typename Visit> void walk(const QJsonObject& node, const Visit& visit) {
    visit(node);
    for (const char* children : {"nodes", "floating_nodes"}) {
        for (const QJsonValue& child : node.value(QLatin1String(children)).toArray()) {
            walk(child.toObject(), visit);
        }
    }
}

QString appOf(const QJsonObject& view) {
    const QString id = view.value(QLatin1String("app_id")).toString();
    return id.isEmpty()
               ? view.value(QLatin1String("window_properties")).toObject().value("class").toString()
               : id;
}

} // namespace

std::unique_ptr<SwaySession> SwaySession::start(QString* error) {
    std::unique_ptr<SwaySession> session(new SwaySession);
    const QString dir = session->runtime_.path();
    if (geteuid() == 0) {
        if (!ensureUser(error)) {
            return nullptr;
        }
        session->user_ = testUser;
        QProcess::execute(QStringLiteral("chown"), {testUser, dir});
    }
    QFile config(dir + QStringLiteral("/config"));
    config.open(QIODevice::WriteOnly);
    config.write("output HEADLESS-1 resolution 1280x800\n"
                 "xwayland enable\n"
                 "default_border none\n"
                 "focus_follows_mouse no\n");
    config.close();
    config.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);

    QProcess* sway = session->launch(QStringLiteral("sway"), {"-c", dir + "/config"},
                                     QProcess::ForwardedErrorChannel);
    const bool up = waitFor([&] {
        const QDir runtime(dir);
        const auto sockets = runtime.entryList({"sway-ipc.*.sock"}, QDir::System);
        const auto displays = runtime.entryList({"wayland-?"}, QDir::System);
        if (sockets.isEmpty() || displays.isEmpty()) {
            return false;
        }
        session->socket_ = runtime.filePath(sockets.front());
        session->waylandDisplay_ = displays.front();
        return true;
    });
    if (!up || sway->state() != QProcess::Running) {
        *error = QStringLiteral("sway did not come up");
        return nullptr;
    }
    return session;
}

SwaySession::~SwaySession() {
    // The clients first, sway last. What the session started on its own (a D-Bus daemon a
    // GTK program launched, Xwayland) is found by the runtime folder in its environment:
    // other sessions of the same user, tests running side by side, are left alone.
    const QByteArray mine = "XDG_RUNTIME_DIR=" + runtime_.path().toUtf8();
    for (auto it = processes_.rbegin(); it != processes_.rend(); ++it) {
        (*it)->terminate();
        if (!(*it)->waitForFinished(3000)) {
            (*it)->kill();
            (*it)->waitForFinished(3000);
        }
    }
    for (const QString& pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile environ(QStringLiteral("/proc/%1/environ").arg(pid));
        if (pid.toInt() > 0 && environ.open(QIODevice::ReadOnly) &&
            environ.readAll().split('\0').contains(mine)) {
            ::kill(pid.toInt(), SIGKILL);
        }
    }
}

QProcessEnvironment SwaySession::environment() const {
    QProcessEnvironment env;
    const QProcessEnvironment outer = QProcessEnvironment::systemEnvironment();
    for (const char* kept : {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (outer.contains(QLatin1String(kept))) {
            env.insert(QLatin1String(kept), outer.value(QLatin1String(kept)));
        }
    }
    const QString dir = runtime_.path();
    env.insert("HOME", dir);
    env.insert("XDG_RUNTIME_DIR", dir);
    env.insert("XDG_CONFIG_HOME", dir + "/config-home");
    env.insert("LANG", "C.UTF-8");
    env.insert("SHELL", "/bin/sh"); // the user logs in nowhere; terminals still need a shell
    env.insert("WLR_BACKENDS", "headless");
    env.insert("WLR_LIBINPUT_NO_DEVICES", "1");
    env.insert("WLR_RENDERER", "pixman");
    if (!waylandDisplay_.isEmpty()) {
        env.insert("WAYLAND_DISPLAY", waylandDisplay_);
        env.insert("SWAYSOCK", socket_);
        env.insert("XDG_SESSION_TYPE", "wayland");
    }
    return env;
}

QProcess* SwaySession::launch(const QString& program, const QStringList& arguments,
                              QProcess::ProcessChannelMode channels, const QStringList& unset) {
    auto process = std::make_unique<QProcess>();
    QProcessEnvironment env = environment();
    for (const QString& name : unset) {
        env.remove(name);
    }
    process->setProcessEnvironment(env);
    process->setProcessChannelMode(channels);
    if (user_.isEmpty()) {
        process->start(program, arguments);
    } else {
        // setpriv keeps the environment given and asks for no password.
        process->start(
            QStringLiteral("setpriv"),
            QStringList{"--reuid=" + user_, "--regid=" + user_, "--clear-groups", "--", program} +
                arguments);
    }
    process->waitForStarted();
    processes_.push_back(std::move(process));
    return processes_.back().get();
}

QString SwaySession::message(const QStringList& arguments) {
    QProcess* swaymsg = launch(QStringLiteral("swaymsg"), arguments);
    swaymsg->waitForFinished(5000);
    const QString said = QString::fromUtf8(swaymsg->readAllStandardOutput());
    std::erase_if(processes_, [swaymsg](const auto& p) { return p.get() == swaymsg; });
    return said;
}

QJsonObject SwaySession::tree() {
    return QJsonDocument::fromJson(message({"-t", "get_tree"}).toUtf8()).object();
}

QString SwaySession::focusedApp() {
    QString focused;
    walk(tree(), [&](const QJsonObject& node) {
        if (node.value(QLatin1String("focused")).toBool() && node.contains(QLatin1String("pid"))) {
            focused = appOf(node);
        }
    });
    return focused;
}

QString SwaySession::focusedTitle() {
    QString focused;
    walk(tree(), [&](const QJsonObject& node) {
        if (node.value(QLatin1String("focused")).toBool() && node.contains(QLatin1String("pid"))) {
            focused = node.value(QLatin1String("name")).toString();
        }
    });
    return focused;
}

int SwaySession::windowCount(const QString& app) {
    int count = 0;
    walk(tree(), [&](const QJsonObject& node) {
        count += node.contains(QLatin1String("pid")) && appOf(node) == app;
    });
    return count;
}

bool SwaySession::waitFor(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        QThread::msleep(25);
        QCoreApplication::processEvents(); // what the programs printed is read meanwhile
    }
    return true;
}

std::string SwaySession::open(const QString& command, const QString& app) {
    const int before = windowCount(app);
    message({"exec", command});
    if (waitFor([&] { return windowCount(app) > before && focusedApp() == app; })) {
        return {};
    }
    return QStringLiteral("%1 opened no window of %2; %3 has the focus")
        .arg(command, app, focusedApp())
        .toStdString();
}

QImage SwaySession::screenshot(const QString& output) {
    const QString file = runtime_.path() + "/screen.png";
    QProcess* grim = launch(QStringLiteral("grim"), {"-o", output, file});
    grim->waitForFinished(5000);
    QImage image(file);
    QFile::remove(file);
    return image;
}

SwaySession::Keyboard SwaySession::keyboard() {
    Keyboard keyboard;
    keyboard.process_ = launch(QStringLiteral(HOPLA_TEST_KEYBOARD), {});
    return keyboard;
}

bool SwaySession::Keyboard::type(const QStringList& lines) {
    for (const QString& line : lines) {
        process_->write((line + "\n").toUtf8());
        process_->waitForBytesWritten(1000);
        while (!process_->canReadLine()) {
            if (!process_->waitForReadyRead(5000)) {
                return false;
            }
        }
        if (process_->readLine().trimmed() != "ok") {
            return false;
        }
    }
    return true;
}

} // namespace hopla::testing
