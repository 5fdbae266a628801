#include "platform/UserLanguage.h"

#include <QLocale>

namespace hopla {

TextLanguage textLanguageOf(const QString& tag) {
    const QString language = tag.toLower();
    if (!language.startsWith(QLatin1String("zh"))) {
        return TextLanguage::english;
    }
    for (const char* traditional : {"hant", "-tw", "-hk", "-mo"}) {
        if (language.contains(QLatin1String(traditional))) {
            return TextLanguage::traditionalChinese;
        }
    }
    return TextLanguage::simplifiedChinese;
}

QString firstPreferredLanguage() {
    const QStringList preferred = QLocale::system().uiLanguages();
    return preferred.isEmpty()
               ? QStringLiteral("en")
               : QString(preferred.first()).replace(QLatin1Char('_'), QLatin1Char('-'));
}

} // namespace hopla
