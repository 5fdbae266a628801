#include "platform/xkb/KeyboardLayout.h"
#include "platform/VirtualKeys.h"
#include "platform/xkb/KeyPositions.h"

#include <gtest/gtest.h>

namespace {

using hopla::KeyboardLayout;

// Virtual key codes of the ANSI positions used below.
constexpr std::uint16_t keyA = 0, keyZ = 6, keyY = 16, keyQ = 12, key1 = 18, key0 = 29;
constexpr std::uint16_t keySemicolon = 41, keyEquals = 24, keyReturn = 36, keyTab = 48,
                        keySpace = 49;
constexpr std::uint16_t keyLeftSwitchModifier = 55, keyShift = 56, keyF1 = 122, keyLeftArrow = 123;
constexpr std::uint16_t unmapped = 52;

KeyboardLayout layout(const char* names, const char* variant = "", std::uint32_t activeGroup = 0) {
    KeyboardLayout::Names n;
    n.layout = names;
    n.variant = variant;
    auto result = KeyboardLayout::fromNames(n, activeGroup);
    if (!result) {
        ADD_FAILURE() << "layout " << names << " did not compile (is xkb-data installed?)";
        return *KeyboardLayout::fromNames({});
    }
    return std::move(*result);
}

std::string typed(const KeyboardLayout& l, std::uint16_t code) {
    const auto c = l.shortcut(code);
    return c ? std::string(1, *c) : std::string();
}

TEST(KeyboardLayout, UsLettersAndDigitsComeOutUppercaseAndOtherKeysGiveNothing) {
    const auto us = layout("us");
    EXPECT_EQ(typed(us, keyA), "A");
    EXPECT_EQ(typed(us, keyZ), "Z");
    EXPECT_EQ(typed(us, key1), "1");
    EXPECT_EQ(typed(us, key0), "0");
    for (const std::uint16_t none :
         {keySemicolon, keyEquals, keyReturn, keyTab, keySpace, keyLeftSwitchModifier, keyShift,
          keyF1, keyLeftArrow, unmapped}) {
        EXPECT_EQ(typed(us, none), "") << "virtual key " << none;
    }
    // Every position of the main block from A to the grave key: only letters and digits.
    int letters = 0, digits = 0;
    for (std::uint16_t code = 0; code <= 50; ++code) {
        const auto c = us.shortcut(code);
        letters += c && *c >= 'A' && *c <= 'Z';
        digits += c && *c >= '0' && *c <= '9';
    }
    EXPECT_EQ(letters, 26);
    EXPECT_EQ(digits, 10);
}

TEST(KeyboardLayout, LettersFollowThePhysicalKeyUnderTheUsersLayoutAndItsLatinGroup) {
    const auto de = layout("de"), fr = layout("fr");
    EXPECT_EQ(typed(de, keyZ) + typed(de, keyY), "YZ");
    EXPECT_EQ(typed(fr, keyA) + typed(fr, keyQ), "QA");
    EXPECT_EQ(typed(fr, key1), ""); // AZERTY's number row types "&" without Shift

    // Non-Latin groups read their letters from the Latin group; an active Latin one is used.
    const auto usRuOnRussian = layout("us,ru", "", 1);
    EXPECT_EQ(usRuOnRussian.latinGroup(), 0u);
    EXPECT_EQ(typed(usRuOnRussian, keyA), "A");
    const auto ruUs = layout("ru,us");
    EXPECT_EQ(ruUs.latinGroup(), 1u);
    EXPECT_EQ(typed(ruUs, keyQ), "Q");
    EXPECT_EQ(typed(layout("de,us", "", 1), keyZ), "Z");
    const auto onlyGreek = layout("gr");
    EXPECT_EQ(onlyGreek.latinGroup(), std::nullopt);
    EXPECT_EQ(typed(onlyGreek, keyA), "");
}

TEST(KeyboardLayout, UnknownLayoutsDoNotCompileAndUnknownKeysHaveNoPosition) {
    KeyboardLayout::Names names;
    names.layout = "no-such-layout";
    EXPECT_FALSE(KeyboardLayout::fromNames(names).has_value());
    EXPECT_FALSE(KeyboardLayout::adopt(nullptr, 0).has_value());
    EXPECT_EQ(hopla::virtual_keys::fromEvdev(125), 55); // left Super stands for left Command
    EXPECT_EQ(hopla::virtual_keys::fromEvdev(15), 48);  // Tab
    EXPECT_EQ(hopla::virtual_keys::fromEvdev(999), std::nullopt);
    EXPECT_EQ(hopla::virtual_keys::evdevCode(52), std::nullopt);
}

} // namespace
