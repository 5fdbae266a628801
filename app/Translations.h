#pragma once

#include <QCoreApplication>
#include <QStringList>
#include <QTranslator>

#include <memory>

namespace hopla {

// The shell's texts are written in Simplified Chinese. Users whose first language is not
// Chinese get the English translation.
bool wantsChineseTexts(const QStringList& uiLanguages);

// Installs the translation the user's languages call for; keep the result alive while the
// application runs. Nothing when the Chinese source texts are wanted.
std::unique_ptr<QTranslator> installTranslations(QCoreApplication& application);

} // namespace hopla
