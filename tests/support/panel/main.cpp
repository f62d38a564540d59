// The program with the least of a panel, for tests of everything around the views.

#include "app/CommandLine.h"

int main(int argc, char *argv[])
{
    return CommandLine::run(argc, argv,
                            {.rootFile = QUrl(QStringLiteral("qrc:/standin/PanelWindow.qml")),
                             .prepare = [](QQmlEngine &, ModelManager &, AgentSession &) {
                                 return QVariantMap();
                             }});
}
