// The GNOME family's keybinding store, read and changed through GSettings' memory backend
// with the schemas Debian installs.
// GLib's headers use "signals" as a name; they come before any Qt header.
#include <gio/gio.h>

#include "platform/desktop/GSettingsKeybindings.h"

#include <QStringList>

#include <cstdlib>

#include <gtest/gtest.h>

namespace {

using hopla::desktop::releaseStoreBinding;
using hopla::desktop::storeBinding;

QStringList bindings(const char* key) {
    GSettings* settings = g_settings_new("org.gnome.desktop.wm.keybindings");
    gchar** values = g_settings_get_strv(settings, key);
    QStringList list;
    for (gchar** v = values; *v; ++v) {
        list << QString::fromUtf8(*v);
    }
    g_strfreev(values);
    g_object_unref(settings);
    return list;
}

TEST(GSettingsKeybindings, GnomesSwitcherHoldsSuperTabUntilReleasedAndKeepsAltTab) {
    ASSERT_EQ(setenv("GSETTINGS_BACKEND", "memory", 1), 0); // never the user's own settings
    EXPECT_FALSE(storeBinding("Openbox", "Super")) << "an installed schema is not openbox's";
    const auto held = storeBinding("GNOME Shell", "Super");
    ASSERT_TRUE(held) << "GNOME binds Super+Tab by default";
    EXPECT_EQ(held->holder, "GNOME");

    EXPECT_EQ(releaseStoreBinding("GNOME Shell", "Super"), std::nullopt);
    EXPECT_FALSE(storeBinding("Mutter (GNOME Shell)", "Super"));
    EXPECT_EQ(bindings("switch-applications"), QStringList{"<Alt>Tab"});
    EXPECT_EQ(bindings("switch-applications-backward"), QStringList{"<Shift><Alt>Tab"});
    EXPECT_TRUE(storeBinding("GNOME Shell", "Alt")) << "Alt+Tab stays GNOME's";
    EXPECT_NE(releaseStoreBinding("Openbox", "Super"), std::nullopt);
}

} // namespace
