#include "platform/x11/AppIdentity.h"

namespace hopla::x11 {

AppIdentity identify(const ClientWindow& window, const QString& sandboxAppId,
                     DesktopEntries& entries) {
    // A named id that no installed entry carries still tells its windows together.
    for (const QString& id : {window.gtkApplicationId, window.kdeDesktopFile, sandboxAppId}) {
        if (id.isEmpty()) {
            continue;
        }
        if (auto entry = entries.byId(id)) {
            return {QStringLiteral("entry:") + entry->id, std::move(entry)};
        }
        return {QStringLiteral("id:") + id, std::nullopt};
    }
    if (auto entry = entries.forWindowClass(window.instance, window.className)) {
        return {QStringLiteral("entry:") + entry->id, std::move(entry)};
    }
    if (!window.className.isEmpty()) {
        return {QStringLiteral("class:") + window.className, std::nullopt};
    }
    if (window.pid) {
        return {QStringLiteral("pid:%1").arg(*window.pid), std::nullopt};
    }
    return {QStringLiteral("window:%1").arg(window.id), std::nullopt};
}

} // namespace hopla::x11
