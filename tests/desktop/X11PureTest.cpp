// The parsers that read what other clients wrote, and how windows make applications: no
// display needed.
#include "platform/x11/AppIdentity.h"
#include "platform/x11/CompoundText.h"
#include "platform/x11/WindowIcon.h"

#include <gtest/gtest.h>

namespace {

using hopla::x11::decodeCompoundText;
using hopla::x11::imageFromWmIcon;

std::vector<std::uint32_t> icon(std::uint32_t side, std::uint32_t colour) {
    std::vector<std::uint32_t> data{side, side};
    data.resize(2 + side * side, colour);
    return data;
}

TEST(WindowIcon, PicksTheSmallestAtLeastTheWantedSizeElseTheLargestAndSkipsMalformedData) {
    auto data = icon(16, 0xff0000ff);
    const auto big = icon(128, 0xff00ff00);
    const auto mid = icon(96, 0xffff0000);
    data.insert(data.end(), big.begin(), big.end());
    data.insert(data.end(), mid.begin(), mid.end());
    const QImage chosen = imageFromWmIcon(data, 80);
    EXPECT_EQ(chosen.width(), 96);
    EXPECT_EQ(chosen.pixelColor(5, 5), QColor(255, 0, 0));
    EXPECT_EQ(imageFromWmIcon(icon(48, 0xff000000), 80).width(), 48);

    // Malformed data is never read past its end.
    EXPECT_TRUE(imageFromWmIcon({}, 80).isNull());
    EXPECT_TRUE(
        imageFromWmIcon(std::vector<std::uint32_t>{4000, 4000, 1, 2, 3}, 80).isNull()); // too big
    EXPECT_TRUE(
        imageFromWmIcon(std::vector<std::uint32_t>{10, 10, 1, 2, 3}, 80).isNull()); // truncated
    EXPECT_TRUE(imageFromWmIcon(std::vector<std::uint32_t>{0, 5}, 80).isNull());
    EXPECT_TRUE(imageFromWmIcon(std::vector<std::uint32_t>{0xffffffff, 0xffffffff, 7}, 80)
                    .isNull()); // overflow bait
    auto good = icon(32, 0xffffffff);
    good.insert(good.end(), {64, 64, 1}); // a good icon, then a truncated one
    EXPECT_EQ(imageFromWmIcon(good, 80).width(), 32);
}

TEST(CompoundText, DecodesLatin1Utf8AndChineseSegmentsAndSkipsBrokenOnes) {
    EXPECT_EQ(decodeCompoundText("plain"), "plain");
    EXPECT_EQ(decodeCompoundText("Caf\xe9"),
              QString::fromUtf8("Café")); // Latin-1 right half by default
    EXPECT_EQ(decodeCompoundText("\x1b%G\xe5\xbe\xae\xe4\xbf\xa1\x1b%@ chat"),
              QString::fromUtf8("微信 chat"));
    EXPECT_EQ(decodeCompoundText("\x1b$)A\xd6\xd0\xce\xc4\x1b-A!"), QString::fromUtf8("中文!"));
    EXPECT_EQ(decodeCompoundText("\x1b$(B\x46\x7c\x4b\x5c\x1b(B ok"),
              QString::fromUtf8("日本 ok")); // JIS in GL

    // Broken input stays short and sane.
    EXPECT_EQ(decodeCompoundText("\x1b"), "");
    EXPECT_EQ(decodeCompoundText("\x1b%Gunterminated"), "unterminated");
    EXPECT_EQ(decodeCompoundText("a\x1b$+Zgarbage\x1b(Bb"), "ab"); // unknown set skipped
    const QByteArray noise(10000, '\x1b');
    EXPECT_TRUE(decodeCompoundText(noise).isEmpty());
}

TEST(AppIdentity, TheStrongestEvidenceDecidesWhichApplicationAWindowJoins) {
    qputenv("XDG_DATA_HOME", HOPLA_TEST_DATA); // only the tests' own entries
    qputenv("XDG_DATA_DIRS", HOPLA_TEST_DATA "/none");
    hopla::xdg::DesktopEntries entries;
    struct Case {
        const char *gtk, *kde, *sandbox, *className;
        std::optional<hopla::x11::Pid> pid;
        const char* key;
    };
    const Case cases[] = {
        {"hopla-chinese", "", "", "Other", 9, "entry:hopla-chinese.desktop"},
        {"org.example.Missing", "", "", "Other", 9, "id:org.example.Missing"},
        {"", "hopla-terminal", "", "", 9, "entry:hopla-terminal.desktop"},
        {"", "", "hopla-chinese.desktop", "Other", 9, "entry:hopla-chinese.desktop"},
        {"", "", "", "HoplaTerm", 9, "entry:hopla-terminal.desktop"}, // StartupWMClass
        {"", "", "", "Plain", 9, "class:Plain"},
        {"", "", "", "", 9, "pid:9"},
        {"", "", "", "", std::nullopt, "window:7"},
    };
    for (const Case& c : cases) {
        hopla::x11::ClientWindow w;
        w.id = 7;
        w.pid = c.pid;
        w.instance = QStringLiteral("instance");
        w.className = QString::fromLatin1(c.className);
        w.gtkApplicationId = QString::fromLatin1(c.gtk);
        w.kdeDesktopFile = QString::fromLatin1(c.kde);
        const auto identity = identify(w, QString::fromLatin1(c.sandbox), entries);
        EXPECT_EQ(identity.key, c.key);
        EXPECT_EQ(identity.entry.has_value(), QString(c.key).startsWith("entry:")) << c.key;
    }
}

} // namespace
