#include "ui/Ui.h"

#include "ui/ModelsView.h"
#include "ui/SessionView.h"

#include <QQmlEngine>
#include <QVariantMap>

// Made by the build. Its mention keeps the linker from leaving the module's types in the library.
void qml_register_types_Quillon();

void Ui::install(QQmlEngine &engine)
{
    qml_register_types_Quillon();
    engine.addImportPath(QStringLiteral("qrc:/"));
}

QuillonApp::Views Ui::views()
{
    return {
        .rootFile = QUrl(QStringLiteral("qrc:/Quillon/PanelWindow.qml")),
        .prepare = [](QQmlEngine &engine, ModelManager &models, AgentSession &session) {
            install(engine);
            return QVariantMap{
                {QStringLiteral("models"), QVariant::fromValue(new ModelsView(models, &engine))},
                {QStringLiteral("session"), QVariant::fromValue(new SessionView(session, &engine))},
            };
        }};
}
