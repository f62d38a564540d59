#pragma once

#include "tests/ui/PanelScene.h"

#include <QGuiApplication>
#include <QTest>

using Qt::StringLiterals::operator""_s;

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
inline const QString listWindows = u"{\"action\":\"list_windows\"}"_s;
inline const QString trashOld = u"{\"action\":\"trash\",\"path\":\"old.zip\"}"_s;

inline QString done(const QString &message = u"All done."_s)
{
    return u"{\"action\":\"done\",\"message\":\"%1\"}"_s.arg(message);
}
} // namespace Say
