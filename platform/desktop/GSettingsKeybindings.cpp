// GLib's headers use "signals" as a name; they come before any Qt header.
#include <gio/gio.h>

#include "platform/desktop/GSettingsKeybindings.h"

#include "platform/xfce/XfwmShortcuts.h"

#include <QStringList>

#include <array>
#include <memory>

namespace hopla::desktop {

namespace {

struct Store {
    const char* windowManager; // what _NET_WM_NAME contains
    const char* holder;
    const char* schema;
};

// Muffin and Marco name themselves after the window managers they forked.
constexpr std::array stores{Store{"Muffin", "Cinnamon", "org.cinnamon.desktop.keybindings.wm"},
                            Store{"Marco", "MATE", "org.mate.Marco.global-keybindings"},
                            Store{"GNOME Shell", "GNOME", "org.gnome.desktop.wm.keybindings"},
                            Store{"Mutter", "GNOME", "org.gnome.desktop.wm.keybindings"}};

// The bindings that switch applications or windows, in all three stores.
constexpr std::array switchingKeys{"switch-applications", "switch-applications-backward",
                                   "switch-windows",      "switch-windows-backward",
                                   "switch-group",        "switch-group-backward",
                                   "cycle-windows",       "cycle-windows-backward",
                                   "cycle-group",         "cycle-group-backward",
                                   "switch-panels",       "switch-panels-backward"};

const Store* storeOf(const QString& windowManager) {
    for (const Store& store : stores) {
        if (windowManager.contains(QLatin1String(store.windowManager))) {
            return &store;
        }
    }
    return nullptr;
}

struct Unref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
using Settings = std::unique_ptr<GSettings, Unref>;

// The store's settings; null when its schema is not installed.
Settings open(const Store& store, GSettingsSchema** schema) {
    GSettingsSchemaSource* source = g_settings_schema_source_get_default();
    *schema = source ? g_settings_schema_source_lookup(source, store.schema, TRUE) : nullptr;
    return Settings(*schema ? g_settings_new(store.schema) : nullptr);
}

// A binding's accelerators: a list in GNOME's and Cinnamon's stores, one string in Marco's.
QStringList accelerators(GSettings* settings, const char* key) {
    QStringList list;
    GVariant* value = g_settings_get_value(settings, key);
    if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING)) {
        list << QString::fromUtf8(g_variant_get_string(value, nullptr));
    } else if (g_variant_is_of_type(value, G_VARIANT_TYPE_STRING_ARRAY)) {
        gsize count = 0;
        const gchar** strings = g_variant_get_strv(value, &count);
        for (gsize i = 0; i < count; ++i) {
            list << QString::fromUtf8(strings[i]);
        }
        g_free(strings);
    }
    g_variant_unref(value);
    return list;
}

bool setAccelerators(GSettings* settings, const char* key, const QStringList& list) {
    GVariant* current = g_settings_get_value(settings, key);
    const bool single = g_variant_is_of_type(current, G_VARIANT_TYPE_STRING);
    g_variant_unref(current);
    if (single) { // Marco: one accelerator, "disabled" for none
        const QByteArray text = list.isEmpty() ? QByteArray("disabled") : list.front().toUtf8();
        return g_settings_set_string(settings, key, text.constData());
    }
    std::vector<QByteArray> texts;
    std::vector<const gchar*> pointers;
    for (const QString& accelerator : list) {
        texts.push_back(accelerator.toUtf8());
    }
    for (const QByteArray& text : texts) {
        pointers.push_back(text.constData());
    }
    pointers.push_back(nullptr);
    return g_settings_set_strv(settings, key, pointers.data());
}

// Each switching binding of the store that holds the combination, with what stays of it.
template <typename Visit>
bool forEachHolding(const QString& windowManager, const QString& modifier, Visit visit) {
    const Store* store = storeOf(windowManager);
    GSettingsSchema* schema = nullptr;
    const Settings settings = store ? open(*store, &schema) : nullptr;
    if (!settings) {
        return false;
    }
    for (const char* key : switchingKeys) {
        if (!g_settings_schema_has_key(schema, key)) {
            continue;
        }
        const QStringList all = accelerators(settings.get(), key);
        QStringList kept;
        for (const QString& accelerator : all) {
            if (!xfce::isSwitchBinding(accelerator, modifier)) {
                kept << accelerator;
            }
        }
        if (kept.size() != all.size() && !visit(*store, settings.get(), key, kept)) {
            break;
        }
    }
    g_settings_schema_unref(schema);
    return true;
}

} // namespace

std::optional<StoreBinding> storeBinding(const QString& windowManager, const QString& modifier) {
    std::optional<StoreBinding> found;
    forEachHolding(
        windowManager, modifier,
        [&](const Store& store, GSettings*, const char* key, const QStringList&) {
            found = StoreBinding{QString::fromLatin1(store.holder), QString::fromLatin1(key)};
            return false; // the first is enough to say who
        });
    return found;
}

std::optional<QString> releaseStoreBinding(const QString& windowManager, const QString& modifier) {
    std::optional<QString> error;
    const bool known = forEachHolding(
        windowManager, modifier,
        [&](const Store&, GSettings* settings, const char* key, const QStringList& kept) {
            if (!setAccelerators(settings, key, kept)) {
                error = QStringLiteral("the desktop refused to change %1").arg(key);
                return false;
            }
            return true;
        });
    g_settings_sync(); // written before the window manager is asked again
    if (!known) {
        return QStringLiteral("%1 keeps no keybinding store Hopla knows").arg(windowManager);
    }
    return error;
}

} // namespace hopla::desktop
