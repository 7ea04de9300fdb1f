// gtest entry for every test executable: a QApplication (off screen unless a display is given) and
// QStandardPaths in test mode, so no test touches the real user's files.

#include <gtest/gtest.h>

#include <QApplication>
#include <QStandardPaths>

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("DISPLAY") && !qEnvironmentVariableIsSet("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication application(argc, argv);
    QStandardPaths::setTestModeEnabled(true);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
