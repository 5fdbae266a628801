#include "core/KeyboardGesture.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

namespace {

using hopla::GestureAction;
using hopla::KeyboardGesture;
using Decision = KeyboardGesture::Decision;

constexpr KeyboardGesture::KeyCode tab = 48, space = 49, escape = 53, keyS = 1, ret = 36,
                                   leftArrow = 123;
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
    EXPECT_EQ(g.keyDown({.code = tab, .command = true}), swallow(GestureAction::tab(false)));
    EXPECT_TRUE(g.keyUp(tab));
    EXPECT_EQ(g.keyDown({.code = tab, .command = true, .shift = true}),
              swallow(GestureAction::tab(true)));
    EXPECT_TRUE(g.keyUp(tab));
    // Command released between events, session still open: Tab still steps.
    EXPECT_EQ(g.keyDown({.code = tab, .sessionOpen = true}), swallow(GestureAction::tab(false)));
    EXPECT_TRUE(g.keyUp(tab));

    EXPECT_EQ(g.keyDown(down(tab)), pass);
    EXPECT_FALSE(g.keyUp(tab));
    EXPECT_EQ(g.keyDown({.code = tab, .command = true, .otherModifier = true, .sessionOpen = true}),
              pass);
    EXPECT_EQ(g.keyDown({.code = tab, .otherModifier = true, .sessionOpen = true}), pass);
    EXPECT_FALSE(g.keyUp(tab));
}

TEST(KeyboardGesture, HeldTabDoesNotStepAndStrayRepeatsAreTakenOnlyDuringASession) {
    KeyboardGesture g;
    ASSERT_TRUE(g.keyDown({.code = tab, .command = true}).swallow);
    EXPECT_EQ(g.keyDown({.code = tab, .command = true, .repeated = true, .sessionOpen = true}),
              swallowSilently);
    EXPECT_EQ(g.keyDown({.code = tab, .command = true, .sessionOpen = true}),
              swallowSilently); // second down
    EXPECT_TRUE(g.keyUp(tab));

    // Repeats of a Tab whose key-down was never taken.
    EXPECT_EQ(g.keyDown({.code = tab, .command = true, .repeated = true, .sessionOpen = true}),
              swallowSilently);
    EXPECT_EQ(g.keyDown({.code = tab, .command = true, .repeated = true}), pass);
    EXPECT_FALSE(g.keyUp(tab));
}

TEST(KeyboardGesture, EscapeAndSpaceCancelOnlyDuringASessionWhateverTheModifiers) {
    KeyboardGesture g;
    for (const auto key : {escape, space}) {
        EXPECT_EQ(g.keyDown(down(key)), pass);
        EXPECT_EQ(g.keyDown({.code = key,
                             .command = true,
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
    EXPECT_EQ(g.keyDown({.code = keyS, .command = true, .sessionOpen = false, .letter = 'S'}),
              pass);
    EXPECT_EQ(g.keyDown({.code = keyS, .command = true, .sessionOpen = true, .letter = 'S'}),
              swallow(GestureAction::letterKey('S'))); // Command-S is a letter, never a save
    EXPECT_EQ(g.keyDown({.code = keyS, .repeated = true, .sessionOpen = true, .letter = 'S'}),
              swallowSilently);
    EXPECT_TRUE(g.keyUp(keyS));

    EXPECT_EQ(g.keyDown({.code = keyS, .otherModifier = true, .sessionOpen = true, .letter = 'S'}),
              pass);
    EXPECT_EQ(g.keyDown({.code = keyS, .repeated = true, .sessionOpen = true, .letter = 'S'}),
              swallowSilently);
    EXPECT_FALSE(g.keyUp(keyS)); // a silently swallowed repeat is not remembered
    EXPECT_EQ(g.keyDown({.code = ret, .command = true, .sessionOpen = true}), pass);
    EXPECT_EQ(g.keyDown({.code = leftArrow, .sessionOpen = true}), pass);
    EXPECT_EQ(g.keyDown({.code = 4096, .sessionOpen = true, .letter = 'Q'}),
              pass); // beyond the key range
    EXPECT_FALSE(g.keyUp(4096));
}

// Random key streams as a real keyboard produces them: a key goes down, may auto-repeat,
// and comes up once; keys overlap freely; the session flag follows the delivered actions
// (and is sometimes corrected behind the machine's back, as the controller does).
TEST(KeyboardGesture, RandomStreamsNeverLeaveHalfAKeyPress) {
    const std::vector<KeyboardGesture::KeyCode> keys{tab, space,     escape, keyS, 2,   18,
                                                     ret, leftArrow, 51,     55,   4096};
    const std::map<KeyboardGesture::KeyCode, char> letters{{keyS, 'S'}, {2, 'D'}, {18, '1'}};
    std::mt19937 random(20261123);
    const auto chance = [&](int percent) {
        return std::uniform_int_distribution<int>(0, 99)(random) < percent;
    };

    for (int stream = 0; stream < 500; ++stream) {
        KeyboardGesture g;
        bool sessionOpen = false;
        std::set<KeyboardGesture::KeyCode> held;
        std::set<KeyboardGesture::KeyCode>
            takenThisPress; // keys whose current press delivered an action
        for (int event = 0; event < 200; ++event) {
            const auto code =
                keys[std::uniform_int_distribution<std::size_t>(0, keys.size() - 1)(random)];
            if (chance(10)) {
                sessionOpen = !sessionOpen; // the controller's correction
            }
            if (held.count(code) && chance(50)) {
                const bool swallowed = g.keyUp(code);
                ASSERT_EQ(swallowed, takenThisPress.count(code) == 1) << "key-up of " << code;
                held.erase(code);
                takenThisPress.erase(code);
                ASSERT_FALSE(g.keyUp(code)) << "a second key-up of " << code << " was swallowed";
                continue;
            }
            const bool repeated = held.count(code) == 1;
            const auto it = letters.find(code);
            const KeyboardGesture::KeyDown e{.code = code,
                                             .command = chance(60),
                                             .shift = chance(30),
                                             .otherModifier = chance(10),
                                             .repeated = repeated,
                                             .sessionOpen = sessionOpen,
                                             .letter = sessionOpen && it != letters.end()
                                                           ? std::optional(it->second)
                                                           : std::nullopt};
            const Decision d = g.keyDown(e);
            held.insert(code);
            if (d.action) {
                ASSERT_TRUE(d.swallow);
                takenThisPress.insert(code);
                if (d.action->kind == GestureAction::Kind::tab) {
                    sessionOpen = true;
                } else if (d.action->kind == GestureAction::Kind::cancel) {
                    sessionOpen = false;
                }
            }
            if (code == ret || code == leftArrow || code == 51 || code == 4096) {
                ASSERT_FALSE(d.swallow) << "letterless key " << code << " was swallowed";
            }
            if (!repeated && d.swallow && !d.action) {
                ASSERT_TRUE(g.isConsumed(code))
                    << "a fresh key-down was swallowed without an action";
            }
        }
    }
}

} // namespace
