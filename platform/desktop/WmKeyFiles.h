#pragma once

#include <QString>

#include <optional>

namespace hopla::desktop {

// Window managers that keep their keys in a file of their own, such as fluxbox's
// ~/.fluxbox/keys ("Mod4 Tab :NextTab"): the line that binds Tab with the switch modifier,
// and taking it out for the user.
struct KeyFileBinding {
    QString file;
    QString line; // as written there
};

// fluxbox's keys file: session.keyFile of ~/.fluxbox/init, else ~/.fluxbox/keys.
QString fluxboxKeysFile();

// The first line binding Tab with the modifier ("Super" is Mod4, "Alt" Mod1), with at most
// Shift besides; nothing when none does or the file cannot be read.
std::optional<KeyFileBinding> keyFileBinding(const QString& file, const QString& modifier);

// Comments out every such line, after keeping the file as it was beside it (".hopla-backup").
// An error text, or nothing when done.
std::optional<QString> releaseKeyFileBindings(const QString& file, const QString& modifier);

} // namespace hopla::desktop
