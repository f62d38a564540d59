#pragma once

#include "app/KeyOffer.h"
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

/// The same for what it says about its key.
struct KeyOfferType
{
    Q_GADGET
    QML_FOREIGN(KeyOffer)
    QML_NAMED_ELEMENT(KeyOffer)
    QML_UNCREATABLE("The panel has the offer.")
};
