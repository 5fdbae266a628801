#include "core/SwitchSession.h"

#include <gtest/gtest.h>

namespace {

using hopla::AppEntry;
using hopla::ProcessId;
using hopla::SwitchSession;

// Candidates 1..n named so that their shortcuts are the given letters ("SxS" gives S, X, S).
std::vector<AppEntry> candidates(const std::string& letters) {
    std::vector<AppEntry> apps;
    for (std::size_t i = 0; i < letters.size(); ++i) {
        const QString name =
            letters[i] == '-' ? QStringLiteral("★") : QString(QChar(letters[i])) + "pp";
        apps.emplace_back(static_cast<ProcessId>(i + 1), name);
    }
    return apps;
}

TEST(SwitchSession, OpeningSelectsThePreviousAppForwardsAndTheLastBackwards) {
    EXPECT_EQ(SwitchSession(candidates("abcde"), false).selectedID(), 2);
    EXPECT_EQ(SwitchSession(candidates("abcde"), true).selectedID(), 5);
    EXPECT_EQ(SwitchSession(candidates("a"), false).selectedID(), 1);
    EXPECT_EQ(SwitchSession(candidates("a"), true).selectedID(), 1);
    const SwitchSession empty(candidates(""), false);
    EXPECT_EQ(empty.selectedID(), std::nullopt);
    EXPECT_EQ(empty.commitTarget(), std::nullopt);
    EXPECT_TRUE(empty.needsCommit());
}

TEST(SwitchSession, SteppingWrapsBothWays) {
    SwitchSession s(candidates("abcde"), true); // on 5
    s.step(false);
    EXPECT_EQ(s.selectedID(), 1);
    s.step(true);
    EXPECT_EQ(s.selectedID(), 5);

    SwitchSession one(candidates("a"), false);
    one.step(false);
    EXPECT_EQ(one.selectedID(), 1);
    one.step(true);
    EXPECT_EQ(one.selectedID(), 1);

    SwitchSession none(candidates(""), false);
    none.step(false);
    EXPECT_EQ(none.selectedID(), std::nullopt);
}

TEST(SwitchSession, SameLetterCyclesAndAnyOtherSelectionRestartsTheCycle) {
    SwitchSession s(candidates("sxsys"), false); // S on 1, 3, 5
    EXPECT_EQ(s.letter('s'), 1);
    EXPECT_EQ(s.lastLetter(), 'S');
    EXPECT_EQ(s.letter('S'), 3);
    EXPECT_EQ(s.letter('s'), 5);
    EXPECT_EQ(s.letter('s'), 1); // wraps
    s.step(false);               // Tab clears the letter...
    EXPECT_EQ(s.lastLetter(), std::nullopt);
    EXPECT_EQ(s.letter('s'), 1); // ...so S starts over at the first S
    EXPECT_EQ(s.letter('x'), 2);
    EXPECT_EQ(s.letter('s'), 1); // another letter in between: starts over too
    s.select(5);
    EXPECT_EQ(s.letter('s'), 1); // a click clears it as well
}

TEST(SwitchSession, ALetterNobodyCarriesChangesNothingSoTheCycleContinues) {
    SwitchSession s(candidates("sxs"), false);
    ASSERT_EQ(s.letter('s'), 1);
    s.activationSucceeded(1);
    const SwitchSession before = s;
    EXPECT_EQ(s.letter('q'), std::nullopt);
    EXPECT_EQ(s, before); // selection, lastLetter and needsCommit all kept
    EXPECT_FALSE(s.needsCommit());
    EXPECT_EQ(s.letter('s'), 3);
    EXPECT_EQ(s.matchCount('s'), 2);
    EXPECT_EQ(s.matchCount('X'), 1);
    EXPECT_EQ(s.matchCount('q'), 0);
}

TEST(SwitchSession, BadgesCountPressesFromAFreshLetter) {
    const SwitchSession s(candidates("s-sxs"), false);
    const auto& apps = s.apps();
    EXPECT_EQ(s.badge(apps[0]), "S");
    EXPECT_EQ(s.badge(apps[1]), QString::fromUtf8("—"));
    EXPECT_EQ(s.badge(apps[2]), QString::fromUtf8("S ×2"));
    EXPECT_EQ(s.badge(apps[3]), "X");
    EXPECT_EQ(s.badge(apps[4]), QString::fromUtf8("S ×3"));
    EXPECT_EQ(s.badge(AppEntry(99, "Stranger")), "S"); // not a candidate: the letter alone
    const SwitchSession many(candidates("aaaaaaaaaaaa"), false);
    EXPECT_EQ(many.badge(many.apps()[11]), QString::fromUtf8("A ×12"));
}

TEST(SwitchSession, CommitFollowsSelectionChangesAndConfirmedActivation) {
    SwitchSession s(candidates("abc"), false);
    EXPECT_EQ(s.commitTarget(), 2);
    s.activationSucceeded(3); // not the selection: still to commit
    EXPECT_EQ(s.commitTarget(), 2);
    s.activationSucceeded(2);
    EXPECT_EQ(s.commitTarget(), std::nullopt);
    s.select(42); // unknown: nothing changes
    EXPECT_EQ(s.commitTarget(), std::nullopt);
    s.select(2); // even re-selecting the same candidate means it must be activated again
    EXPECT_EQ(s.commitTarget(), 2);
}

TEST(SwitchSession, RemovingMovesASelectionThatQuitAndLeavesOthersAlone) {
    SwitchSession s(candidates("abcd"), true); // on 4, the last
    s.remove(4);
    EXPECT_EQ(s.selectedID(), 3); // the new last
    s.select(2);
    s.activationSucceeded(2);
    ASSERT_EQ(s.letter('c'), 3);
    s.activationSucceeded(3);
    s.remove(1); // not selected: selection, commit and letter untouched
    EXPECT_EQ(s.selectedID(), 3);
    EXPECT_FALSE(s.needsCommit());
    EXPECT_EQ(s.lastLetter(), 'C');
    s.remove(3); // selected, last again: moves to 2, must commit, letter cleared
    EXPECT_EQ(s.selectedID(), 2);
    EXPECT_TRUE(s.needsCommit());
    EXPECT_EQ(s.lastLetter(), std::nullopt);
    s.remove(2);
    EXPECT_TRUE(s.apps().empty());
    EXPECT_EQ(s.selectedID(), std::nullopt);
}

TEST(SwitchSession, RemovingFromTheMiddleSelectsTheFollowerAndDropsEveryCopy) {
    std::vector<AppEntry> apps = candidates("abcd");
    apps.insert(apps.begin() + 3, AppEntry(2, "Bpp dup"));
    SwitchSession s(apps, false); // on 2
    s.remove(2);
    EXPECT_EQ(s.apps().size(), 3u);
    EXPECT_EQ(s.selectedID(), 3);
}

} // namespace
