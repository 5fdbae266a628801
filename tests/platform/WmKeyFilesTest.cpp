// A window manager's keys file: the line that binds the switch combination, and taking it
// out with the file kept as it was beside it.
#include "platform/desktop/WmKeyFiles.h"
#include "tests/support/Files.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace {

using hopla::desktop::keyFileBinding;
using hopla::desktop::releaseKeyFileBindings;

const QByteArray keys = "# Mod4 Tab :commented\n"
                        "OnTitlebar Mod4 Mouse1 :StartMoving\n"
                        "Mod4 Control Tab :NextWorkspace\n"
                        "Mod1 Tab :NextWindow {groups}\n"
                        "  Mod4 Tab :NextTab\n"
                        "Mod4 Shift Tab :PrevTab\n";

TEST(WmKeyFiles, FindsAndTakesOutOnlyTabWithTheModifierAndKeepsABackup) {
    QTemporaryDir home;
    const QString file = home.filePath("keys");
    ASSERT_TRUE(hopla::testing::write(file, keys));
    EXPECT_EQ(keyFileBinding(file, "Super")->line, "Mod4 Tab :NextTab");
    EXPECT_EQ(keyFileBinding(file, "Alt")->line, "Mod1 Tab :NextWindow {groups}");
    EXPECT_FALSE(keyFileBinding(home.filePath("missing"), "Super"));

    ASSERT_EQ(releaseKeyFileBindings(file, "Super"), std::nullopt);
    EXPECT_FALSE(keyFileBinding(file, "Super")) << "Shift+Tab went with it";
    EXPECT_TRUE(keyFileBinding(file, "Alt"));
    EXPECT_EQ(hopla::testing::readAll(file + ".hopla-backup"), keys);
    EXPECT_TRUE(hopla::testing::readAll(file).contains("Mod4 Control Tab :NextWorkspace\n"));
}

} // namespace
