#include "ui/Ui.h"

#include <QQmlEngine>

// Made by the build. Its mention keeps the linker from leaving the module's types in the library.
void qml_register_types_Quillon();

void Ui::install(QQmlEngine &engine)
{
    qml_register_types_Quillon();
    engine.addImportPath(QStringLiteral("qrc:/"));
}
