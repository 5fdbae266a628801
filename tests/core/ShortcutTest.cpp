#include "core/AppEntry.h"

#include <gtest/gtest.h>

namespace {

std::string shortcutOf(const char* utf8Name) {
    const auto letter = hopla::shortcutForName(QString::fromUtf8(utf8Name));
    return letter ? std::string(1, *letter) : std::string();
}

TEST(Shortcut, LatinNamesTakeTheirFirstLetterOrDigitUppercased) {
    EXPECT_EQ(shortcutOf("Editor"), "E");
    EXPECT_EQ(shortcutOf("editor"), "E");
    EXPECT_EQ(shortcutOf("3D Viewer"), "3");
    EXPECT_EQ(shortcutOf("  42 Tools"), "4");
    EXPECT_EQ(shortcutOf("(beta) app"), "B");
}

TEST(Shortcut, AccentsAndOtherScriptsGoThroughLatin) {
    EXPECT_EQ(shortcutOf("Åsa"), "A");
    EXPECT_EQ(shortcutOf("Émile"), "E");
    EXPECT_EQ(shortcutOf("Ørsted"), "O");
    EXPECT_EQ(shortcutOf("微信"), "W");       // wēi xìn
    EXPECT_EQ(shortcutOf("网易云音乐"), "W"); // wǎng yì
    EXPECT_EQ(shortcutOf("终端"), "Z");
    EXPECT_EQ(shortcutOf("Яндекс"), "Y"); // BGN: Yandeks, not Jandeks
    EXPECT_EQ(shortcutOf("Щит"), "S");    // Shchit
    EXPECT_EQ(shortcutOf("Ελληνικά"), "E");
    EXPECT_EQ(shortcutOf("カタカナ"), "K");
    EXPECT_EQ(shortcutOf("ひらがな"), "H");
    EXPECT_EQ(shortcutOf("카카오톡"), "K");
    EXPECT_EQ(shortcutOf("עברית"), "B");
}

TEST(Shortcut, LeadingSymbolsAreSkippedAndSymbolOnlyNamesHaveNone) {
    EXPECT_EQ(shortcutOf("🚀 Rocket"), "R");
    EXPECT_EQ(shortcutOf("★"), "");
    EXPECT_EQ(shortcutOf("★☆ ✓"), "");
    EXPECT_EQ(shortcutOf("— …"), "");
    EXPECT_EQ(shortcutOf(""), "");
    EXPECT_EQ(shortcutOf("«Дача»"), "D"); // non-ASCII punctuation, then Cyrillic
    EXPECT_EQ(shortcutOf("Ёлка"), "Y");   // BGN writes a leading Ё as Yë
}

TEST(Shortcut, EntryKeepsItsNameUntransliterated) {
    const hopla::AppEntry entry(7, QString::fromUtf8("微信"));
    EXPECT_EQ(entry.id, 7);
    EXPECT_EQ(entry.name, QString::fromUtf8("微信"));
    EXPECT_EQ(entry.shortcut, 'W');
    // Entries remember transliterated names; each still gets its own shortcut.
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(hopla::AppEntry(1, QString::fromUtf8("微信")).shortcut, 'W');
        EXPECT_EQ(hopla::AppEntry(2, QString::fromUtf8("终端")).shortcut, 'Z');
        EXPECT_EQ(hopla::AppEntry(3, QString::fromUtf8("★")).shortcut, std::nullopt);
    }
}

} // namespace
