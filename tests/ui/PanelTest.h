#pragma once

#include "tests/ui/PanelScene.h"

#include <QGuiApplication>
#include <QTest>

/// The main function of a test of the panel: Test is the class.
#define PANEL_TEST_MAIN(Test)                                                                      \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        PanelScene::prepareEnvironment();                                                          \
        const QGuiApplication application(argc, argv);                                             \
        Test test;                                                                                 \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

/// What the scripted model says.
namespace Say {
inline const QString listWindows = QStringLiteral("{\"action\":\"list_windows\"}");
inline const QString trashOld = QStringLiteral("{\"action\":\"trash\",\"path\":\"old.zip\"}");

inline QString done(const QString &message = QStringLiteral("All done."))
{
    return QStringLiteral("{\"action\":\"done\",\"message\":\"%1\"}").arg(message);
}
} // namespace Say
