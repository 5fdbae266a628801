#pragma once

#include <QString>

namespace hopla {

// How a language tag ("zh-Hant-TW", "zh-CN", "en-GB") reads for texts that come in
// English, Simplified and Traditional Chinese: Chinese when it starts with "zh", and
// Traditional when it names the script or a region that writes it (Taiwan, Hong Kong,
// Macao). Case does not matter.
enum class TextLanguage { english, simplifiedChinese, traditionalChinese };
TextLanguage textLanguageOf(const QString& tag);

// The user's first preferred language ("en" when the system names none), with "-" between
// its parts.
QString firstPreferredLanguage();

} // namespace hopla
