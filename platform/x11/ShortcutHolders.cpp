#include "platform/x11/ShortcutHolders.h"

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

ShortcutHolder windowManagerHolder(XConnection& x) {
    const auto name = windowManagerName(x);
    if (!name) {
        return {};
    }
    ShortcutHolder holder{ShortcutHolder::Kind::windowManager, shortName(*name).toStdString()};
    // xfwm4 reads its bindings from xfconf and follows changes there live.
    holder.releasable = name->compare(QLatin1String("Xfwm4"), Qt::CaseInsensitive) == 0;
    return holder;
}

ShortcutHolder findShortcutHolder(XConnection& x) {
    if (const auto switcher = runningSwitcher()) {
        return {ShortcutHolder::Kind::switcher, switcher->toStdString()};
    }
    return windowManagerHolder(x);
}

} // namespace hopla::x11
