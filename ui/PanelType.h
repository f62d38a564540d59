#pragma once

#include "app/Panel.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

/// Gives the shell's object a name in QML.
struct PanelType
{
    Q_GADGET
    QML_FOREIGN(Panel)
    QML_NAMED_ELEMENT(Panel)
    QML_UNCREATABLE("The application has the panel.")
};
