#include "platform/x11/ShortcutHolders.h"

#include "platform/desktop/GSettingsKeybindings.h"
#include "platform/desktop/WmKeyFiles.h"
#include "platform/xfce/XfwmShortcuts.h"

#include <csignal>

#include "platform/x11/XConnection.h"

#include <QDir>
#include <QFile>

#include <array>
#include <unistd.h>

namespace hopla::x11 {

namespace {

// Switchers that grab a Tab combination on the root window, by process name (comm).
struct KnownSwitcher {
    const char* process;
    const char* name;
};
constexpr std::array knownSwitchers{
    KnownSwitcher{"alttab", "alttab"},
    KnownSwitcher{"skippy-xd", "Skippy-xd"},
    KnownSwitcher{"superswitcher", "SuperSwitcher"},
};

std::optional<QString> runningSwitcher() {
    const QString self = QString::number(::getpid());
    const auto pids = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs | QDir::NoDotAndDotDot);
    for (const QString& pid : pids) {
        if (pid == self || !pid.front().isDigit()) {
            continue;
        }
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        if (!comm.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QByteArray name = comm.readLine(64).trimmed();
        for (const auto& known : knownSwitchers) {
            if (name == known.process) {
                return QString::fromLatin1(known.name);
            }
        }
    }
    return std::nullopt;
}

// Names as users know them: the first word ("IceWM 3.3.1 (…)" is IceWM).
QString shortName(const QString& full) {
    return full.section(QLatin1Char(' '), 0, 0);
}

} // namespace

std::optional<QString> windowManagerName(XConnection& x) {
    const auto check = x.cardinal(x.root(), x.ewmh()->_NET_SUPPORTING_WM_CHECK, XCB_ATOM_WINDOW);
    if (!check) {
        return std::nullopt;
    }
    for (const auto& [atom, type] :
         {std::pair{x.ewmh()->_NET_WM_NAME, x.utf8String},
          std::pair{xcb_atom_t(XCB_ATOM_WM_NAME), xcb_atom_t(XCB_ATOM_STRING)}}) {
        if (const auto name = x.property(*check, atom, type, 256); name && !name->bytes.empty()) {
            const auto* data = reinterpret_cast<const char*>(name->bytes.data());
            return QString::fromUtf8(data, qstrnlen(data, name->bytes.size())).trimmed();
        }
    }
    return std::nullopt;
}

std::optional<std::uint32_t> windowManagerPid(XConnection& x) {
    const auto check = x.cardinal(x.root(), x.ewmh()->_NET_SUPPORTING_WM_CHECK, XCB_ATOM_WINDOW);
    return check ? x.cardinal(*check, x.ewmh()->_NET_WM_PID, XCB_ATOM_CARDINAL) : std::nullopt;
}

ShortcutHolder windowManagerHolder(XConnection& x) {
    const auto name = windowManagerName(x);
    if (!name) {
        return {};
    }
    ShortcutHolder holder{ShortcutHolder::Kind::windowManager, shortName(*name).toStdString(),
                          false, ""};
    // xfwm4 reads its bindings from xfconf and follows changes there live; fluxbox reads its
    // keys file again when told to reconfigure.
    holder.releasable = name->compare(QLatin1String("Xfwm4"), Qt::CaseInsensitive) == 0 ||
                        name->startsWith(QLatin1String("Fluxbox"), Qt::CaseInsensitive);
    return holder;
}

ShortcutHolder findShortcutHolder(XConnection& x) {
    if (const auto switcher = runningSwitcher()) {
        return {ShortcutHolder::Kind::switcher, switcher->toStdString(), false, ""};
    }
    return windowManagerHolder(x);
}

namespace {
// The user's process of that name whose DISPLAY is ours.
std::optional<std::uint32_t> processOnThisDisplay(const QString& name) {
    const QByteArray display = "DISPLAY=" + qgetenv("DISPLAY");
    for (const QString& pid : QDir(QStringLiteral("/proc")).entryList(QDir::Dirs)) {
        QFile comm(QStringLiteral("/proc/%1/comm").arg(pid));
        QFile environ(QStringLiteral("/proc/%1/environ").arg(pid));
        if (pid.toUInt() == 0 || !comm.open(QIODevice::ReadOnly) ||
            comm.readAll().trimmed() != name.toUtf8() || !environ.open(QIODevice::ReadOnly)) {
            continue; // another's process, or not the one
        }
        if (environ.readAll().split('\0').contains(display)) {
            return pid.toUInt();
        }
    }
    return std::nullopt;
}
} // namespace

std::optional<QString> releaseWindowManagerBinding(const QString& modifier) {
    const auto x = XConnection::open(nullptr, nullptr);
    const auto wm = x ? windowManagerName(*x) : std::nullopt;
    if (wm && desktop::storeBinding(*wm, modifier)) {
        return desktop::releaseStoreBinding(*wm, modifier); // the GNOME family, in GSettings
    }
    if (wm && wm->startsWith(QLatin1String("Fluxbox"))) {
        if (auto error = desktop::releaseKeyFileBindings(desktop::fluxboxKeysFile(), modifier)) {
            return error;
        }
        // fluxbox reads its keys again when it reconfigures, which SIGUSR2 asks for. It
        // does not give its pid on its check window: it is the fluxbox of this display.
        auto pid = windowManagerPid(*x);
        if (!pid) {
            pid = processOnThisDisplay(QStringLiteral("fluxbox"));
        }
        if (!pid || ::kill(static_cast<pid_t>(*pid), SIGUSR2) != 0) {
            return QStringLiteral("fluxbox could not be asked to reconfigure");
        }
        return std::nullopt;
    }
    return xfce::releaseXfwmSwitchBinding(modifier);
}

} // namespace hopla::x11
