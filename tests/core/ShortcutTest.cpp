#include "core/AppEntry.h"

#include <gtest/gtest.h>

namespace {

std::string text(std::optional<char> letter) {
    return letter ? std::string(1, *letter) : std::string();
}

TEST(Shortcut, NamesInAnyScriptTakeTheFirstLetterOrDigitOfTheirLatinForm) {
    // Chinese goes by pinyin (wēi xìn, wǎng yì, zhōng duān), Cyrillic by BGN (Yandeks, not
    // Jandeks; Shchit; a leading Ё is Yë), after any punctuation; symbols alone give none.
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"Editor", "E"}, {"editor", "E"}, {"3D Viewer", "3"}, {"  92 Tools", "9"},
        {"(beta) app", "B"}, {"Åsa", "A"}, {"Émile", "E"}, {"Ørsted", "O"},
        {"微信", "W"}, {"网易云音乐", "W"}, {"终端", "Z"}, {"Яндекс", "Y"}, {"Щит", "S"},
        {"«Дача»", "D"}, {"Ёлка", "Y"}, {"Ελληνικά", "E"}, {"カタカナ", "K"},
        {"ひらがな", "H"}, {"카카오톡", "K"}, {"עברית", "B"}, {"🚀 Rocket", "R"},
        {"★", ""}, {"★☆ ✓", ""}, {"— …", ""}, {"", ""}};
    // clang-format on
    // An entry keeps its name as it is; its second round comes from what was remembered.
    for (int round = 0; round < 2; ++round) {
        for (const auto& [utf8, letter] : cases) {
            const QString name = QString::fromUtf8(utf8);
            EXPECT_EQ(text(hopla::shortcutForName(name)), letter) << utf8;
            const hopla::AppEntry entry(1, name);
            EXPECT_EQ(entry.name, name);
            EXPECT_EQ(text(entry.shortcut), letter) << utf8 << " as an entry";
        }
    }
}

} // namespace
