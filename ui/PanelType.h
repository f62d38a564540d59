#pragma once

#include "app/Panel.h"

#include <QObject>
#include <QtQml/qqmlregistration.h>

/// Registers Panel in QML.
struct PanelType
{
    Q_GADGET
    QML_FOREIGN(Panel)
    QML_NAMED_ELEMENT(Panel)
    QML_UNCREATABLE("The application has the panel.")
};
