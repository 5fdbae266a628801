#include "core/AppEntry.h"

#include <gtest/gtest.h>

namespace {

std::string shortcutOf(const QString& name) {
    const auto letter = hopla::shortcutForName(name);
    return letter ? std::string(1, *letter) : std::string();
}

TEST(Shortcut, NamesInAnyScriptTakeTheFirstLetterOrDigitOfTheirLatinForm) {
    // Chinese goes by pinyin (wēi xìn, wǎng yì, zhōng duān), Cyrillic by BGN (Yandeks, not
    // Jandeks; Shchit; a leading Ё is Yë), after any punctuation; symbols alone give none.
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"Editor", "E"}, {"editor", "E"}, {"3D Viewer", "3"}, {"  42 Tools", "4"},
        {"(beta) app", "B"}, {"Åsa", "A"}, {"Émile", "E"}, {"Ørsted", "O"},
        {"微信", "W"}, {"网易云音乐", "W"}, {"终端", "Z"}, {"Яндекс", "Y"}, {"Щит", "S"},
        {"«Дача»", "D"}, {"Ёлка", "Y"}, {"Ελληνικά", "E"}, {"カタカナ", "K"},
        {"ひらがな", "H"}, {"카카오톡", "K"}, {"עברית", "B"}, {"🚀 Rocket", "R"},
        {"★", ""}, {"★☆ ✓", ""}, {"— …", ""}, {"", ""}};
    // clang-format on
    for (const auto& [name, letter] : cases) {
        EXPECT_EQ(shortcutOf(QString::fromUtf8(name)), letter) << name;
    }
}

TEST(Shortcut, EntriesKeepTheirNameUntransliteratedAndRememberEachOnesOwnShortcut) {
    for (int round = 0; round < 2; ++round) { // the second round from what was remembered
        EXPECT_EQ(hopla::AppEntry(1, QString::fromUtf8("微信")).name, QString::fromUtf8("微信"));
        EXPECT_EQ(hopla::AppEntry(1, QString::fromUtf8("微信")).shortcut, 'W');
        EXPECT_EQ(hopla::AppEntry(2, QString::fromUtf8("终端")).shortcut, 'Z');
        EXPECT_EQ(hopla::AppEntry(3, QString::fromUtf8("★")).shortcut, std::nullopt);
    }
}

} // namespace
