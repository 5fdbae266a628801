#pragma once

#include "platform/AppHandle.h"

#include <QString>

#include <optional>

namespace hopla {

// The letter or digit that selects an application from the keyboard: derived from its name,
// in any script, through a Latin transliteration. Nothing when the name has no letter or digit.
std::optional<char> shortcutForName(const QString& name);

// One candidate application of a switching session.
struct AppEntry {
    AppEntry(AppHandle id, QString name);

    AppHandle id;
    QString name;                 // the display name, exactly as given
    std::optional<char> shortcut; // 'A'..'Z' or '0'..'9'

    friend bool operator==(const AppEntry&, const AppEntry&) = default;
};

} // namespace hopla
