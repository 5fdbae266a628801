#include "core/SwitchSession.h"

#include <QStringList>

#include <gtest/gtest.h>

namespace {

using hopla::AppEntry;
using hopla::AppHandle;
using hopla::SwitchSession;

// Candidates 1..n named so that their shortcuts are the given letters ("SxS" gives S, X, S;
// "-" a name without one).
std::vector<AppEntry> candidates(const std::string& letters) {
    std::vector<AppEntry> apps;
    for (std::size_t i = 0; i < letters.size(); ++i) {
        const QString name =
            letters[i] == '-' ? QStringLiteral("★") : QString(QChar(letters[i])) + "pp";
        apps.emplace_back(static_cast<AppHandle>(i + 1), name);
    }
    return apps;
}

TEST(SwitchSession, OpensOnThePreviousAppForwardsOrTheLastBackwardsAndStepsWrapBothWays) {
    for (const auto& [letters, backwards, opened, forward, back] :
         {std::tuple{"abcde", false, 2, 3, 1}, std::tuple{"abcde", true, 5, 1, 4},
          std::tuple{"a", false, 1, 1, 1}, std::tuple{"a", true, 1, 1, 1}}) {
        SwitchSession s(candidates(letters), backwards);
        EXPECT_EQ(s.selectedId(), opened) << letters << backwards;
        s.step(false);
        EXPECT_EQ(s.selectedId(), forward) << letters << backwards;
        s.step(true);
        s.step(true);
        EXPECT_EQ(s.selectedId(), back) << letters << backwards;
    }
    SwitchSession empty(candidates(""), false);
    empty.step(false);
    EXPECT_EQ(empty.selectedId(), std::nullopt);
    EXPECT_EQ(empty.commitTarget(), std::nullopt);
    EXPECT_TRUE(empty.needsCommit());
}

TEST(SwitchSession, SameLetterCyclesAnyOtherSelectionRestartsItAndAnUnknownOneChangesNothing) {
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

    s.activationSucceeded(1);
    const SwitchSession before = s;
    EXPECT_EQ(s.letter('q'), std::nullopt);
    EXPECT_EQ(s, before); // selection, lastLetter and needsCommit all kept
    EXPECT_FALSE(s.needsCommit());
    EXPECT_EQ(s.letter('s'), 3) << "the cycle goes on";
    EXPECT_EQ(s.matchCount('s'), 3);
    EXPECT_EQ(s.matchCount('X'), 1);
    EXPECT_EQ(s.matchCount('q'), 0);
}

TEST(SwitchSession, BadgesCountPressesFromAFreshLetter) {
    const SwitchSession s(candidates("s-sxs"), false);
    QStringList badges;
    for (const auto& app : s.apps()) {
        badges << s.badge(app);
    }
    EXPECT_EQ(badges.join(' '), QString::fromUtf8("S — S ×2 X S ×3"));
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
    EXPECT_EQ(s.selectedId(), 3); // the new last
    s.select(2);
    s.activationSucceeded(2);
    ASSERT_EQ(s.letter('c'), 3);
    s.activationSucceeded(3);
    s.remove(1); // not selected: selection, commit and letter untouched
    EXPECT_EQ(s.selectedId(), 3);
    EXPECT_FALSE(s.needsCommit());
    EXPECT_EQ(s.lastLetter(), 'C');
    s.remove(3); // selected, last again: moves to 2, must commit, letter cleared
    EXPECT_EQ(s.selectedId(), 2);
    EXPECT_TRUE(s.needsCommit());
    EXPECT_EQ(s.lastLetter(), std::nullopt);
    s.remove(2);
    EXPECT_TRUE(s.apps().empty());
    EXPECT_EQ(s.selectedId(), std::nullopt);

    // From the middle: the follower is selected, and every copy of the id goes.
    std::vector<AppEntry> apps = candidates("abcd");
    apps.insert(apps.begin() + 3, AppEntry(2, "Bpp dup"));
    SwitchSession middle(apps, false); // on 2
    middle.remove(2);
    EXPECT_EQ(middle.apps().size(), 3u);
    EXPECT_EQ(middle.selectedId(), 3);
}

} // namespace
