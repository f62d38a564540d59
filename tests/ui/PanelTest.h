#pragma once

#include "tests/ui/PanelScene.h"

#include <QGuiApplication>
#include <QTest>

using Qt::StringLiterals::operator""_s;

/// The main function of a panel test with the class Test.
#define PANEL_TEST_MAIN(Test)                                                                      \
    int main(int argc, char *argv[])                                                               \
    {                                                                                              \
        PanelScene::prepareEnvironment();                                                          \
        const QGuiApplication application(argc, argv);                                             \
        Test test;                                                                                 \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

/// Replies of the scripted model.
namespace Say {
inline const QString listWindows = u"{\"action\":\"list_windows\"}"_s;
inline const QString trashOld = u"{\"action\":\"trash\",\"path\":\"old.zip\"}"_s;

inline QString done(const QString &message = u"All done."_s)
{
    return u"{\"action\":\"done\",\"message\":\"%1\"}"_s.arg(message);
}
} // namespace Say
