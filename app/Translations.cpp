#include "app/Translations.h"

#include <QLocale>

namespace hopla {

bool wantsChineseTexts(const QStringList& uiLanguages) {
    return !uiLanguages.isEmpty() && uiLanguages.constFirst().startsWith(QStringLiteral("zh"));
}

std::unique_ptr<QTranslator> installTranslations(QCoreApplication& application) {
    if (wantsChineseTexts(QLocale().uiLanguages())) {
        return nullptr;
    }
    auto english = std::make_unique<QTranslator>();
    if (!english->load(QStringLiteral(":/i18n/hopla_en.qm"))) {
        return nullptr; // the Chinese texts remain: better than none
    }
    application.installTranslator(english.get());
    return english;
}

} // namespace hopla
