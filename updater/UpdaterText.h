#pragma once

#include "platform/UserLanguage.h"

#include <QString>
#include <QStringList>

namespace hopla {

// The updater speaks three languages of its own, whatever the rest of Hopla speaks: its
// texts are written in Simplified Chinese and translated when they are produced.
using UpdaterLanguage = TextLanguage;

// The language for a user whose preferred languages are `preferred` (most wanted first).
// An application that ships no translations speaks English to everybody.
UpdaterLanguage updaterLanguageFor(const QStringList& preferred, bool shipsTranslations = true);

// The language in force now, from the system's preferred languages.
UpdaterLanguage currentUpdaterLanguage();

// The text for `language`: the source itself for Simplified Chinese, and whenever the
// tables do not know it.
QString updaterCopy(const QString& source, UpdaterLanguage language);
QString updaterCopy(const QString& source);
QString updaterCopy(const char* utf8Source);

} // namespace hopla
