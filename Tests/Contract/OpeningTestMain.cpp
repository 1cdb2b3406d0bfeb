#include "Contract/TemporaryFolder.h"

#include <QGuiApplication>

#include <gtest/gtest.h>

#include <cstdlib>

// GLib reads these once. What the machine has installed must not open what the tests want opened.
int main(int argc, char** argv)
{
    const glimmerwick::contract::TemporaryFolder folder;
    for (const char* variable : {"XDG_DATA_HOME", "XDG_DATA_DIRS", "XDG_CONFIG_HOME", "XDG_CONFIG_DIRS"}) {
        ::setenv(variable, (folder.path() / variable).c_str(), 1);
    }
    ::testing::InitGoogleTest(&argc, argv);
    const QGuiApplication application(argc, argv);
    return RUN_ALL_TESTS();
}
