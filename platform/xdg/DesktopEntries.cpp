// GLib's headers use "signals" as a name; they come before any Qt header.
#include <gio/gdesktopappinfo.h>

#include "platform/xdg/DesktopEntries.h"

#include <QFileInfo>
#include <QProcess>

#include <memory>

namespace hopla::xdg {

namespace {

constexpr auto reloadAfter = std::chrono::seconds(5);

struct GObjectRelease {
    void operator()(gpointer object) const { g_object_unref(object); }
};

QString fromUtf8(const char* text) {
    return text ? QString::fromUtf8(text) : QString();
}

QString baseId(const QString& id) {
    QString base = id;
    if (base.endsWith(QLatin1String(".desktop"))) {
        base.chop(8);
    }
    return base;
}

} // namespace

template <typename Search> std::optional<DesktopEntry> DesktopEntries::lookUp(Search search) {
    if (!loaded_) {
        reload();
    }
    if (auto found = search()) {
        return found;
    }
    if (std::chrono::steady_clock::now() - loadedAt_ > reloadAfter) {
        reload();
        return search();
    }
    return std::nullopt;
}

std::optional<DesktopEntry> DesktopEntries::forWindowClass(const QString& instance,
                                                           const QString& className) {
    return lookUp([&] { return find(instance, className); });
}

std::optional<DesktopEntry> DesktopEntries::byId(const QString& id) {
    const QString wanted = baseId(id);
    return lookUp([&]() -> std::optional<DesktopEntry> {
        for (const auto& e : entries_) {
            if (baseId(e.id) == wanted) {
                return e;
            }
        }
        return std::nullopt;
    });
}

std::optional<DesktopEntry> DesktopEntries::byProgram(const QString& program) {
    if (program.isEmpty()) {
        return std::nullopt;
    }
    return lookUp([&]() -> std::optional<DesktopEntry> {
        std::optional<DesktopEntry> found;
        for (const auto& e : entries_) {
            if (e.program == program) {
                if (found) {
                    return std::nullopt; // which one is meant cannot be told
                }
                found = e;
            }
        }
        return found;
    });
}

std::optional<DesktopEntry> DesktopEntries::find(const QString& instance,
                                                 const QString& className) const {
    if (instance.isEmpty() && className.isEmpty()) {
        return std::nullopt;
    }
    const auto same = [](const QString& a, const QString& b) {
        return !a.isEmpty() && a.compare(b, Qt::CaseInsensitive) == 0;
    };
    // The class names the application; the instance is often just the program's name and is
    // shared by everything it runs (every xterm is "xterm"), so it only decides when no
    // entry claims the class.
    for (const QString& wanted : {className, instance}) {
        for (const auto& e : entries_) {
            if (same(e.startupWMClass, wanted)) {
                return e;
            }
        }
    }
    for (const auto& e : entries_) {
        const QString base = baseId(e.id);
        // Reverse-domain ids end in the application's name: org.gnome.Terminal.
        const QString last = base.section(QLatin1Char('.'), -1);
        if (same(base, className) || same(base, instance) ||
            (e.startupWMClass.isEmpty() && (same(last, className) || same(last, instance)))) {
            return e;
        }
    }
    return std::nullopt;
}

void DesktopEntries::reload() {
    entries_.clear();
    GList* all = g_app_info_get_all();
    for (GList* item = all; item; item = item->next) {
        auto* info = static_cast<GAppInfo*>(item->data);
        if (!G_IS_DESKTOP_APP_INFO(info)) {
            continue;
        }
        auto* desktop = G_DESKTOP_APP_INFO(info);
        DesktopEntry entry;
        entry.id = fromUtf8(g_app_info_get_id(info));
        entry.file = fromUtf8(g_desktop_app_info_get_filename(desktop));
        entry.name = fromUtf8(g_app_info_get_name(info));
        entry.startupWMClass = fromUtf8(g_desktop_app_info_get_startup_wm_class(desktop));
        entry.program = fromUtf8(g_app_info_get_executable(info)).section(QLatin1Char('/'), -1);
        if (GIcon* icon = g_app_info_get_icon(info)) {
            const std::unique_ptr<gchar, decltype(&g_free)> text(g_icon_to_string(icon), &g_free);
            entry.icon = fromUtf8(text.get());
        }
        entries_.push_back(std::move(entry));
    }
    g_list_free_full(all, g_object_unref);
    loadedAt_ = std::chrono::steady_clock::now();
    loaded_ = true;
}

std::optional<QString> DesktopEntries::open(const QString& launchPath) {
    if (launchPath.endsWith(QLatin1String(".desktop"))) {
        return launch(launchPath);
    }
    if (!QFileInfo(launchPath).isExecutable()) {
        return QStringLiteral("not an executable: %1").arg(launchPath);
    }
    if (!QProcess::startDetached(launchPath, {})) {
        return QStringLiteral("could not start %1").arg(launchPath);
    }
    return std::nullopt;
}

std::optional<QString> DesktopEntries::launch(const QString& desktopFile) {
    const std::unique_ptr<GDesktopAppInfo, GObjectRelease> info(
        g_desktop_app_info_new_from_filename(desktopFile.toUtf8().constData()));
    if (!info) {
        return QStringLiteral("not a valid desktop entry: %1").arg(desktopFile);
    }
    GError* error = nullptr;
    if (!g_app_info_launch(G_APP_INFO(info.get()), nullptr, nullptr, &error)) {
        QString message = error ? fromUtf8(error->message) : QStringLiteral("launch failed");
        g_clear_error(&error);
        return message;
    }
    return std::nullopt;
}

} // namespace hopla::xdg
