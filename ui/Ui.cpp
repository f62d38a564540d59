#include "ui/Ui.h"

#include "ui/ModelsViewModel.h"
#include "ui/SessionViewModel.h"

#include <QQmlEngine>
#include <QVariantMap>

using namespace Qt::StringLiterals;

// Made by the build. Its mention keeps the linker from leaving the module's types in the library.
void qml_register_types_Quillon();

void Ui::install(QQmlEngine &engine)
{
    qml_register_types_Quillon();
    engine.addImportPath(u"qrc:/"_s);
}

QuillonApp::Views Ui::views()
{
    return {.rootFile = QUrl(u"qrc:/Quillon/PanelWindow.qml"_s),
            .prepare = [](QQmlEngine &engine, ModelManager &models, AgentSession &session) {
                install(engine);
                return QVariantMap{
                    {u"models"_s, QVariant::fromValue(new ModelsViewModel(models, &engine))},
                    {u"session"_s, QVariant::fromValue(new SessionViewModel(session, &engine))},
                };
            }};
}
