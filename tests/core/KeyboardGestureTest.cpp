#include "core/KeyboardGesture.h"

#include <gtest/gtest.h>

namespace {

using hopla::GestureAction;
using hopla::KeyboardGesture;
using Decision = KeyboardGesture::Decision;

constexpr KeyboardGesture::KeyCode tab = 48, space = 49, aboveTab = 50, escape = 53, keyS = 1,
                                   ret = 36, leftArrow = 123;
constexpr Decision pass{false, std::nullopt};
constexpr Decision swallowSilently{true, std::nullopt};

Decision swallow(GestureAction action) {
    return {true, action};
}

KeyboardGesture::KeyDown down(KeyboardGesture::KeyCode code) {
    return {.code = code};
}

TEST(KeyboardGesture, SwitchTabOpensAndStepsButPlainTabAndOtherModifiersPass) {
    KeyboardGesture g;
    EXPECT_EQ(g.keyDown({.code = tab, .switchModifier = true}), swallow(GestureAction::tab(false)));
    EXPECT_TRUE(g.keyUp(tab));
    EXPECT_EQ(g.keyDown({.code = tab, .switchModifier = true, .shift = true}),
              swallow(GestureAction::tab(true)));
    EXPECT_TRUE(g.keyUp(tab));
    // Super released between events, session still open: Tab still steps.
    EXPECT_EQ(g.keyDown({.code = tab, .sessionOpen = true}), swallow(GestureAction::tab(false)));
    EXPECT_TRUE(g.keyUp(tab));

    EXPECT_EQ(g.keyDown(down(tab)), pass);
    EXPECT_FALSE(g.keyUp(tab));
    EXPECT_EQ(
        g.keyDown(
            {.code = tab, .switchModifier = true, .otherModifier = true, .sessionOpen = true}),
        pass);
    EXPECT_EQ(g.keyDown({.code = tab, .otherModifier = true, .sessionOpen = true}), pass);
    EXPECT_FALSE(g.keyUp(tab));

    // The key above Tab does the same for windows, whatever letter the layout puts there.
    EXPECT_EQ(g.keyDown({.code = aboveTab, .switchModifier = true, .shift = true, .letter = '0'}),
              swallow(GestureAction::tab(true, true)));
    EXPECT_TRUE(g.keyUp(aboveTab));
    EXPECT_EQ(g.keyDown(down(aboveTab)), pass);
}

TEST(KeyboardGesture, HeldTabDoesNotStepAndStrayRepeatsAreTakenOnlyDuringASession) {
    KeyboardGesture g;
    ASSERT_TRUE(g.keyDown({.code = tab, .switchModifier = true}).swallow);
    EXPECT_EQ(
        g.keyDown({.code = tab, .switchModifier = true, .repeated = true, .sessionOpen = true}),
        swallowSilently);
    EXPECT_EQ(g.keyDown({.code = tab, .switchModifier = true, .sessionOpen = true}),
              swallowSilently); // second down
    EXPECT_TRUE(g.keyUp(tab));

    // Repeats of a Tab whose key-down was never taken.
    EXPECT_EQ(
        g.keyDown({.code = tab, .switchModifier = true, .repeated = true, .sessionOpen = true}),
        swallowSilently);
    EXPECT_EQ(g.keyDown({.code = tab, .switchModifier = true, .repeated = true}), pass);
    EXPECT_FALSE(g.keyUp(tab));
}

TEST(KeyboardGesture, EscapeAndSpaceCancelOnlyDuringASessionWhateverTheModifiers) {
    KeyboardGesture g;
    for (const auto key : {escape, space}) {
        EXPECT_EQ(g.keyDown(down(key)), pass);
        EXPECT_EQ(g.keyDown({.code = key,
                             .switchModifier = true,
                             .otherModifier = true,
                             .repeated = true,
                             .sessionOpen = true}),
                  swallow(GestureAction::cancel()));
        EXPECT_TRUE(g.keyUp(key));
        EXPECT_FALSE(g.keyUp(key));
    }
}

TEST(KeyboardGesture, LettersAreTakenDuringASessionUnlessModifiedOrLetterless) {
    KeyboardGesture g;
    EXPECT_EQ(
        g.keyDown({.code = keyS, .switchModifier = true, .sessionOpen = false, .letter = 'S'}),
        pass);
    EXPECT_EQ(g.keyDown({.code = keyS, .switchModifier = true, .sessionOpen = true, .letter = 'S'}),
              swallow(GestureAction::letterKey('S'))); // Super+S is a letter, never a save
    EXPECT_EQ(g.keyDown({.code = keyS, .repeated = true, .sessionOpen = true, .letter = 'S'}),
              swallowSilently);
    EXPECT_TRUE(g.keyUp(keyS));

    EXPECT_EQ(g.keyDown({.code = keyS, .otherModifier = true, .sessionOpen = true, .letter = 'S'}),
              pass);
    EXPECT_EQ(g.keyDown({.code = keyS, .repeated = true, .sessionOpen = true, .letter = 'S'}),
              swallowSilently);
    EXPECT_FALSE(g.keyUp(keyS)); // a silently swallowed repeat is not remembered
    EXPECT_EQ(g.keyDown({.code = ret, .switchModifier = true, .sessionOpen = true}), pass);
    EXPECT_EQ(g.keyDown({.code = leftArrow, .sessionOpen = true}), pass);
    EXPECT_EQ(g.keyDown({.code = 4096, .sessionOpen = true, .letter = 'Q'}),
              pass); // beyond the key range
    EXPECT_FALSE(g.keyUp(4096));
}

} // namespace
